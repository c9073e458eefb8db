// Lines and floor against what was put into the signal.
#include "waterfall_signals.h"

#include <gtest/gtest.h>

using namespace waterfall;
using namespace waterfall_test;

namespace {

constexpr double rate = 1e6;
constexpr double center = 100e6;

Settings small(std::size_t fft)
{
    Settings s;
    s.fft = fft;
    s.smooth = 1;
    return s;
}

// Tones between bins, in noise: the line's frequency within one bin and its level within 0.5 dB of
// what one long transform at the very frequency says.
TEST(WaterfallLines, LinesHaveFrequencyAndLevel)
{
    Signal s(200000);
    add_noise(s, 1e-4);
    const double tones[] = {-400123.4, -66180.0, 51.0 * rate / 2048, 125300.0, 333333.3};
    const double amplitudes[] = {0.02, 0.3, 0.1, 0.05, 0.15};
    for (std::size_t i = 0; i < 5; ++i)
        add_tone(s, amplitudes[i], tones[i], rate);
    const Analysis a = analysed(s, Format::cs16, rate, Settings(), center);
    ASSERT_EQ(a.lines.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) {
        const Line& line = line_near(a, center + tones[i]);
        const double level = db(power_at(s, 0, s.size(), tones[i] / rate));
        EXPECT_NEAR(level, 2 * db(amplitudes[i]), 0.1);
        EXPECT_NEAR(line.frequency, center + tones[i], a.bin_hz) << tones[i];
        EXPECT_NEAR(line.level_db, level, 0.5) << tones[i];
        EXPECT_NEAR(line.power_db, level, 0.5) << tones[i];
        EXPECT_NEAR(line.above_db, line.level_db - a.floor_db, 1e-3);
        EXPECT_NEAR(line.bandwidth, 1.44 * a.bin_hz, 0.5 * a.bin_hz) << tones[i];
    }
    EXPECT_TRUE(std::is_sorted(a.lines.begin(), a.lines.end(), [](const Line& p, const Line& q) {
        return p.power_db > q.power_db;
    }));
    EXPECT_NEAR(a.lines[0].frequency, center + tones[1], a.bin_hz);
}

// Tones closer than a bin fill 80 kHz.
TEST(WaterfallLines, WideSignalIsOneLine)
{
    Signal wide(200000);
    std::mt19937_64 random(5);
    for (double hertz = 160e3; hertz <= 240e3; hertz += 103.0)
        add_tone(wide, static_cast<double>(random() % 1000) * 2e-6,
                 hertz + 0.01 * static_cast<double>(random() % 1000), rate);
    double power = 0;
    for (const Complex& x : wide)
        power += std::norm(x) / static_cast<double>(wide.size());
    Signal s = wide;
    add_noise(s, 1e-6);
    add_tone(s, 0.001, -300e3, rate);
    const Analysis a = analysed(s, Format::cf32, rate, Settings(), center);
    ASSERT_EQ(a.lines.size(), 2U);
    EXPECT_NEAR(a.lines[0].frequency, center + 200e3, 5e3);
    EXPECT_NEAR(a.lines[0].bandwidth, 80e3, 10e3);
    EXPECT_NEAR(a.lines[0].power_db, db(power), 1.0);
    EXPECT_NEAR(a.lines[1].frequency, center - 300e3, a.bin_hz);
}

TEST(WaterfallLines, NoiseAloneHasNoLines)
{
    for (const std::size_t samples : {2048UL, 5000UL, 20000UL, 300000UL})
        for (unsigned seed = 1; seed <= 5; ++seed) {
            Signal s(samples);
            add_noise(s, 1e-3, seed);
            const Analysis a = analysed(s, Format::cf32, rate, Settings());
            EXPECT_TRUE(a.lines.empty()) << samples << " seed " << seed;
        }
}

// A bin of noise of power p holds p * 1.5 / fft (Hann), whatever lines and signals there are.
TEST(WaterfallLines, FloorIsThatOfTheNoise)
{
    for (const std::size_t fft : {256UL, 2048UL}) {
        for (const std::size_t samples : {3 * fft, 100 * fft}) {
            const double expected = db(1e-4 * 1.5 / static_cast<double>(fft));
            Signal s(samples);
            add_noise(s, 1e-4);
            Settings settings;
            settings.fft = fft;
            const Analysis quiet = analysed(s, Format::cs16, rate, settings);
            EXPECT_NEAR(quiet.floor_db, expected, 0.5) << fft << " " << samples;
            EXPECT_NEAR(quiet.noise_hz, 1.5 * rate / static_cast<double>(fft), 1e-6);

            add_tone(s, 0.5, 12345, rate);
            for (double hertz = -400e3; hertz < 0; hertz += 2000) // 40 % of the band
                add_tone(s, 0.003, hertz, rate);
            const Analysis busy = analysed(s, Format::cf32, rate, settings);
            EXPECT_NEAR(busy.floor_db, expected, 0.5) << fft << " " << samples;
        }
    }
}

// Even where signals fill most of the band.
TEST(WaterfallLines, FloorIsSoughtFromBelow)
{
    Signal s(25600);
    for (double hertz = -450e3; hertz < 200e3; hertz += 1700)
        add_tone(s, 0.003, hertz, rate);
    add_noise(s, 1e-6);
    EXPECT_NEAR(analysed(s, Format::cf32, rate, small(256)).floor_db, db(1e-6 * 1.5 / 256), 1.0);
}

TEST(WaterfallLines, OneTransformStillHasAFloor)
{
    double sum = 0;
    for (unsigned seed = 1; seed <= 8; ++seed) {
        Signal s(2048);
        add_noise(s, 1e-4, seed);
        sum += analysed(s, Format::cf32, rate, Settings()).floor_db;
    }
    EXPECT_NEAR(sum / 8, db(1e-4 * 1.5 / 2048), 0.6);
}

} // namespace
