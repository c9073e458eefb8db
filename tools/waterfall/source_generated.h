// tools/waterfall/source_generated.h: what is in the generated band, for its source and for tests.
#ifndef WATERFALL_SOURCE_GENERATED_H
#define WATERFALL_SOURCE_GENERATED_H

#include <array>
#include <cstdint>

namespace waterfall::generated {

inline constexpr std::int64_t rate = 2'000'000;     // samples per second
inline constexpr double center = 100e6;             // Hz
inline constexpr std::uint64_t samples = 3'000'000; // 1.5 s of 16-bit I/Q
inline constexpr double noise_level = -45.0;        // dB of full scale, over the whole band

struct Signal {
    const char* label;
    std::int64_t offset; // Hz from the centre: the carrier, or the middle of what it covers
    double level;        // dB of full scale while it is on
    double width;        // Hz it covers, about; 0 for a line
};

/// In the order of their frequencies.
inline constexpr std::array<Signal, 8> signals{{
    {"FSK", -900'000, -32.0, 24'000.0},     // +-10 kHz, 1000 symbols a second
    {"AM", -700'000, -30.0, 42'000.0},      // 60 % by a tone of 20 kHz
    {"pulses", -500'000, -36.0, 0.0},       // on for 40 ms of every 100 ms
    {"QPSK", -300'000, -26.0, 150'000.0},   // 100000 symbols a second
    {"chirp", 0, -40.0, 300'000.0},         // rising, 0.5 s
    {"carrier", 250'000, -30.0, 0.0},       // nothing but a line
    {"FM", 500'000, -26.0, 140'000.0},      // two tones of 30 kHz deviation each
    {"hopping", 800'000, -30.0, 240'000.0}, // 8 channels of 30 kHz, 20 ms in one, 5 ms of silence
}};

} // namespace waterfall::generated

#endif // WATERFALL_SOURCE_GENERATED_H
