#include "waterfall/settings.h"

#include "waterfall/error.h"
#include "waterfall/spectrum.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace waterfall {

namespace {

void require(bool good, const std::string& what)
{
    if (!good)
        throw Error(what);
}

void check_fft(std::size_t fft)
{
    // fft_abs_f64 takes multiples of 8 and runs off its buffers otherwise; a real channel hands it
    // half the transform. spec_log_f32 has the same rule.
    require(fft % 16 == 0 && fft >= 32 && fft <= 1U << 20U,
            fmt::format("FFT length {}: the kernels take multiples of 16 from 32 to 1048576", fft));
}

void check_channel(const Settings& s)
{
    require(!s.channel || std::isfinite(*s.channel), "channel: not a frequency");
    require(s.decimate >= 1 && s.decimate <= 1000,
            fmt::format("decimation by {}: 1 to 1000 can be done", s.decimate));
}

} // namespace

void Settings::check() const
{
    check_fft(fft);
    check_channel(*this);
    require(threads <= 256, fmt::format("{} threads: at most 256", threads));
    require(overlap >= 0.0 && overlap <= 0.95,
            fmt::format("overlap {}: 0 to 0.95 can be done", overlap));
    require(is_window(window), fmt::format("window \"{}\": there are {}", window, window_names()));
    require(rows >= 2 && rows <= 10000, fmt::format("{} rows: 2 to 10000 can be done", rows));
    require(average > 0.0 && average <= 1.0,
            fmt::format("averaging {}: the new frame's share is above 0, up to 1", average));
    require(smooth % 2 == 1, fmt::format("smoothing by {} taps: the number must be odd", smooth));
    // vfilter_f32 needs n >= 2 * half; a real channel has fft / 2 bins.
    require(smooth - 1 <= fft / 2,
            fmt::format("smoothing by {} taps: at most {} with an FFT length of {}", smooth,
                        fft / 2 + 1, fft));
    for (const std::optional<double>& level : {low_db, high_db}) // doubles reach 3076 dB below
        require(!level || std::abs(*level) <= 1000.0,
                fmt::format("level {} dBFS: -1000 to 1000 can be shown", level.value_or(0)));
    require(reduce == "max" || reduce == "mean",
            fmt::format("reduction \"{}\": there are max, mean", reduce));
    require(!low_db || !high_db || *high_db > *low_db,
            fmt::format("levels {} to {} dB: the highest must be above the lowest",
                        low_db.value_or(0), high_db.value_or(0)));
}

std::size_t Settings::hop() const
{
    const double kept = static_cast<double>(fft) * (1.0 - overlap);
    return std::max<std::size_t>(1, static_cast<std::size_t>(std::lround(kept)));
}

} // namespace waterfall
