// tools/waterfall/progress.h: a bar on the terminal for what takes longer than a second.
#ifndef WATERFALL_PROGRESS_H
#define WATERFALL_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <optional>

namespace waterfall {

/// Draws on stderr, and only where that is a terminal; wipes the bar at the end.
class Progress {
public:
    Progress(std::optional<std::uint64_t> samples, bool wanted);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void at(std::uint64_t done);

private:
    using Clock = std::chrono::steady_clock;
    std::optional<std::uint64_t> samples_;
    bool wanted_, drawn_ = false;
    Clock::time_point start_ = Clock::now(), next_ = start_ + std::chrono::seconds(1);
};

} // namespace waterfall

#endif // WATERFALL_PROGRESS_H
