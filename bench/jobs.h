// bench/jobs.h: all rows that a run can have, by group, in the order of running.
#pragma once

#include "bench/contest.h"
#include "bench/library.h"
#include "bench/traits.h"

namespace bench {

/// Which rows are wanted.
struct Selection {
    std::vector<std::size_t> sizes;
    std::vector<Level> levels{rig::all_levels.begin(), rig::all_levels.end()};
    std::vector<Place> places{std::begin(all_places), std::end(all_places)};
    std::vector<std::string> lengths = {"fixed", "shuffled"};
    std::string filter; ///< a regular expression that is searched in a row's key
    int threads = 2;    ///< of the threads group

    bool wants(const Row& row) const;
    bool wants(Level level) const;
    bool wants(Place place) const;
};

/// Each kernel at each level, size and place, with fixed and shuffled lengths.
std::vector<Job> kernel_jobs(Library& library, const Selection& selection);
/// Each kernel at its highest level on one thread and on several, on separate arrays.
std::vector<Job> thread_jobs(Library& library, const Selection& selection);
/// Streaming FIR, smoothing, quantising and restoring, and all of them in a row.
std::vector<Job> chain_jobs(Library& library, const Selection& selection);

/// Beyond what a kernel's variants differ by: products joined, divisions by multiplications.
inline constexpr Tolerance fast_math{.units = 64, .root_n = 0, .absolute = 0, .codes = 0};

/// Lengths are shuffled up to this size: beyond, the head and the tail are lost in the blocks.
inline constexpr std::size_t most_shuffled = 16384;

} // namespace bench
