#include "bench/kernel_contest.h"

#include <algorithm>
#include <memory>
#include <regex>

namespace bench {
namespace {

/// Calls visit(kernel) for each kernel, with a pointer that jobs may keep.
template <class Visit>
void each(Library& library, const Visit& visit)
{
    each_kernel([&]<class Fn, class Call>(const char* name, Fn* PlainLoops::*loop,
                                          std::size_t crossing, Call call) {
        visit(std::make_shared<Kernel<Fn, Call>>(
            Kernel<Fn, Call>{traits(name), loop, crossing, call, library}));
    });
}

} // namespace

std::vector<std::size_t> shuffled(std::size_t n, const Traits& t)
{
    std::vector<std::size_t> lengths;
    std::uint32_t state = 7;
    const auto random = [&state](std::size_t below) {
        state = state * 1664525 + 1013904223;
        return (state >> 8) % below;
    };
    for (std::size_t i = 0; i < lengths_kept; i += 2) {
        const std::size_t off = std::min(random(n / 2) / t.step * t.step, n - t.least);
        lengths.push_back(n - off);
        lengths.push_back(n + off);
    }
    for (std::size_t i = lengths_kept - 1; i > 0; --i)
        std::swap(lengths[i], lengths[random(i + 1)]);
    return lengths;
}

std::vector<Arrays>& shared_arrays(const Traits& t, std::size_t n, std::size_t threads)
{
    static std::string held_by;
    static std::vector<Arrays> arrays;
    const std::string key = t.kernel + '/' + std::to_string(n) + '/' + std::to_string(threads);
    if (key != held_by) {
        arrays.clear(); // before the next are made: they may be large
        for (std::size_t i = 0; i < threads; ++i)
            arrays.emplace_back(n, t.uses);
        held_by = key;
    }
    return arrays;
}

bool Selection::wants(const Row& row) const
{
    return filter.empty() || std::regex_search(row.key(), std::regex(filter));
}
bool Selection::wants(Level level) const
{
    return std::find(levels.begin(), levels.end(), level) != levels.end();
}
bool Selection::wants(Place place) const
{
    return std::find(places.begin(), places.end(), place) != places.end();
}

std::vector<Job> kernel_jobs(Library& library, const Selection& selection)
{
    std::vector<Job> jobs;
    const auto add = [&](const auto& kernel, Row row, Level level) {
        for (const Place place : all_places)
            for (const std::string& lengths : selection.lengths) {
                row.place = name(place);
                row.lengths = lengths;
                if (!selection.wants(place) || !allowed(row.name, level, place) ||
                    (lengths == "shuffled" && row.size > most_shuffled) || !selection.wants(row))
                    continue;
                jobs.push_back({row, [kernel, row, level, place] {
                                    return kernel->contest(row, level, place);
                                }});
            }
    };
    each(library, [&](const auto& kernel) {
        for (const std::size_t n : selection.sizes)
            for (const Level level : rig::all_levels)
                if (selection.wants(level) && kernel->has(level)) {
                    Row row;
                    row.group = "kernels";
                    row.name = kernel->traits.kernel;
                    row.level = rig::name(level);
                    row.size = n;
                    add(kernel, row, level);
                }
    });
    return jobs;
}

std::vector<Job> thread_jobs(Library& library, const Selection& selection)
{
    std::vector<Job> jobs;
    each(library, [&](const auto& kernel) {
        for (const std::size_t n : selection.sizes) {
            const Level level = kernel->highest();
            Row row;
            row.group = "threads";
            row.name = kernel->traits.kernel;
            row.level = rig::name(level);
            row.size = n;
            if (!selection.wants(level) || !selection.wants(row))
                continue;
            const int threads = selection.threads;
            jobs.push_back({row, [kernel, row, level, threads] {
                                return kernel->on_threads(row, level, threads);
                            }});
        }
    });
    return jobs;
}

} // namespace bench
