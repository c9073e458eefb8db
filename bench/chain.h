// bench/chain.h: blocks of samples through one kernel or several, as hosts do it, and the same by
// plain loops and by other libraries.
#pragma once

#include "bench/jobs.h"
#include "bench/plain_builds.h"

#include <functional>
#include <iterator>
#include <span>

namespace bench {

/// Somebody's way through a block: each call takes the next one.
struct Work {
    std::string name;
    double apart; ///< from what the plain loops give, at most
    std::function<void()> block;
    std::function<std::vector<double>()> output; ///< of the block that was taken last
};

/// Makes everybody's work afresh: the plain loops' (the reference), ours, then the rivals'.
using Field = std::function<std::vector<Work>()>;

/// The field but for other libraries: plain loops (the reference), ours at a level, above the baseline
/// the baseline if these kernels have one, and the plain builds for the level's instruction set.
std::vector<Work>
field_of(Level level, const std::function<Work(const std::string& who, Level level)>& ours,
         const std::function<Work(const std::string& who, const PlainLoops&)>& plain,
         bool has_baseline = true);

/// A row for it; results are checked before they are timed.
Job chain_job(const Row& row, Field field);

/// A row of the chain group.
Row chain_row(const std::string& name, Level level, std::size_t size, std::size_t taps);

inline constexpr std::size_t fixed_size = 4096; ///< of rows that show the cost of taps
inline constexpr std::size_t fixed_taps = 32;   ///< of those that show the cost of length
inline constexpr std::size_t chain_sizes[] = {256, 1024, 4096, 16384, 65536};

std::vector<Job> fir_jobs(Library& library, const Selection& selection);
std::vector<Job> smoothing_jobs(Library& library, const Selection& selection);
std::vector<Job> quantising_jobs(Library& library, const Selection& selection);
std::vector<Job> whole_jobs(Library& library, const Selection& selection);
std::vector<Job> waterfall_jobs(Library& library, const Selection& selection);

/// Everybody's work at a level, on so many samples, with so many taps.
using Filtering =
    std::function<std::vector<Work>(Level level, std::size_t samples, std::size_t taps)>;

/// Rows of a filter at each level of these kernels: every tap count at one length, then every
/// length at one tap count.
std::vector<Job> filter_jobs(Library& library, const Selection& selection, const std::string& name,
                             const std::vector<std::string>& kernels,
                             std::span<const std::size_t> tap_counts, std::size_t usual_taps,
                             const Filtering& work);

template <class T>
void append(std::vector<T>& list, std::vector<T> more)
{
    list.insert(list.end(), std::make_move_iterator(more.begin()),
                std::make_move_iterator(more.end()));
}

/// Two tones and noise, within -1 and 1.
double sample(std::size_t i);
/// The same as 16-bit I/Q samples, n of them.
std::vector<std::int16_t> coded_samples(std::size_t n);
/// A low-pass of unit gain; symmetric.
template <class T>
std::vector<T> low_pass(std::size_t count);
/// The same without negative taps: powers stay powers.
template <class T>
std::vector<T> bell(std::size_t count);

/// Whether nothing above this level serves any of these kernels here: other libraries stand there.
bool is_highest(Library& library, const std::vector<std::string>& kernels, Level level);
/// Levels at which one of the kernels has a variant of its own.
std::vector<Level> levels_of(Library& library, const std::vector<std::string>& kernels);

template <class T>
std::vector<double> widened(const std::vector<T>& values)
{
    return std::vector<double>(values.begin(), values.end());
}

// What other libraries make of it; empty where they were not there when this was built.
std::vector<Work> fir_of_others(std::size_t samples, std::size_t taps);
std::vector<Work> smoothing_of_others(std::size_t samples, std::size_t taps);
std::vector<Work> quantising_of_others(std::size_t samples);
std::vector<Work> whole_of_others(std::size_t samples);
std::vector<Work> waterfall_of_others(std::size_t samples);

/// What those do differently, for --peers.
struct ChainPeer {
    const char *chain, *library, *calls, *difference;
};
std::vector<ChainPeer> chain_peers();

} // namespace bench
