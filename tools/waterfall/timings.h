// tools/waterfall/timings.h: where the time goes.
#ifndef WATERFALL_TIMINGS_H
#define WATERFALL_TIMINGS_H

#include <chrono>

namespace waterfall {

/// Seconds: wall is that of the clock, the others are summed over the threads.
struct Timings {
    double wall = 0;    // the whole of analyse()
    double output = 0;  // wall, too: pictures and files
    double work = 0;    // of all threads, waiting left out; what follows is part of it
    double kernels = 0; // in this library's kernels
    double fft = 0;     // in FFTW
    double read = 0;    // in Source::read()

    void add(const Timings& other)
    {
        work += other.work;
        kernels += other.kernels;
        fft += other.fft;
        read += other.read;
    }
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
