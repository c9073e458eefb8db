// Rows: constant memory, kept totals, the right order; and their codes.
#include "waterfall/codes.h"
#include "waterfall/rows.h"
#include "waterfall_signals.h"

#include <gtest/gtest.h>

using namespace waterfall;
using namespace waterfall_test;

namespace {

constexpr std::size_t bins = 16;

/// Frame k of a recording in which every bin of every frame has its own power.
Buffer<double> frame(std::size_t k)
{
    Buffer<double> power(bins);
    for (std::size_t i = 0; i < bins; ++i)
        power[i] = 1.0 + static_cast<double>((k * 7 + i * 13) % 29);
    return power;
}

Rows filled(std::size_t frames, std::size_t wanted)
{
    Rows rows(bins, wanted);
    Timings timings;
    for (std::size_t k = 0; k < frames; ++k)
        rows.add(frame(k).data(), timings);
    rows.finish();
    return rows;
}

TEST(WaterfallRows, AreTheMeansOfTheirFrames)
{
    for (const std::size_t frames :
         {1UL, 2UL, 9UL, 10UL, 19UL, 20UL, 21UL, 40UL, 41UL, 163UL, 5000UL}) {
        const Rows rows = filled(frames, 10);
        const std::uint64_t per_row = rows.frames_per_row();
        ASSERT_EQ(rows.rows(), (frames + per_row - 1) / per_row) << frames;
        for (std::size_t r = 0; r < rows.rows(); ++r) {
            const std::size_t first = r * per_row;
            const std::size_t last = std::min<std::size_t>(frames, first + per_row);
            for (std::size_t i = 0; i < bins; ++i) {
                double sum = 0;
                for (std::size_t k = first; k < last; ++k)
                    sum += frame(k)[i];
                const double mean = sum / static_cast<double>(last - first);
                ASSERT_NEAR(rows.row(r)[i], mean, 1e-4 * mean) << frames << " row " << r;
            }
        }
    }
}

TEST(WaterfallRows, NumberStaysBetweenWantedAndTwice)
{
    for (std::size_t frames = 1; frames < 2000; ++frames) {
        const Rows rows = filled(frames, 10);
        ASSERT_LE(rows.rows(), 20U) << frames;
        ASSERT_GE(rows.rows(), std::min<std::size_t>(frames, 10)) << frames;
    }
}

TEST(WaterfallRows, TotalsAreKept)
{
    const std::size_t frames = 640; // whole rows at every step
    const Rows rows = filled(frames, 10);
    double want = 0;
    double got = 0;
    for (std::size_t k = 0; k < frames; ++k)
        for (const double p : frame(k))
            want += p;
    for (std::size_t r = 0; r < rows.rows(); ++r)
        for (std::size_t i = 0; i < bins; ++i)
            got += static_cast<double>(rows.row(r)[i]) * static_cast<double>(rows.frames_per_row());
    EXPECT_NEAR(got, want, 1e-5 * want);
}

TEST(WaterfallRows, ALastRowThatIsNotFullIsShown)
{
    Signal s(32UL * 33); // 33 frames: 16 rows of two, and one left over
    add_noise(s, 1e-3);
    Settings settings;
    settings.fft = 32;
    settings.overlap = 0;
    settings.rows = 16;
    const Waterfall w = analysed(s, Format::cf32, 1e6, settings).waterfall;
    EXPECT_EQ(w.frames_per_row, 2U);
    EXPECT_EQ(w.rows, 17U);
    EXPECT_EQ(w.codes.size(), 17U * 32);
}

TEST(WaterfallRows, SilenceAfterAStrongRowIsSilent)
{
    Rows rows(bins, 4);
    Timings timings;
    Buffer<double> power(bins);
    for (const double p : {1.0, 1e-17}) {
        std::fill(power.begin(), power.end(), p);
        rows.add(power.data(), timings);
    }
    EXPECT_FLOAT_EQ(rows.row(0)[3], 1.0F);
    EXPECT_FLOAT_EQ(rows.row(1)[3], 1e-17F);
}

TEST(WaterfallRows, LongTransformsKeepTheStrongestOfAGroup)
{
    Rows rows(64, 4, 8);
    Timings timings;
    Buffer<double> power(64);
    std::fill(power.begin(), power.end(), 1.0);
    power[0] = 5;
    power[15] = 7;
    power[63] = 9;
    rows.add(power.data(), timings);
    ASSERT_EQ(rows.columns(), 8U);
    EXPECT_EQ(rows.row(0)[0], 5);
    EXPECT_EQ(rows.row(0)[1], 7);
    EXPECT_EQ(rows.row(0)[2], 1);
    EXPECT_EQ(rows.row(0)[7], 9);
}

// Powers at known decibels, for a range that is given: the code is where the level stands in it.
TEST(WaterfallCodes, AreLinearInDecibels)
{
    Rows rows(bins, 4);
    Timings timings;
    Buffer<double> power(bins);
    for (std::size_t i = 0; i < bins; ++i)
        power[i] = std::pow(10.0, -12.0 + static_cast<double>(i)); // -120 to +30 dB
    rows.add(power.data(), timings);
    for (std::size_t i = 0; i < bins; ++i)
        power[i] = 1e-3;
    rows.add(power.data(), timings);
    const Waterfall w = make_codes(rows, -100.0, 0.0, timings);
    ASSERT_EQ(w.codes.size(), 2 * bins);
    for (std::size_t i = 0; i < bins; ++i) {
        const double level = std::clamp(-120.0 + 10 * static_cast<double>(i), -100.0, 0.0);
        EXPECT_NEAR(w.codes[i], (level + 100) * 2.55, 1.01) << i;
        // A row of one level has no range of its own: the display's counts.
        EXPECT_NEAR(w.codes[bins + i], 70 * 2.55, 1.01);
    }
    EXPECT_EQ(w.codes[0], 0);
    EXPECT_EQ(w.codes[12], 255);
    EXPECT_EQ(w.low_db, -100);
    EXPECT_EQ(w.high_db, 0);
}

TEST(WaterfallCodes, ChosenRangeHoldsNoiseAndSignal)
{
    Signal s(300000);
    add_noise(s, 1e-4);
    add_tone(s, 0.1, 100e3, 1e6, 100000, 100000);
    const Analysis a = analysed(s, Format::cf32, 1e6, Settings());
    EXPECT_NEAR(a.waterfall.low_db, a.floor_db - 5, 5);
    EXPECT_GE(a.waterfall.high_db, a.waterfall.low_db + 30);
    EXPECT_EQ(std::fmod(a.waterfall.low_db, 5), 0);
}

// A tone in the second quarter of the time, in the upper half of the band.
TEST(WaterfallCodes, StandAtTheirTimeAndFrequency)
{
    constexpr double rate = 1e6;
    Signal s(128 * 128);
    add_tone(s, 0.5, 0.25 * rate, rate, s.size() / 4, s.size() / 4);
    add_noise(s, 1e-6);
    Settings settings;
    settings.fft = 128;
    settings.overlap = 0;
    settings.smooth = 1;
    settings.rows = 16;
    const Waterfall w = analysed(s, Format::cs16, rate, settings).waterfall;
    ASSERT_EQ(w.rows, 16U);
    ASSERT_EQ(w.columns, 128U);
    for (std::size_t r = 0; r < 16; ++r) {
        const std::uint8_t* const row = w.codes.data() + r * 128;
        EXPECT_EQ(row[96] > 200, r >= 4 && r < 8) << r;
        EXPECT_LT(row[32], 200) << r;
    }
}

// The first-order average over frames: after k frames of silence the power is (1 - a)^k of the tone.
TEST(WaterfallCodes, AverageFadesFromFrameToFrame)
{
    constexpr double rate = 1e6;
    Signal s(128 * 20);
    add_tone(s, 0.5, 0.25 * rate, rate, 0, 128 * 4);
    Settings settings;
    settings.fft = 128;
    settings.overlap = 0;
    settings.smooth = 1;
    settings.average = 0.5;
    settings.low_db = -60;
    settings.high_db = 0;
    const Waterfall w = analysed(s, Format::cf32, rate, settings).waterfall;
    ASSERT_EQ(w.rows, 20U);
    for (std::size_t r = 0; r < 20; ++r) {
        const double silent = r < 4 ? 0 : static_cast<double>(r - 3);
        const double level = 2 * db(0.5) + silent * db(0.5);
        const double code = std::clamp((level + 60) / 60 * 255, 0.0, 255.0);
        EXPECT_NEAR(w.codes[r * 128 + 96], code, 1.5) << r;
    }
}

} // namespace
