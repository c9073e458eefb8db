// The streaming FIR: complex samples of three formats, the history in a ring.
#include "bench/chain.h"

#include <memory>
#include <type_traits>

namespace bench {
namespace {

constexpr std::size_t tap_counts[] = {8, 16, 32, 64, 128, 256, 512};

template <class S>
struct Stream {
    Stream(std::size_t samples, std::size_t count)
        : in(2 * samples), taps(low_pass<double>(count)), re(count), im(count), out(2 * samples)
    {
        for (std::size_t i = 0; i < in.size(); ++i)
            in[i] = static_cast<S>(sample(i) * (std::is_integral_v<S> ? 32000.0 : 1.0));
    }
    std::vector<S> in;
    std::vector<double> taps, re, im, out;
    std::int64_t pos = 0;
};

template <class S, class Fn>
Work work(const std::string& name, Fn* fir, std::size_t samples, std::size_t taps)
{
    const auto s = std::make_shared<Stream<S>>(samples, taps);
    return {name, 1e-11,
            [s, fir, samples] {
                if constexpr (std::is_same_v<S, std::int16_t>)
                    fir(s->in.data(), samples, s->taps.data(), s->taps.size() - 1, &s->pos,
                        s->re.data(), s->im.data(), s->out.data(), 1.0 / 32768, 0.0);
                else
                    fir(s->in.data(), samples, s->taps.data(), s->taps.size() - 1, &s->pos,
                        s->re.data(), s->im.data(), s->out.data());
            },
            [s] { return s->out; }};
}

template <class S, class Fn>
std::vector<Job> jobs_of(Library& library, const Selection& selection, const std::string& name,
                         Fn* PlainLoops::*loop)
{
    const std::vector<std::string> kernels = {"fir_step_c64"};
    const auto field = [=, &library](Level level, std::size_t samples, std::size_t taps) {
        const auto ours = [&](const std::string& who, Level at) {
            return work<S>(who, library.function<Fn>(name, at), samples, taps);
        };
        const auto plain = [&](const std::string& who, const PlainLoops& loops) {
            return work<S>(who, loops.*loop, samples, taps);
        };
        std::vector<Work> list = field_of(level, ours, plain);
        if (std::is_same_v<S, float> && is_highest(library, kernels, level))
            append(list, fir_of_others(samples, taps));
        return list;
    };
    return filter_jobs(library, selection, name, kernels, tap_counts, fixed_taps, field);
}

} // namespace

std::vector<Job> fir_jobs(Library& library, const Selection& selection)
{
    std::vector<Job> jobs;
    append(jobs,
           jobs_of<std::int16_t>(library, selection, "fir_c16_alt", &PlainLoops::fir_c16_alt));
    append(jobs, jobs_of<float>(library, selection, "fir_c32_alt", &PlainLoops::fir_c32_alt));
    append(jobs, jobs_of<double>(library, selection, "fir_c64_alt", &PlainLoops::fir_c64_alt));
    return jobs;
}

} // namespace bench
