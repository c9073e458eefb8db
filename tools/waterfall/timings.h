// tools/waterfall/timings.h: where the time goes.
#ifndef WATERFALL_TIMINGS_H
#define WATERFALL_TIMINGS_H

#include <chrono>

namespace waterfall {

/// Seconds of wall clock.
struct Timings {
    double total = 0;   // the whole of analyse()
    double kernels = 0; // in this library's kernels
    double fft = 0;     // in FFTW
    double read = 0;    // in Source::read()
};

/// Adds its own lifetime to a sum of seconds.
class Timed {
public:
    explicit Timed(double& sum) : sum_(sum) {}
    ~Timed()
    {
        sum_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }
    Timed(const Timed&) = delete;
    Timed& operator=(const Timed&) = delete;
    Timed(Timed&&) = delete;
    Timed& operator=(Timed&&) = delete;

private:
    double& sum_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace waterfall

#endif // WATERFALL_TIMINGS_H
