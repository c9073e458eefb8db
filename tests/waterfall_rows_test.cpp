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
    Rows rows(Columns(bins, true), wanted, false);
    Timings timings;
    for (std::size_t k = 0; k < frames; ++k)
        rows.add(frame(k).data(), 1, timings);
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
    Rows rows(Columns(bins, true), 4, false);
    Timings timings;
    Buffer<double> power(bins);
    for (const double p : {1.0, 1e-17}) {
        std::fill(power.begin(), power.end(), p);
        rows.add(power.data(), 1, timings);
    }
    EXPECT_FLOAT_EQ(rows.row(0)[3], 1.0F);
    EXPECT_FLOAT_EQ(rows.row(1)[3], 1e-17F);
}

// Frames that arrive joined give the rows of frames that arrive singly.
TEST(WaterfallRows, TakeJoinedFrames)
{
    for (const bool hold : {false, true}) {
        Rows singly(Columns(bins, true), 4, hold);
        Rows joined(Columns(bins, true), 4, hold);
        Timings timings;
        Buffer<double> pair(bins);
        for (std::size_t k = 0; k < 8; ++k)
            singly.add(frame(k).data(), 1, timings), joined.add(frame(k).data(), 1, timings);
        ASSERT_EQ(joined.frames_per_row(), 2U);
        for (std::size_t k = 8; k < 30; ++k) {
            singly.add(frame(k).data(), 1, timings);
            for (std::size_t i = 0; i < bins; ++i)
                pair[i] = k % 2 == 0 ? frame(k)[i]
                          : hold     ? std::max(pair[i], frame(k)[i])
                                     : (pair[i] + frame(k)[i]) / 2;
            if (k % 2 == 1)
                joined.add(pair.data(), 2, timings);
        }
        ASSERT_EQ(singly.rows(), joined.rows());
        for (std::size_t r = 0; r < singly.rows(); ++r)
            for (std::size_t i = 0; i < bins; ++i)
                EXPECT_FLOAT_EQ(singly.row(r)[i], joined.row(r)[i]) << hold << " " << r;
    }
}

TEST(WaterfallRows, MaxHoldShowsTheStrongestFrame)
{
    Rows rows(Columns(bins, true), 4, true);
    Timings timings;
    Buffer<double> power(bins);
    for (std::size_t k = 0; k < 100; ++k) {
        std::fill(power.begin(), power.end(), k == 57 ? 9.0 : 1.0);
        rows.add(power.data(), 1, timings);
    }
    rows.finish();
    ASSERT_EQ(rows.frames_per_row(), 16U);
    for (std::size_t r = 0; r < rows.rows(); ++r)
        EXPECT_EQ(rows.row(r)[5], r == 57 / 16 ? 9.0F : 1.0F) << r;
}

TEST(WaterfallColumns, ShowTheStrongestOrTheMeanOfTheirBins)
{
    Buffer<double> power(64);
    std::fill(power.begin(), power.end(), 1.0);
    power[0] = 5;
    power[15] = 7;
    power[63] = 9;
    for (const bool strongest : {true, false}) {
        const Columns columns(64, strongest, 8);
        ASSERT_EQ(columns.count(), 8U);
        EXPECT_EQ(columns.most_bins(), 8U);
        Buffer<double> out(columns.stride());
        columns.reduce(power.data(), out.data());
        EXPECT_EQ(out[0], strongest ? 5 : 12.0 / 8);
        EXPECT_EQ(out[1], strongest ? 7 : 14.0 / 8);
        EXPECT_EQ(out[2], 1);
        EXPECT_EQ(out[7], strongest ? 9 : 16.0 / 8);
    }
}

TEST(WaterfallColumns, AreEvenWhereTheyCanBe)
{
    for (std::size_t n = 16; n <= 1U << 20U; n += n < 20000 ? 8 : 40008) {
        const Columns columns(n, true);
        EXPECT_LE(columns.count(), 1200U);
        EXPECT_GE(columns.count(), std::min<std::size_t>(n, 560));
        EXPECT_EQ(columns.stride() % 8, 0U);
        if (n <= 8 * 1200) {
            EXPECT_EQ(columns.most_bins() * columns.count(), n);
        }
    }
}

/// Mean power over columns first to last of a row, from codes that are 0.04 dB apart.
double shown(const Waterfall& w, std::size_t row, std::size_t first, std::size_t last)
{
    double sum = 0;
    for (std::size_t c = first; c < last; ++c)
        sum += std::pow(10, w.low_db / 10 +
                                (w.high_db - w.low_db) / 2550 * w.codes[row * w.columns + c]);
    return sum / static_cast<double>(last - first);
}

// White noise has the level that the rule says, in every row and in every part of the band: of a
// rectangular window's bins, which are independent, the strongest of m has 1 + 1/2 + ... + 1/m of
// the mean. A tone has its own level at any length. The last row is not full.
TEST(WaterfallRows, NoiseIsFlatAndAToneKeepsItsLevel)
{
    constexpr double rate = 1e6;
    for (const std::size_t fft : {1024UL, 4096UL, 8192UL, 32768UL})
        for (const std::size_t frames : {11UL, 37UL})
            for (const char* const reduce : {"max", "mean"}) {
                Signal s(fft * frames);
                add_noise(s, 1.0, static_cast<unsigned>(fft + frames));
                add_tone(s, 100, rate / 4, rate);
                Settings settings;
                settings.fft = fft;
                settings.overlap = 0;
                settings.window = "rect";
                settings.rows = 10;
                settings.reduce = reduce;
                const bool strongest = settings.reduce == "max";
                const std::size_t shared =
                    (fft + 1199) / 1200 > 1 ? Columns(fft, true).most_bins() : 1;
                double bias = 0;
                for (std::size_t k = 1; k <= shared; ++k)
                    bias += strongest ? 1.0 / static_cast<double>(k)
                                      : 1.0 / static_cast<double>(shared);
                const double noise = db(bias / static_cast<double>(fft));
                settings.low_db = noise - 20;
                settings.high_db = noise + 10;
                const Waterfall w = analysed(s, Format::cf32, rate, settings).waterfall;
                ASSERT_EQ(w.rows, frames == 11 ? 11U : 19U);
                EXPECT_EQ(w.bins_per_column, shared);
                const std::size_t part = w.columns / 4;
                for (std::size_t r = 0; r < w.rows; ++r) {
                    for (std::size_t q = 0; q < 4; ++q)
                        EXPECT_NEAR(db(shown(w, r, q * part, (q + 1) * part - 2)), noise,
                                    q == 3 ? 99 : 1.1)
                            << fft << " " << frames << " " << reduce << " row " << r << " " << q;
                    EXPECT_NEAR(db(shown(w, r, 0, 3 * part - 2)), noise, 0.45)
                        << fft << " " << frames << " " << reduce << " row " << r;
                }
                settings.low_db = 20;
                settings.high_db = 50;
                const Waterfall high = analysed(s, Format::cf32, rate, settings).waterfall;
                const double tone = 40 - (strongest ? 0 : db(static_cast<double>(shared)));
                for (std::size_t r = 0; r < high.rows; ++r)
                    EXPECT_NEAR(db(shown(high, r, 3 * part, 3 * part + 1)), tone, 0.2)
                        << fft << " " << reduce << " row " << r;
            }
}

// Powers at known decibels, for a range that is given: the code is where the level stands in it.
TEST(WaterfallCodes, AreLinearInDecibels)
{
    Rows rows(Columns(bins, true), 4, false);
    Timings timings;
    Buffer<double> power(bins);
    for (std::size_t i = 0; i < bins; ++i)
        power[i] = std::pow(10.0, -12.0 + static_cast<double>(i)); // -120 to +30 dB
    rows.add(power.data(), 1, timings);
    for (std::size_t i = 0; i < bins; ++i)
        power[i] = 1e-3;
    rows.add(power.data(), 1, timings);
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
