#include "waterfall/progress.h"

#include "waterfall/units.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>

namespace waterfall {

Progress::Progress(std::optional<std::uint64_t> samples, bool wanted)
    : samples_(samples), wanted_(wanted && ::isatty(STDERR_FILENO) != 0)
{
}

Progress::~Progress()
{
    if (drawn_)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::at(std::uint64_t done)
{
    const Clock::time_point now = Clock::now();
    if (!wanted_ || now < next_)
        return;
    next_ = now + std::chrono::milliseconds(100);
    drawn_ = true;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    const std::string speed =
        with_unit(std::round(static_cast<double>(done) / seconds / 1e4) * 1e4, "S/s");
    if (!samples_) {
        fmt::print(stderr, "\r\x1b[K{} samples, {}", done, speed);
        return;
    }
    constexpr int width = 40;
    const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(*samples_));
    const int full = static_cast<int>(share * width);
    const double left = share > 0.0 ? seconds / share - seconds : 0.0;
    fmt::print(stderr, "\r\x1b[K[{:#<{}}{:.<{}}] {:3.0f} %  {}  {:.0f} s left", "", full, "",
               width - full, 100.0 * share, speed, left);
}

} // namespace waterfall
