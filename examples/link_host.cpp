// link_host.cpp: a host in C++ that links the library. Frames of power are smoothed over time, held
// as a peak, smoothed along the spectrum, and reported in decibels above the floor.
//
//     c++ -std=c++20 link_host.cpp $(pkg-config --cflags --libs libsimd)
#include "libsimd.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

constexpr std::size_t bins = 1024; // a multiple of 16 suits every kernel

/// A row of a spectrum, on a boundary that suits every kernel at every level.
struct alignas(32) Row : std::array<float, bins> {};

/// The power of one frame: a steady carrier in bin 300, a burst in bin 700, and noise.
void receive(Row& power, int frame)
{
    for (std::size_t i = 0; i < bins; ++i)
        power[i] = (i + static_cast<std::size_t>(frame)) % 2 == 0 ? 0.5F : 1.5F;
    power[300] = 1000.0F;
    if (frame == 10)
        power[700] = 4000.0F;
}

/// Prints the row's strongest bin against its floor, the mean of what lies below ten.
void report(const char* what, const Row& power)
{
    Row decibels;
    const float floor = avg_lvl_f32(power.data(), bins, 10.0F);
    spec_log_f32(power.data(), bins, decibels.data(), 10.0F * std::log10(floor));
    const auto* const strongest = std::max_element(decibels.begin(), decibels.end());
    std::printf("%s: bin %td, %.1f dB above the floor\n", what, strongest - decibels.begin(),
                static_cast<double>(*strongest));
}

} // namespace

int main()
{
    Row power;
    Row smooth;
    Row peak;
    fill_f32(smooth.data(), bins, 1.0F);
    fill_f32(peak.data(), bins, 0.0F);
    for (int frame = 0; frame < 50; ++frame) {
        receive(power, frame);
        iir1_f32(power.data(), bins, smooth.data(), 0.1F);
        max_array_f32(peak.data(), power.data(), bins);
    }
    report("over time", smooth);
    report("peak", peak);

    constexpr std::array taps = {0.25F, 0.5F, 0.25F};
    vfilter_f32(peak.data(), bins, taps.data(), taps.size(), power.data());
    report("peak, smoothed over three bins", power);
}
