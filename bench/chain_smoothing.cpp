// Smoothing along an array, ends replicated.
#include "bench/chain.h"

#include <memory>
#include <type_traits>

namespace bench {
namespace {

constexpr std::size_t tap_counts[] = {3, 5, 9, 17, 33, 65, 129};
constexpr std::size_t odd_taps = 33; // of rows that show the cost of length

template <class T>
struct Smoothing {
    Smoothing(std::size_t samples, std::size_t count)
        : in(samples), taps(low_pass<T>(count)), out(samples)
    {
        for (std::size_t i = 0; i < samples; ++i)
            in[i] = static_cast<T>(sample(i));
    }
    std::vector<T> in, taps, out;
};

template <class T, class Fn>
Work work(const std::string& name, Fn* filter, std::size_t samples, std::size_t taps)
{
    const auto s = std::make_shared<Smoothing<T>>(samples, taps);
    return {name, std::is_same_v<T, float> ? 1e-5 : 1e-13,
            [s, filter] {
                filter(s->in.data(), static_cast<std::int32_t>(s->in.size()), s->taps.data(),
                       static_cast<std::int32_t>(s->taps.size()), s->out.data());
            },
            [s] { return widened(s->out); }};
}

template <class T, class Fn>
std::vector<Job> jobs_of(Library& library, const Selection& selection, const std::string& name,
                         Fn* PlainLoops::*loop)
{
    const std::vector<std::string> kernels = {name};
    const auto field = [=, &library](Level level, std::size_t samples, std::size_t taps) {
        const auto ours = [&](const std::string& who, Level at) {
            return work<T>(who, library.variant<Fn>(name, at), samples, taps);
        };
        const auto plain = [&](const std::string& who, const PlainLoops& loops) {
            return work<T>(who, loops.*loop, samples, taps);
        };
        std::vector<Work> list = field_of(level, ours, plain);
        if (std::is_same_v<T, float> && is_highest(library, kernels, level))
            append(list, smoothing_of_others(samples, taps));
        return list;
    };
    return filter_jobs(library, selection, name, kernels, tap_counts, odd_taps, field);
}

} // namespace

std::vector<Job> smoothing_jobs(Library& library, const Selection& selection)
{
    std::vector<Job> jobs;
    append(jobs, jobs_of<float>(library, selection, "vfilter_f32", &PlainLoops::vfilter_f32));
    append(jobs, jobs_of<double>(library, selection, "vfilter_f64", &PlainLoops::vfilter_f64));
    return jobs;
}

} // namespace bench
