#include "bench/chain.h"

#include "bench/check.h"

#include <cmath>
#include <memory>

namespace bench {
namespace {

Contest contest(const Row& row, const Field& field)
{
    Contest c;
    c.row = row;
    c.elements = static_cast<double>(row.size);
    const std::vector<Work> fresh = field();
    fresh.front().block();
    const std::vector<double> want = fresh.front().output();
    std::vector<bool> right;
    for (std::size_t i = 1; i < fresh.size(); ++i) {
        fresh[i].block();
        const std::string wrong =
            difference(want, fresh[i].output(),
                       {.units = 0, .root_n = 0, .absolute = fresh[i].apart, .codes = 0}, row.size);
        right.push_back(wrong.empty());
        if (i == 1 && !wrong.empty()) {
            c.row.wrong = wrong;
            return c;
        }
        if (!wrong.empty())
            c.row.out.push_back(fresh[i].name + ": " + wrong);
    }
    for (std::size_t i = 1; i < fresh.size(); ++i)
        if (right[i - 1])
            c.field.push_back({fresh[i].name, [work = fresh[i]](benchmark::State& state) {
                                   for (auto _ : state) {
                                       work.block();
                                       benchmark::ClobberMemory();
                                   }
                               }});
    return c;
}

/// Taps by their distance from the middle: the same bits on both sides.
template <class T, class F>
std::vector<T> unit_gain(std::size_t count, F tap)
{
    std::vector<double> taps(count);
    double sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        taps[i] = tap(std::fabs(static_cast<double>(i) - static_cast<double>(count - 1) / 2));
        sum += taps[i];
    }
    std::vector<T> list;
    list.reserve(count);
    for (const double t : taps)
        list.push_back(static_cast<T>(t / sum));
    return list;
}

} // namespace

std::vector<Work>
field_of(Level level, const std::function<Work(const std::string& who, Level level)>& ours,
         const std::function<Work(const std::string& who, const PlainLoops&)>& plain,
         bool has_baseline)
{
    std::vector<Work> list = {plain("reference", plain_reference()), ours("libsimd", level)};
    if (level != Level::base && has_baseline)
        list.push_back(ours("baseline", Level::base));
    for (const PlainBuild& build : plain_builds())
        if (build.level == set_of(level))
            list.push_back(plain(build.name(), *build.loops));
    return list;
}

Job chain_job(const Row& row, Field field)
{
    return {row, [row, field = std::move(field)] { return contest(row, field); }};
}

std::vector<Job> filter_jobs(Library& library, const Selection& selection, const std::string& name,
                             const std::vector<std::string>& kernels,
                             std::span<const std::size_t> tap_counts, std::size_t usual_taps,
                             const Filtering& work)
{
    std::vector<Job> jobs;
    for (const Level level : levels_of(library, kernels)) {
        const auto add = [&](std::size_t samples, std::size_t taps) {
            jobs.push_back(chain_job(chain_row(name, level, samples, taps),
                                     [=] { return work(level, samples, taps); }));
        };
        if (!selection.wants(level))
            continue;
        for (const std::size_t taps : tap_counts)
            add(fixed_size, taps);
        for (const std::size_t samples : chain_sizes)
            if (samples != fixed_size)
                add(samples, usual_taps);
    }
    return jobs;
}

Row chain_row(const std::string& name, Level level, std::size_t size, std::size_t taps)
{
    Row row;
    row.group = "chain";
    row.name = name;
    row.level = rig::name(level);
    row.size = size;
    row.taps = taps;
    return row;
}

double sample(std::size_t i)
{
    const double t = static_cast<double>(i);
    const double noise = static_cast<double>((i * 2654435761U) % 65536) / 65536.0 - 0.5;
    return 0.5 * std::sin(0.05 * t) + 0.2 * std::sin(1.3 * t) + 0.4 * noise;
}

std::vector<std::int16_t> coded_samples(std::size_t n)
{
    std::vector<std::int16_t> codes(2 * n);
    for (std::size_t i = 0; i < codes.size(); ++i)
        codes[i] = static_cast<std::int16_t>(sample(i) * 32000.0);
    return codes;
}

template <class T>
std::vector<T> low_pass(std::size_t count)
{
    return unit_gain<T>(count,
                        [](double x) { return x < 1e-9 ? 1.0 : std::sin(0.3 * x) / x / 0.3; });
}
template std::vector<float> low_pass<float>(std::size_t);
template std::vector<double> low_pass<double>(std::size_t);

template <class T>
std::vector<T> bell(std::size_t count)
{
    const double width = static_cast<double>(count) / 4;
    return unit_gain<T>(count, [width](double x) { return std::exp(-x * x / width / width); });
}
template std::vector<float> bell<float>(std::size_t);
template std::vector<double> bell<double>(std::size_t);

std::vector<Level> levels_of(Library& library, const std::vector<std::string>& kernels)
{
    std::vector<Level> levels;
    for (const Level level : rig::all_levels)
        for (const std::string& kernel : kernels)
            if (library.has(kernel, level)) {
                levels.push_back(level);
                break;
            }
    return levels;
}

bool is_highest(Library& library, const std::vector<std::string>& kernels, Level level)
{
    return levels_of(library, kernels).back() == level;
}

std::vector<Job> chain_jobs(Library& library, const Selection& selection)
{
    std::vector<Job> jobs;
    for (auto* const part : {
             fir_jobs,
             smoothing_jobs,
             quantising_jobs,
             whole_jobs,
#ifdef BENCH_HAVE_WATERFALL
             waterfall_jobs,
#endif
         })
        for (Job& job : part(library, selection))
            if (selection.wants(job.row))
                jobs.push_back(std::move(job));
    return jobs;
}

} // namespace bench
