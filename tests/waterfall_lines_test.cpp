// Lines and floor against what was put into the signal.
#include "waterfall/spectrum.h"
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

// Every window, every place between bins: a tone 40 dB above the floor has its level within 0.02 dB
// and its frequency within 0.01 bin.
TEST(WaterfallLines, ToneBetweenBinsHasItsLevelAndFrequency)
{
    for (const std::size_t fft : {256UL, 2048UL})
        for (const char* const window : {"rect", "hann", "hamming", "blackman", "flattop"}) {
            Settings settings;
            settings.fft = fft;
            settings.window = window;
            settings.smooth = 9;
            const double bin = rate / static_cast<double>(fft);
            const double noise_bins = Spectrum(fft, window, false).noise_bins();
            Signal noise(fft * (fft == 256 ? 200 : 128));
            add_noise(noise, 1e-4 * 1e-4 * static_cast<double>(fft) / noise_bins);
            for (double shift = 0; shift < 1; shift += fft == 256 ? 0.04 : 0.15) {
                Signal s = noise;
                const double hertz = (17 + shift) * bin;
                add_tone(s, 0.01, hertz, rate);
                const Analysis a = analysed(s, Format::cf64, rate, settings, center);
                ASSERT_EQ(a.lines.size(), 1U) << window << " " << shift;
                EXPECT_NEAR(a.lines[0].above_db, 40, 1.5) << window << " " << shift;
                EXPECT_NEAR(a.lines[0].level_db, -40, 0.02) << fft << window << " " << shift;
                EXPECT_NEAR((a.lines[0].frequency - center - hertz) / bin, 0, 0.01)
                    << fft << " " << window << " " << shift;
            }
        }
}

TEST(WaterfallLines, WindowShapeIsTheTransformOfTheWindow)
{
    for (const std::size_t fft : {32UL, 1024UL})
        for (const char* const window : {"rect", "hann", "hamming", "blackman", "flattop"}) {
            const std::vector<double> weights = window_weights(window, fft);
            const WindowShape shape(window, fft);
            for (double x = 0; x < static_cast<double>(shape.reach()); x += 0.173) {
                Complex sum;
                for (std::size_t i = 0; i < fft; ++i)
                    sum += weights[i] * std::polar(1.0, -2 * pi * x * static_cast<double>(i) /
                                                            static_cast<double>(fft));
                EXPECT_NEAR(shape.power(x), std::norm(sum), 3e-5) << window << " " << x;
                EXPECT_EQ(shape.power(-x), shape.power(x));
            }
            EXPECT_NEAR(shape.power(shape.half_power()), 0.5, 1e-4) << window;
        }
}

// The zero frequency of a real recording: its level counts once, and the window spreads it.
TEST(WaterfallLines, DirectPartOfARealRecordingIsALineAtZero)
{
    for (const Format format : {Format::f32, Format::f64, Format::s16})
        for (const char* const window : {"rect", "hann", "flattop"})
            for (const std::size_t fft : {512UL, 4096UL}) {
                Signal s(40 * fft);
                add_noise(s, 1e-8);
                for (Complex& x : s)
                    x += 0.1;
                Settings settings;
                settings.fft = fft;
                settings.window = window;
                const Analysis a = analysed(s, format, rate, settings);
                ASSERT_EQ(a.lines.size(), 1U) << name(format) << window << fft;
                EXPECT_NEAR(a.lines[0].frequency, 0, 1e-6) << window;
                EXPECT_NEAR(a.lines[0].level_db, -20, 0.01) << window;
                // With a tone not far away, both are seen.
                add_tone(s, 0.05, 40.3 * rate / static_cast<double>(fft), rate);
                const Analysis both = analysed(s, format, rate, settings);
                ASSERT_EQ(both.lines.size(), 2U);
                EXPECT_NEAR(both.lines[0].frequency, 0, 1e-6) << window;
                EXPECT_NEAR(both.lines[0].level_db, -20, 0.05) << window;
                EXPECT_NEAR(both.lines[1].frequency, 40.3 * a.bin_hz, 0.05 * a.bin_hz) << window;
                EXPECT_NEAR(both.lines[1].level_db, 2 * db(0.05), 0.05) << window;
            }
}

// A complex spectrum is a circle: what lies across its edge is one line, and so is a wide signal.
TEST(WaterfallLines, EdgeOfTheBandCutsNoLine)
{
    for (const std::size_t fft : {128UL, 2048UL})
        for (const double shift : {-1.3, -0.5, -0.2, 0.0, 0.2, 0.5, 1.3}) {
            Signal s(60 * fft);
            add_noise(s, 1e-8);
            Settings settings;
            settings.fft = fft;
            const double bin = rate / static_cast<double>(fft);
            const double hertz = rate / 2 + shift * bin;
            add_tone(s, 0.1, hertz, rate);
            const Analysis a = analysed(s, Format::cf32, rate, settings, center);
            ASSERT_EQ(a.lines.size(), 1U) << fft << " " << shift;
            const double turns = (a.lines[0].frequency - center - hertz) / rate;
            EXPECT_NEAR(turns, std::round(turns), 0.01 / static_cast<double>(fft)) << shift;
            EXPECT_GE(a.lines[0].frequency, a.low_hz());
            EXPECT_LT(a.lines[0].frequency, a.high_hz());
            EXPECT_NEAR(a.lines[0].level_db, -20, 0.02) << shift;
        }
    Signal wide(200000);
    for (double hertz = 480e3; hertz <= 520e3; hertz += 103.0)
        add_tone(wide, 1e-3, hertz + 10 * std::sin(hertz), rate);
    add_noise(wide, 1e-8);
    const Analysis a = analysed(wide, Format::cf32, rate, Settings());
    ASSERT_EQ(a.lines.size(), 1U);
    EXPECT_NEAR(std::abs(a.lines[0].frequency), 500e3, 3e3);
    EXPECT_NEAR(a.lines[0].bandwidth, 40e3, 5e3);
}

// Neither silence nor a recording without noise has a floor, and rounding errors are no lines.
TEST(WaterfallLines, WithoutNoiseThereIsNoFloor)
{
    for (const Format format : {Format::cs16, Format::cf32, Format::f64})
        for (const std::size_t fft : {64UL, 2048UL}) {
            Signal s(20 * fft);
            Settings settings;
            settings.fft = fft;
            const Analysis silent = analysed(s, format, rate, settings);
            EXPECT_TRUE(std::isnan(silent.floor_db));
            EXPECT_TRUE(silent.lines.empty());
            EXPECT_EQ(silent.levels.peak, 0);
            for (Complex& x : s)
                x = 0.25;
            const Analysis constant = analysed(s, format, rate, settings);
            EXPECT_TRUE(std::isnan(constant.floor_db)) << constant.floor_db;
            ASSERT_EQ(constant.lines.size(), 1U);
            EXPECT_NEAR(constant.lines[0].frequency, 0, 1e-4 * constant.bin_hz);
            EXPECT_NEAR(constant.lines[0].level_db, 2 * db(0.25), 0.01);
            EXPECT_TRUE(std::isnan(constant.lines[0].above_db));
        }
    Signal s(20000);
    add_tone(s, 0.5, 0.1875 * rate, rate);
    const Analysis a = analysed(s, Format::cf64, rate, Settings());
    EXPECT_TRUE(std::isnan(a.floor_db)) << a.floor_db;
    ASSERT_EQ(a.lines.size(), 1U);
    EXPECT_NEAR(a.lines[0].frequency, 0.1875 * rate, 1e-3);
}

} // namespace
