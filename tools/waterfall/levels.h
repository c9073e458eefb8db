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
    double mean_db = 0;        // mean power over the band shown, dBFS; not the meter's
    double peak = 0;           // largest magnitude of a part, 1 is full scale
    double mean_abs = 0;       // mean magnitude of a part; of 16-bit recordings only
    std::uint64_t parts = 0;   // real numbers looked at (two in a complex sample)
    std::uint64_t clipped = 0; // of these at or beyond full scale
    double clipped_share() const
    {
        return parts == 0 ? 0.0 : static_cast<double>(clipped) / static_cast<double>(parts);
    }
};

/// Adds a prepared block, which starts on a 64-byte boundary and has fewer than 131072 parts.
void measure_levels(Format format, const void* block, std::size_t samples, Levels& levels,
                    Timings& timings);

} // namespace waterfall

#endif // WATERFALL_LEVELS_H
