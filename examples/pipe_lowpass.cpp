// pipe_lowpass.cpp: a stage of a pipe. 16-bit I/Q samples come in, pass a low-pass filter, and
// every FACTOR-th goes out, again as 16-bit I/Q samples.
//
//     receiver | pipe_lowpass 8 | recorder
//
// The filter passes up to 0.35 of the new rate and keeps its state from block to block, so the
// blocks that the pipe happens to deliver leave no trace. Exit status 0, or 1 after one line on
// stderr.
#include "libsimd.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <vector>

namespace {

constexpr std::size_t block = 4096; // I/Q samples

/// A windowed sinc with its edge at 0.45 of the new rate and a sum of 1.
std::vector<double> low_pass(int factor)
{
    const int half = 16 * factor;
    std::vector<double> taps;
    double sum = 0.0;
    for (int i = -half; i <= half; ++i) {
        const double x = 2.0 * std::numbers::pi * 0.45 * i / factor;
        const double t = std::numbers::pi * i / (half + 1);
        const double window = 0.42 + 0.5 * std::cos(t) + 0.08 * std::cos(2.0 * t); // Blackman
        taps.push_back(window * (i == 0 ? 1.0 : std::sin(x) / x));
        sum += taps.back();
    }
    for (double& tap : taps)
        tap /= sum;
    return taps;
}

/// The streaming filter and what it remembers between calls.
class Filter {
public:
    explicit Filter(std::vector<double> taps)
        : taps_(std::move(taps)), re_(taps_.size(), 0.0), im_(taps_.size(), 0.0)
    {
    }
    void run(const std::int16_t* in, std::size_t count, double* out)
    {
        fir_c16_alt(in, count, taps_.data(), taps_.size() - 1, &pos_, re_.data(), im_.data(), out,
                    1.0, 0.0);
    }

private:
    std::vector<double> taps_, re_, im_;
    std::int64_t pos_ = 0;
};

std::int16_t code(double value)
{
    return static_cast<std::int16_t>(std::lround(std::clamp(value, -32768.0, 32767.0)));
}

int fail(const char* what)
{
    std::fprintf(stderr, "pipe_lowpass: %s\n", what);
    return 1;
}

int stream(int factor)
{
    Filter filter(low_pass(factor));
    std::vector<std::int16_t> in(2 * block);
    std::vector<double> filtered(2 * block);
    std::vector<std::int16_t> out;
    std::size_t next = 0; // place in the block of the next sample that goes out
    for (;;) {
        const std::size_t bytes = std::fread(in.data(), 1, 4 * block, stdin);
        const std::size_t count = bytes / 4;
        filter.run(in.data(), count, filtered.data());
        out.clear();
        for (; next < count; next += static_cast<std::size_t>(factor)) {
            out.push_back(code(filtered[2 * next]));
            out.push_back(code(filtered[2 * next + 1]));
        }
        next -= count;
        if (std::fwrite(out.data(), sizeof out[0], out.size(), stdout) != out.size())
            return fail("standard output cannot be written");
        if (bytes % 4 != 0)
            return fail("the input ends within a sample");
        if (count < block)
            break;
    }
    if (std::ferror(stdin) != 0)
        return fail("standard input cannot be read");
    return std::fflush(stdout) == 0 ? 0 : fail("standard output cannot be written");
}

} // namespace

int main(int argc, char** argv)
{
    const int factor = argc == 2 ? std::atoi(argv[1]) : 0; // NOLINT(cert-err34-c)
    if (factor < 1 || factor > 1000)
        return fail("usage: pipe_lowpass FACTOR, with a factor from 1 to 1000");
    return stream(factor);
}
