// The channel: the wanted signal passes, others do not, and time stays where it was.
#include "waterfall/buffer.h"
#include "waterfall/channel.h"
#include "waterfall/unpack.h"
#include "waterfall_signals.h"

#include <gtest/gtest.h>

using namespace waterfall;
using namespace waterfall_test;

namespace {

constexpr double rate = 1e6;
constexpr double center = 100e6;

Settings channel_at(std::optional<double> hertz, unsigned decimate)
{
    Settings s;
    s.channel = hertz;
    s.decimate = decimate;
    s.fft = 512;
    return s;
}

double level_near(const Analysis& a, double hertz)
{
    const double at = (hertz - a.first_hz) / a.bin_hz;
    const auto bin = static_cast<std::ptrdiff_t>(std::lround(at));
    const auto first = a.mean_db.begin() + std::max<std::ptrdiff_t>(bin - 2, 0);
    return static_cast<double>(*std::max_element(first, first + 5));
}

// Each of the three FIR entries, and the formats that are unpacked before.
TEST(WaterfallChannel, PassesTheWantedToneAndRejectsTheOther)
{
    using enum Format;
    for (const Format format : {cu8, cs8, cs16, cf32, cf64})
        for (const double shift : {0.0, -210e3}) {
            Signal s(160000);
            add_noise(s, 1e-5);
            const double wanted = shift + 64 * rate / 8 / 512; // on a bin
            add_tone(s, 0.2, wanted, rate);
            // Would fall on +25 kHz, had the filter let it through.
            add_tone(s, 0.4, shift + 150e3, rate);
            const Analysis a = analysed(s, format, rate, channel_at(shift, 8), center);
            EXPECT_EQ(a.rate, rate / 8);
            EXPECT_NEAR(a.low_hz(), center + shift - rate / 16, a.bin_hz);
            EXPECT_NEAR(a.high_hz(), center + shift + rate / 16, a.bin_hz);
            EXPECT_NEAR(a.lines.at(0).frequency, center + wanted, a.bin_hz) << name(format);
            EXPECT_NEAR(a.lines.at(0).level_db, 2 * db(0.2), 0.1) << name(format);
            EXPECT_LT(level_near(a, center + shift + 25e3), -60) << name(format);
            EXPECT_GT(a.frames, 70U);
        }
}

TEST(WaterfallChannel, NoiseFloorFollowsTheNarrowerBins)
{
    Signal s(400000);
    add_noise(s, 1e-4);
    const Analysis a = analysed(s, Format::cf32, rate, channel_at(100e3, 4));
    EXPECT_NEAR(a.floor_db, db(1e-4 / 4 * 1.5 / 512), 0.5);
}

TEST(WaterfallChannel, RealChannelIsMixedToo)
{
    Signal s(100000);
    for (std::size_t i = 0; i < s.size(); ++i)
        s[i] = 0.5 * std::sin(2 * pi * 0.23 * static_cast<double>(i));
    const Analysis a = analysed(s, Format::s16, 48000, channel_at(11000, 4));
    EXPECT_NEAR(a.lines.at(0).frequency, 0.23 * 48000, a.bin_hz);
    EXPECT_NEAR(a.lines.at(0).level_db, 2 * db(0.5), 0.5);
}

TEST(WaterfallChannel, TapsPassAndStop)
{
    for (const unsigned decimate : {2U, 5U, 16U}) {
        const std::vector<double> taps = channel_taps(decimate, 0);
        const auto gain = [&](double turns) {
            Complex sum;
            for (std::size_t i = 0; i < taps.size(); ++i)
                sum += taps[i] * std::polar(1.0, -2 * pi * turns * static_cast<double>(i));
            return db(std::norm(sum));
        };
        EXPECT_NEAR(gain(0), 0, 1e-9);
        for (double turns = 0; turns <= 0.5; turns += 0.001) {
            if (turns < 0.32 / decimate) {
                EXPECT_NEAR(gain(turns), 0, 0.01) << decimate << " " << turns;
            } else if (turns > 0.51 / decimate) {
                EXPECT_LT(gain(turns), -70) << decimate << " " << turns;
            }
        }
        for (std::size_t i = 0; i < taps.size(); ++i)
            EXPECT_NEAR(taps[i], taps[taps.size() - 1 - i], 1e-15);
    }
}

Signal through(Format format, const Signal& in, const Settings& settings, std::size_t piece)
{
    Channel channel(format, rate, settings, piece);
    Buffer<unsigned char> block(piece * bytes_per_sample(format));
    Buffer<double> out(2 * piece);
    Timings timings;
    MemorySource source(in, format, rate);
    Signal all;
    while (const std::size_t got = source.read(block.data(), piece)) {
        prepare(format, block.data(), got);
        const std::size_t kept = channel.run(block.data(), got, out.data(), timings);
        for (std::size_t i = 0; i < kept; ++i)
            all.emplace_back(out[2 * i], out[2 * i + 1]);
    }
    return all;
}

// y[k] = sum taps[j] * mixed[k * D + middle - j], by that sum.
TEST(WaterfallChannel, IsTheConvolutionHoweverTheStreamIsCut)
{
    Signal in(1000);
    add_noise(in, 0.01);
    for (const double shift : {0.0, 123456.7})
        for (const Format format : {Format::cs16, Format::cf32, Format::cf64, Format::cu8}) {
            const Settings settings = channel_at(shift, 3);
            const std::vector<double> taps = channel_taps(3, 0);
            const std::size_t middle = (taps.size() - 1) / 2;
            const Signal whole = through(format, in, settings, 1000);
            ASSERT_EQ(whole.size(), (in.size() - middle + 2) / 3);
            for (std::size_t k = 0; k < whole.size(); ++k) {
                Complex want;
                for (std::size_t j = 0; j < taps.size() && j <= 3 * k + middle; ++j) {
                    const std::size_t i = 3 * k + middle - j;
                    const Complex x{coded(format, in[i].real()).value,
                                    coded(format, in[i].imag()).value};
                    const double turns = -shift / rate * static_cast<double>(i);
                    want += taps[j] * x * std::polar(1.0, 2 * pi * std::fmod(turns, 1.0));
                }
                ASSERT_NEAR(std::abs(whole[k] - want), 0, 1e-9) << name(format) << " " << k;
            }
            for (const std::size_t piece : {1UL, 7UL, 64UL, 333UL}) {
                const Signal cut = through(format, in, settings, piece);
                ASSERT_EQ(cut.size(), whole.size());
                for (std::size_t k = 0; k < cut.size(); ++k)
                    ASSERT_NEAR(std::abs(cut[k] - whole[k]), 0, 1e-9) << piece << " " << k;
            }
        }
}

} // namespace
