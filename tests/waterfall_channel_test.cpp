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

/// Power gain of all stages together, at a frequency in turns per input sample.
double gain(unsigned decimate, double turns)
{
    Complex product = 1;
    double rate_now = 1; // input samples per sample of the stage's input
    for (const StagePlan& stage : plan_stages(decimate)) {
        Complex sum;
        for (std::size_t i = 0; i < stage.taps.size(); ++i)
            sum += stage.taps[i] *
                   std::polar(1.0, -2 * pi * turns * rate_now * static_cast<double>(i));
        product *= sum;
        rate_now *= stage.decimate;
    }
    return db(std::norm(product) + 1e-30);
}

// Flat within 0.01 dB up to 0.41 of the new rate, 70 dB down from 0.5 of it on: nothing folds back.
TEST(WaterfallChannel, StagesPassAndStop)
{
    for (const unsigned decimate : {2U, 5U, 8U, 60U, 97U, 1000U}) {
        unsigned product = 1;
        for (const StagePlan& stage : plan_stages(decimate)) {
            product *= stage.decimate;
            for (std::size_t i = 0; i < stage.taps.size(); ++i)
                EXPECT_NEAR(stage.taps[i], stage.taps[stage.taps.size() - 1 - i], 1e-15);
        }
        EXPECT_EQ(product, decimate);
        EXPECT_NEAR(gain(decimate, 0), 0, 1e-9);
        EXPECT_GT(flat_share(decimate), 0.82);
        const double step = decimate > 50 ? 0.501 : 0.0101; // of the new rate
        for (double at = 0; at <= 0.5 * decimate; at += at < 1 ? 0.0101 : step)
            if (at < flat_share(decimate) / 2) {
                EXPECT_NEAR(gain(decimate, at / decimate), 0, 0.01) << decimate << " " << at;
            } else if (at > 0.505) {
                EXPECT_LT(gain(decimate, at / decimate), -70) << decimate << " " << at;
            }
    }
}

// Products per input sample.
double cost(unsigned decimate)
{
    double sum = 0;
    double share = 1;
    for (const StagePlan& stage : plan_stages(decimate)) {
        share /= stage.decimate;
        sum += share * static_cast<double>(stage.taps.size());
    }
    return sum;
}

TEST(WaterfallChannel, CostFallsWithTheFactor)
{
    EXPECT_LT(cost(2), 66);
    EXPECT_LT(cost(8), 30);
    EXPECT_LT(cost(64), 15);
    EXPECT_LT(cost(1000), 12);
    EXPECT_LT(cost(997), 66); // a prime: one stage
}

Signal through(Format format, const Signal& in, double shift, unsigned decimate, std::size_t piece)
{
    Channel channel(is_complex(format), shift / rate, decimate, piece);
    Buffer<unsigned char> block(piece * bytes_per_sample(format));
    Buffer<double> unpacked(2 * piece);
    Buffer<double> out(2 * piece + 2);
    Timings timings;
    MemorySource source(in, format, rate);
    Signal all;
    const auto keep = [&](std::size_t kept) {
        for (std::size_t i = 0; i < kept; ++i)
            all.emplace_back(out[2 * i], out[2 * i + 1]);
        return kept != 0;
    };
    while (const std::size_t got = source.read(block.data(), piece)) {
        prepare(format, block.data(), got);
        unpack(format, block.data(), got, unpacked.data(), timings);
        keep(channel.run(unpacked.data(), got, out.data(), timings));
    }
    while (keep(channel.finish(out.data(), timings))) {
    }
    return all;
}

/// One stage by its definition: output k is centred on input k * decimate; zeros around the signal.
Signal convolved(const Signal& in, const StagePlan& stage)
{
    const auto middle = static_cast<std::ptrdiff_t>(stage.taps.size() / 2);
    const auto n = static_cast<std::ptrdiff_t>(in.size());
    Signal out;
    for (std::ptrdiff_t at = 0; at < n; at += stage.decimate) {
        Complex sum;
        for (std::ptrdiff_t j = -middle; j <= middle; ++j)
            if (at + j >= 0 && at + j < n)
                sum += stage.taps[static_cast<std::size_t>(middle + j)] *
                       in[static_cast<std::size_t>(at + j)];
        out.push_back(sum);
    }
    return out;
}

TEST(WaterfallChannel, IsTheConvolutionHoweverTheStreamIsCut)
{
    Signal in(3000);
    add_noise(in, 0.01);
    for (const unsigned decimate : {1U, 3U, 12U, 40U})
        for (const double shift : {0.0, 123456.7})
            for (const Format format : {Format::cs16, Format::cf32, Format::cu8, Format::f64}) {
                Signal want = in;
                for (std::size_t i = 0; i < in.size(); ++i) {
                    const double turns = -shift / rate * static_cast<double>(i);
                    const Complex x = is_complex(format)
                                          ? Complex{coded(format, in[i].real()).value,
                                                    coded(format, in[i].imag()).value}
                                          : Complex{2 * in[i].real(), 0};
                    want[i] = x * std::polar(1.0, 2 * pi * std::fmod(turns, 1.0));
                }
                for (const StagePlan& stage : plan_stages(decimate))
                    want = convolved(want, stage);
                for (const std::size_t piece : {1UL, 7UL, 333UL, 3000UL}) {
                    const Signal got = through(format, in, shift, decimate, piece);
                    ASSERT_EQ(got.size(), want.size()) << decimate << " " << piece;
                    for (std::size_t k = 0; k < got.size(); ++k)
                        ASSERT_NEAR(std::abs(got[k] - want[k]), 0, 1e-9)
                            << name(format) << " " << decimate << " " << piece << " " << k;
                }
            }
}

// A tone anywhere in the flat part has its level; on the slope, where it has not, no line is said.
TEST(WaterfallChannel, FlatPartEndsWhereItSays)
{
    for (const unsigned decimate : {2U, 8U, 10U})
        for (const double share : {-0.99, -0.5, 0.3, 0.99, 1.12}) {
            Settings settings = channel_at(50e3, decimate);
            settings.smooth = 3;
            const double band = rate / decimate;
            const double hertz = 50e3 + share * flat_share(decimate) / 2 * band;
            Signal s(60000);
            add_noise(s, 1e-8);
            add_tone(s, 0.1, hertz, rate);
            const Analysis a = analysed(s, Format::cf32, rate, settings);
            EXPECT_NEAR(a.slope_hz, (1 - flat_share(decimate)) / 2 * band, 2 * a.bin_hz);
            if (share > 1) {
                EXPECT_TRUE(a.lines.empty());
                continue;
            }
            ASSERT_EQ(a.lines.size(), 1U) << share;
            EXPECT_NEAR(a.lines[0].frequency, hertz, 0.01 * a.bin_hz);
            EXPECT_NEAR(a.lines[0].level_db, -20, 0.03);
        }
}

} // namespace
