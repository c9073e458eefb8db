// The chain against the definitions: spectra, levels, formats, bad settings.
#include "waterfall/channel.h"
#include "waterfall/error.h"
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

// Bin by bin, mean and peak, by the sum that defines the transform.
TEST(WaterfallChain, MeanAndPeakAreThoseOfTheDefinition)
{
    constexpr std::size_t fft = 64;
    Signal s(64 * 10 + 17);
    add_noise(s, 1e-3);
    add_tone(s, 0.25, 0.1234 * rate, rate);
    add_tone(s, 0.05, -0.31 * rate, rate, 100, 300);
    const Analysis a = analysed(s, Format::cf64, rate, small(fft), center);

    const std::size_t frames = (s.size() - fft) / (fft / 2) + 1;
    ASSERT_EQ(a.frames, frames);
    ASSERT_EQ(a.mean_db.size(), fft);
    for (std::size_t bin = 0; bin < fft; ++bin) {
        const double turns = static_cast<double>(bin) / fft - 0.5;
        double sum = 0;
        double peak = 0;
        for (std::size_t k = 0; k < frames; ++k) {
            const double p = power_at(s, k * fft / 2, fft, turns);
            sum += p;
            peak = std::max(peak, p);
        }
        EXPECT_NEAR(a.mean_db[bin], db(sum / static_cast<double>(frames)), 0.001) << bin;
        EXPECT_NEAR(a.peak_db[bin], db(peak), 0.001) << bin;
        EXPECT_NEAR(a.first_hz + a.bin_hz * static_cast<double>(bin), center + turns * rate, 1e-6);
    }
}

TEST(WaterfallChain, OverlapAndBlocksDoNotLoseFrames)
{
    Signal s(100000); // several blocks
    add_noise(s, 1e-4);
    for (const double overlap : {0.0, 0.25, 0.5, 0.75, 0.95}) {
        Settings settings = small(256);
        settings.overlap = overlap;
        const auto hop = static_cast<std::size_t>(std::lround(256 * (1 - overlap)));
        const Analysis a = analysed(s, Format::cf32, rate, settings);
        EXPECT_EQ(a.frames, (s.size() - 256) / hop + 1) << overlap;
        EXPECT_EQ(a.samples, s.size());
    }
}

TEST(WaterfallChain, WindowsHaveUnitSumAndTheirKnownNoiseBandwidth)
{
    const std::pair<const char*, double> known[] = {{"rect", 1.0},
                                                    {"hann", 1.5},
                                                    {"hamming", 1.3628},
                                                    {"blackman", 1.7268},
                                                    {"flattop", 3.7702}};
    for (const auto& [name, bins] : known) {
        const std::vector<double> w = window_weights(name, 4096);
        double sum = 0;
        double squares = 0;
        for (const double x : w) {
            sum += x;
            squares += x * x;
        }
        EXPECT_NEAR(sum, 1, 1e-12) << name;
        EXPECT_NEAR(4096 * squares, bins, 0.001) << name;
        EXPECT_NEAR(Spectrum(4096, name, false).noise_bins(), bins, 0.001) << name;
        EXPECT_NEAR(*std::max_element(w.begin(), w.end()), w[2048], 1e-15) << name;
    }
}

// What a recording of any format shows is what its codes stand for.
TEST(WaterfallChain, EveryFormatShowsItsCodes)
{
    using enum Format;
    Signal s(8192);
    add_tone(s, 0.4, 123e3, rate);
    add_tone(s, 0.2, -301e3, rate);
    add_noise(s, 1e-3);
    for (const Format format : {cu8, cs8, cs16, cf32, cf64, s16, f32, f64}) {
        Signal values = s;
        for (Complex& x : values)
            x = {coded(format, x.real()).value, coded(format, x.imag()).value};
        const Format same = is_complex(format) ? cf64 : f64;
        const Analysis got = analysed(s, format, rate, small(512), center);
        const Analysis want = analysed(values, same, rate, small(512), center);
        ASSERT_EQ(got.mean_db.size(), want.mean_db.size());
        for (std::size_t i = 0; i < got.mean_db.size(); ++i)
            ASSERT_NEAR(got.mean_db[i], want.mean_db[i], 0.002) << name(format) << " bin " << i;
        EXPECT_NEAR(got.levels.peak, want.levels.peak, 1e-6) << name(format);
        EXPECT_NEAR(line_near(got, center + 123e3).level_db,
                    is_complex(format) ? 2 * db(0.4) : line_near(want, center + 123e3).level_db,
                    0.5);
    }
}

TEST(WaterfallChain, RealChannelRunsFromZeroToHalfTheRate)
{
    Signal s(50000);
    for (std::size_t i = 0; i < s.size(); ++i) {
        const auto t = static_cast<double>(i);
        s[i] = 0.25 * std::sin(2 * pi * 0.1 * t) + 0.5 * std::cos(2 * pi * 0.4 * t) + 0.1;
    }
    const Analysis a = analysed(s, Format::s16, 48000, small(2048));
    ASSERT_EQ(a.mean_db.size(), 1024U);
    EXPECT_EQ(a.first_hz, 0);
    EXPECT_NEAR(a.high_hz(), 24000, a.bin_hz);
    EXPECT_NEAR(a.mean_db[0], 2 * db(0.1), 0.1); // the direct part is not doubled
    EXPECT_NEAR(line_near(a, 4800).frequency, 4800, a.bin_hz);
    EXPECT_NEAR(line_near(a, 4800).level_db, 2 * db(0.25), 0.5);
    EXPECT_NEAR(line_near(a, 19200).frequency, 19200, a.bin_hz);
    EXPECT_NEAR(line_near(a, 19200).level_db, 2 * db(0.5), 0.5);
}

TEST(WaterfallChain, LevelsOfTheSamples)
{
    Signal s(10000);
    add_tone(s, 0.5, 0.125 * rate, rate);
    s[77] = {1.5, 0}; // clipped in every format
    s[78] = {0, -1.5};
    const Analysis a = analysed(s, Format::cs16, rate, small(256));
    EXPECT_NEAR(a.levels.peak, 1, 1e-12);
    EXPECT_EQ(a.levels.parts, 20000U);
    EXPECT_EQ(a.levels.clipped, 2U);
    EXPECT_NEAR(a.levels.clipped_share(), 1e-4, 1e-12);
    EXPECT_NEAR(a.levels.mean_db, 2 * db(0.5), 0.05);
    EXPECT_NEAR(a.levels.mean_abs, 0.5 * (1 + std::sqrt(2)) / 4,
                0.001); // of 0, 45, 90, ... degrees
    EXPECT_EQ(analysed(s, Format::cu8, rate, small(256)).levels.clipped, 2U);
    EXPECT_EQ(analysed(s, Format::cs8, rate, small(256)).levels.clipped, 2U);
    EXPECT_EQ(analysed(s, Format::cf64, rate, small(256)).levels.clipped, 2U);
    EXPECT_NEAR(analysed(s, Format::cf64, rate, small(256)).levels.peak, 1.5, 1e-12);
}

TEST(WaterfallChain, StopKeepsWhatWasRead)
{
    Signal s(200000);
    add_noise(s, 1e-3);
    MemorySource source(s, Format::cs16, rate);
    volatile std::sig_atomic_t stop = 0;
    const Analysis a = analyse(
        source, Settings(), [&](std::uint64_t done) { stop = done >= 60000; }, stop);
    EXPECT_TRUE(a.interrupted);
    EXPECT_GE(a.samples, 60000U);
    EXPECT_LT(a.samples, 100000U);
    EXPECT_EQ(a.frames, (a.samples - 2048) / 1024 + 1);
    EXPECT_FALSE(analysed(s, Format::cs16, rate, Settings()).interrupted);
}

std::string refusal(const Settings& settings, std::size_t samples = 100000)
{
    Signal s(samples);
    try {
        analysed(s, Format::cs16, rate, settings);
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

TEST(WaterfallChain, RefusesWhatTheKernelsCannotTake)
{
    for (const std::size_t fft :
         {0UL, 1UL, 8UL, 16UL, 24UL, 100UL, 1000UL, 2047UL, 2056UL, 1UL << 21U})
        EXPECT_NE(refusal(small(fft)).find("FFT length " + std::to_string(fft)), std::string::npos);
    for (const std::size_t fft : {32UL, 48UL, 2000UL, 4096UL})
        EXPECT_EQ(refusal(small(fft)), "") << fft;

    const auto with = [](auto change) {
        Settings s;
        change(s);
        return refusal(s);
    };
    EXPECT_NE(with([](Settings& s) { s.overlap = 1; }).find("overlap 1"), std::string::npos);
    EXPECT_NE(with([](Settings& s) { s.overlap = -0.1; }), "");
    EXPECT_NE(with([](Settings& s) { s.overlap = std::nan(""); }), "");
    EXPECT_NE(with([](Settings& s) { s.window = "hat"; }).find("\"hat\""), std::string::npos);
    EXPECT_NE(with([](Settings& s) { s.rows = 0; }), "");
    EXPECT_NE(with([](Settings& s) { s.decimate = 0; }), "");
    EXPECT_NE(with([](Settings& s) { s.average = 0; }), "");
    EXPECT_NE(with([](Settings& s) { s.average = 1.01; }), "");
    EXPECT_NE(with([](Settings& s) { s.smooth = 8; }).find("odd"), std::string::npos);
    EXPECT_NE(with([](Settings& s) { s.smooth = 1027; }), "");
    EXPECT_EQ(with([](Settings& s) { s.smooth = 1025; }), "");
    EXPECT_NE(with([](Settings& s) { s.low_db = 0, s.high_db = -10; }), "");
    EXPECT_NE(refusal(Settings(), 2047).find("2047 samples are fewer"), std::string::npos);
    EXPECT_EQ(refusal(Settings(), 2048), "");
}

} // namespace
