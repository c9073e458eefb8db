// tools/waterfall/floor.h: the noise floor of a spectrum.
#ifndef WATERFALL_FLOOR_H
#define WATERFALL_FLOOR_H

#include "waterfall/buffer.h"
#include "waterfall/timings.h"

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <span>

namespace waterfall {

/// A power as the float kernels take it: finite.
inline float narrow(double power)
{
    return static_cast<float>(std::min(power, static_cast<double>(FLT_MAX)));
}

/// Below this share of the strongest bin stand rounding errors, not noise.
constexpr double no_floor = 1e-25;

/// Mean power of the bins that hold noise only, in a mean over so many frames. Lines do not move
/// it, nor signals as long as more than a quarter of the band is free of them.
float estimate_floor(std::span<const float> power, std::uint64_t frames, Timings& timings);

} // namespace waterfall

#endif // WATERFALL_FLOOR_H
