// tools/waterfall/levels.h: how high the samples stand in their format.
#ifndef WATERFALL_LEVELS_H
#define WATERFALL_LEVELS_H

#include "waterfall/format.h"
#include "waterfall/timings.h"

#include <cstddef>
#include <cstdint>

namespace waterfall {

/// Levels of the samples as they stand in the recording, before any filter.
struct Levels {
    double mean_db = 0;        // mean power, dBFS as a spectrum counts it; -inf for silence
    double peak = 0;           // largest magnitude of a part, 1 is full scale
    double mean_abs = 0;       // mean magnitude of a part; of 16-bit recordings only
    std::uint64_t parts = 0;   // real numbers looked at (two in a complex sample)
    std::uint64_t clipped = 0; // of these at or beyond full scale
    double sum = 0;            // of the parts
    double squares = 0;        // of the parts, summed
    double clipped_share() const
    {
        return parts == 0 ? 0.0 : static_cast<double>(clipped) / static_cast<double>(parts);
    }
    void add(const Levels& other);
};

/// Adds a prepared block, which starts on a 64-byte boundary and has fewer than 131072 parts.
void measure_levels(Format format, const void* block, std::size_t samples, Levels& levels,
                    Timings& timings);

/// Adds to both sums. values: unpacked parts, interleaved, on a 64-byte boundary.
void measure_power(const double* values, std::size_t samples, std::size_t parts, Levels& levels,
                   Timings& timings);

/// From the sums: a complex sample has the power of both parts; of a real one all but the direct part
/// counts twice, so that a sine of full scale is at 0 dB.
double mean_power(const Levels& levels, bool complex);

} // namespace waterfall

#endif // WATERFALL_LEVELS_H
