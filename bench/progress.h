// bench/progress.h: a bar on the terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace bench {

/// Draws on stderr, and only where that is a terminal; wipes the bar at the end.
class Progress {
public:
    Progress(std::size_t total, bool wanted);
    ~Progress() { wipe(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void at(std::size_t done, const std::string& what);
    void wipe();

private:
    using Clock = std::chrono::steady_clock;
    std::size_t total_;
    bool wanted_, drawn_ = false;
    Clock::time_point start_ = Clock::now();
};

} // namespace bench
