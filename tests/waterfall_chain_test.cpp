// The chain against the definitions: spectra, levels, formats, bad settings.
#include "waterfall/channel.h"
#include "waterfall/error.h"
#include "waterfall/spectrum.h"
#include "waterfall_signals.h"

#include <fmt/format.h>
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
    Signal s(64UL * 10);
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

std::size_t frames_of(std::size_t samples, std::size_t fft, std::size_t hop)
{
    return samples <= fft ? 1 : 1 + (samples - fft + hop - 1) / hop; // the last one in part
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
        EXPECT_EQ(a.frames, frames_of(s.size(), 256, hop)) << overlap;
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
    for (const Format format : {cu8, cs8, cs16, cf32, cf64, u8, s8, s16, f32, f64}) {
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
    EXPECT_EQ(a.frames, frames_of(a.samples, 2048, 1024));
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
    EXPECT_NE(with([](Settings& s) { s.threads = 1000; }), "");
    EXPECT_NE(refusal(Settings(), 0).find("0 samples"), std::string::npos);
    EXPECT_EQ(refusal(Settings(), 1), "");
}

/// Everything that pictures and figures are made of.
void expect_same(const Analysis& a, const Analysis& b, const std::string& which)
{
    EXPECT_EQ(a.samples, b.samples) << which;
    EXPECT_EQ(a.frames, b.frames) << which;
    EXPECT_EQ(a.mean_db, b.mean_db) << which;
    EXPECT_EQ(a.peak_db, b.peak_db) << which;
    EXPECT_EQ(a.smooth_db, b.smooth_db) << which;
    EXPECT_EQ(a.floor_db, b.floor_db) << which;
    EXPECT_EQ(a.levels.mean_db, b.levels.mean_db) << which;
    EXPECT_EQ(a.levels.peak, b.levels.peak) << which;
    EXPECT_EQ(a.levels.mean_abs, b.levels.mean_abs) << which;
    EXPECT_EQ(a.levels.clipped, b.levels.clipped) << which;
    EXPECT_EQ(a.waterfall.codes, b.waterfall.codes) << which;
    ASSERT_EQ(a.lines.size(), b.lines.size()) << which;
    for (std::size_t i = 0; i < a.lines.size(); ++i) {
        EXPECT_EQ(a.lines[i].frequency, b.lines[i].frequency) << which;
        EXPECT_EQ(a.lines[i].power_db, b.lines[i].power_db) << which;
    }
}

TEST(WaterfallChain, ThreadsDoNotChangeABit)
{
    Signal s(150001);
    add_noise(s, 1e-3);
    add_tone(s, 0.9, 0.1234 * rate, rate, 70000, 100000);
    for (const Format format : {Format::cs16, Format::cu8, Format::f64})
        for (const std::size_t fft : {128UL, 2048UL, 16384UL})
            for (const int kind : {0, 1, 2, 3}) {
                Settings settings = small(fft);
                settings.rows = 20;
                settings.overlap = kind == 1 ? 0.3 : 0.5;
                settings.average = kind == 2 ? 0.3 : 1;
                settings.max_hold = kind == 2;
                settings.decimate = kind == 3 ? 6 : 1;
                settings.threads = 1;
                const Analysis one = analysed(s, format, rate, settings);
                EXPECT_EQ(one.threads, 1U);
                for (const unsigned threads : {2U, 3U, 16U}) {
                    settings.threads = threads;
                    const Analysis many = analysed(s, format, rate, settings);
                    EXPECT_EQ(many.threads, threads);
                    expect_same(one, many,
                                fmt::format("{} {} {} {}", name(format), fft, kind, threads));
                }
            }
}

TEST(WaterfallChain, AFailingSourceFailsOnEveryNumberOfThreads)
{
    struct Failing : MemorySource {
        using MemorySource::MemorySource;
        std::size_t read(void* block, std::size_t most) override
        {
            if (++reads == 5)
                throw Error("the fifth read fails");
            return MemorySource::read(block, most);
        }
        int reads = 0;
    };
    for (const unsigned threads : {1U, 2U, 16U}) {
        Failing source(Signal(200000), Format::cs16, rate);
        Settings settings;
        settings.threads = threads;
        volatile std::sig_atomic_t stop = 0;
        EXPECT_THROW(analyse(
                         source, settings, [](std::uint64_t) {}, stop),
                     Error);
    }
}

// What fills no whole transform at the end is shown and counted, with the power it has, wherever the
// end falls and for every window.
TEST(WaterfallChain, TheEndInPartIsShown)
{
    for (const std::size_t fft : {256UL, 2048UL})
        for (const double overlap : {0.0, 0.5})
            for (const char* const window : {"hann", "rect", "flattop"})
                for (const double share : {0.03, 0.4, 0.7, 0.99}) {
                    Settings settings = small(fft);
                    settings.overlap = overlap;
                    settings.window = window;
                    settings.rows = 100;
                    const auto rest =
                        static_cast<std::size_t>(share * static_cast<double>(settings.hop()));
                    const std::size_t n = 10 * fft + rest;
                    Signal s(n);
                    add_tone(s, 0.5, 0.25 * rate, rate, 10 * fft); // only there
                    const Analysis a = analysed(s, Format::cf32, rate, settings);
                    const std::string which =
                        fmt::format("{} {} {} {}", fft, overlap, window, share);
                    EXPECT_EQ(a.frames, frames_of(n, fft, settings.hop())) << which;
                    EXPECT_EQ(a.part_samples, rest + fft - settings.hop()) << which;
                    EXPECT_EQ(a.waterfall.rows, a.frames) << which;
                    if (overlap > 0)
                        continue;
                    // Of all of it, whatever its length.
                    double sum = 0;
                    for (const float level : a.peak_db)
                        sum += std::pow(10.0, static_cast<double>(level) / 10);
                    const double bins = rest < 16 ? 1.0 : Spectrum(fft, window, false).noise_bins();
                    EXPECT_NEAR(db(sum / bins), db(0.25), 0.05) << which;
                }
    // Fewer samples than one transform takes: the same levels from what is there.
    Signal s(700);
    add_tone(s, 0.5, 0.25 * rate, rate);
    add_noise(s, 1e-4);
    const Analysis a = analysed(s, Format::cf32, rate, Settings());
    EXPECT_EQ(a.frames, 1U);
    EXPECT_EQ(a.part_samples, 700U);
    ASSERT_GE(a.lines.size(), 1U);
    EXPECT_NEAR(a.lines[0].level_db, 2 * db(0.5), 0.1);
    EXPECT_NEAR(a.lines[0].frequency, 0.25 * rate, 100);
    EXPECT_NEAR(a.floor_db, db(1e-4 * 1.5 / 700), 2);
}

// The same noise in the last row as before it, though it has fewer samples.
TEST(WaterfallChain, NoiseIsFlatToTheEnd)
{
    double sum = 0;
    int count = 0;
    for (unsigned seed = 1; seed <= 20; ++seed)
        for (const double share : {0.1, 0.5}) {
            Settings settings = small(512);
            settings.overlap = 0;
            settings.reduce = "mean";
            settings.low_db = -80;
            settings.high_db = 0;
            Signal s(512 * 3 + static_cast<std::size_t>(512 * share));
            add_noise(s, 1.0, seed);
            const Waterfall w = analysed(s, Format::cf32, rate, settings).waterfall;
            ASSERT_EQ(w.rows, 4U);
            for (std::size_t c = 0; c < 512; ++c, ++count)
                sum += std::pow(10.0, -8 + 8.0 / 255 * w.codes[3UL * 512 + c]);
        }
    EXPECT_NEAR(db(sum / count), db(1.5 / 512), 0.5);
}

// Mean and largest are those of the recording's samples, with a channel as without.
TEST(WaterfallChain, LevelsAreThoseOfTheSamplesWithAChannelToo)
{
    Signal s(100000);
    add_tone(s, 0.5, 0.3 * rate, rate);
    add_tone(s, 0.01, 0.01 * rate, rate);
    Settings settings = small(256);
    const Analysis whole = analysed(s, Format::cs16, rate, settings);
    settings.channel = 0.0;
    settings.decimate = 8;
    const Analysis channel = analysed(s, Format::cs16, rate, settings);
    EXPECT_NEAR(whole.levels.mean_db, db(0.2501), 0.001);
    EXPECT_NEAR(channel.levels.mean_db, whole.levels.mean_db, 1e-9);
    EXPECT_EQ(channel.levels.peak, whole.levels.peak);
    EXPECT_LT(channel.lines.at(0).level_db, -39);
    // Real: a sine of full scale is 0 dB, the direct part counts once.
    for (const double direct : {0.0, 0.5}) {
        Signal sine(48000);
        for (std::size_t i = 0; i < sine.size(); ++i)
            sine[i] = direct + 0.25 * std::sin(2 * pi * static_cast<double>(i) / 48);
        const Analysis a = analysed(sine, Format::f32, 48000, small(256));
        EXPECT_NEAR(a.levels.mean_db, db(0.25 * 0.25 + direct * direct), 1e-6);
    }
}

} // namespace
