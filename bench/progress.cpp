#include "bench/progress.h"

#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>

namespace bench {

Progress::Progress(std::size_t total, bool wanted)
    : total_(total), wanted_(wanted && ::isatty(STDERR_FILENO) != 0)
{
}

void Progress::wipe()
{
    if (drawn_)
        std::fputs("\r\x1b[K", stderr);
    drawn_ = false;
}

void Progress::at(std::size_t done, const std::string& what)
{
    if (!wanted_)
        return;
    drawn_ = true;
    constexpr std::size_t width = 30;
    const std::size_t full = done * width / total_;
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    std::string left;
    if (done > 0)
        left = fmt::format(", {:.0f} s left", seconds / static_cast<double>(done) *
                                                  static_cast<double>(total_ - done));
    fmt::print(stderr, "\r\x1b[K[{:#<{}}{:.<{}}] {}/{}{}  {}", "", full, "", width - full, done,
               total_, left, what);
}

} // namespace bench
