#include "waterfall/floor.h"

#include "libsimd.h"

#include <cmath>
#include <vector>

namespace waterfall {

// The mean of the bins that do not reach far above the floor, which is sought from below: from the
// first quartile the level rises until the mean stays. From above, a wide signal would hold it up.
// The reach goes with the spread of the noise, which falls with the root of the frames; 2 dB are
// left for a floor that is not flat. Of a single transform it finds 0.90 of the mean (-0.5 dB).
//
// avg_lvl_f32: the double form installed at SSE2 demands more than that level.
float estimate_floor(std::span<const float> power, std::uint64_t frames, Timings& timings)
{
    constexpr int most_steps = 50;
    const auto spread = static_cast<float>(1.0 / std::sqrt(static_cast<double>(frames)));
    const float reach = 1.0F + std::max(0.6F, 3.0F * spread);
    std::vector<float> sorted(power.begin(), power.end());
    const auto quartile = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 4);
    std::nth_element(sorted.begin(), quartile, sorted.end());
    float floor = *quartile;
    for (int step = 0; step < most_steps; ++step) {
        const Timed timed(timings.kernels);
        const float next = avg_lvl_f32(power.data(), power.size(), reach * floor);
        if (next == floor)
            break;
        floor = next;
    }
    return floor;
}

} // namespace waterfall
