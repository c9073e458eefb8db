// Bursts against what was put into the band: how many are found, and how many are not there.
#include "waterfall_signals.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace waterfall;
using namespace waterfall_test;

namespace {

constexpr double rate = 250e3;
constexpr double noise_power = 1e-4;

struct Put {
    double start, hertz;
};

/// White noise with bursts of 2 ms, made while it is read.
class Band : public Source {
public:
    /// amplitude: of a burst; one in each two seconds, where and when chance says.
    Band(double seconds, double amplitude, unsigned seed) : random_(seed)
    {
        recording_.name = recording_.input = "band";
        recording_.format = Format::cf32;
        recording_.rate = rate;
        left_ = static_cast<std::size_t>(seconds * rate);
        amplitude_ = amplitude;
        const auto uniform = [&] {
            return static_cast<double>(random_() >> 11U) / 9007199254740992.0;
        };
        for (double at = 0; amplitude > 0 && at + 2 <= seconds; at += 2)
            bursts.push_back({at + 1.998 * uniform(), (uniform() - 0.5) * 0.98 * rate});
        if (!bursts.empty()) {
            bursts.front().start = 0;
            bursts.back().start = seconds - 0.002;
        }
    }
    const Recording& recording() const override { return recording_; }
    std::size_t read(void* block, std::size_t most) override
    {
        const std::size_t n = std::min(most, left_);
        auto* out = static_cast<float*>(block);
        for (std::size_t i = 0; i < n; ++i, ++at_) {
            Complex x{normal(), normal()};
            const double t = static_cast<double>(at_) / rate;
            if (next_ < bursts.size() && t >= bursts[next_].start) {
                const Put& burst = bursts[next_];
                x += std::polar(amplitude_, 2 * pi * std::fmod(burst.hertz * t, 1.0));
                if (t >= burst.start + 0.002)
                    ++next_;
            }
            *out++ = static_cast<float>(x.real());
            *out++ = static_cast<float>(x.imag());
        }
        left_ -= n;
        return n;
    }
    std::vector<Put> bursts;

private:
    /// A sum of four, of the variance noise_power / 2: normal enough once it is transformed.
    double normal()
    {
        const std::uint64_t bits = random_();
        double sum = -2 * 65535.0;
        for (unsigned k = 0; k < 4; ++k)
            sum += static_cast<double>(bits >> 16U * k & 65535U);
        return sum / 65536 * std::sqrt(3 * noise_power / 2);
    }

    Recording recording_;
    std::mt19937_64 random_;
    std::size_t left_, at_ = 0, next_ = 0;
    double amplitude_ = 0;
};

struct Score {
    std::size_t put, found, wrong;
};

/// Bursts that reach `above` dB over the floor of a bin.
Score score(std::size_t fft, double seconds, double above, unsigned seed)
{
    Settings settings;
    settings.fft = fft;
    settings.bursts = 100000;
    const double bin_noise = noise_power * 1.5 / static_cast<double>(fft);
    Band band(seconds, std::sqrt(bin_noise * std::pow(10, above / 10)), seed);
    volatile std::sig_atomic_t stop = 0;
    const Analysis a = analyse(
        band, settings, [](std::uint64_t) {}, stop);
    Score score{band.bursts.size(), 0, 0};
    std::vector<bool> right(a.bursts.size());
    const double frame = static_cast<double>(fft) / rate;
    for (const Put& put : band.bursts) {
        bool found = false;
        for (std::size_t i = 0; i < a.bursts.size(); ++i) {
            const Burst& b = a.bursts[i];
            if (std::abs(b.start - put.start) < frame &&
                std::abs(b.center - put.hertz) < a.bin_hz &&
                std::abs(b.duration - 0.002) < 1.5 * frame && b.bandwidth < 9 * a.bin_hz &&
                std::abs(b.above_db - above) < 3)
                found = right[i] = true;
        }
        score.found += found ? 1 : 0;
    }
    score.wrong = static_cast<std::size_t>(std::count(right.begin(), right.end(), false));
    EXPECT_EQ(a.bursts_found, a.bursts.size());
    return score;
}

// Two minutes, frames of 1 ms; one burst is at the very start, one at the very end.
TEST(WaterfallBursts, TwoMillisecondsAreFoundAnywhereInTwoMinutes)
{
    const Score s = score(256, 120, 20, 1);
    RecordProperty("detected", fmt::format("{} of {}", s.found, s.put));
    RecordProperty("false alarms", fmt::format("{}", s.wrong));
    EXPECT_EQ(s.put, 60U);
    EXPECT_GE(s.found, 59U);
    EXPECT_LE(s.wrong, 1U);
}

TEST(WaterfallBursts, AtOtherSizesAndLevels)
{
    for (const std::size_t fft : {128UL, 512UL}) {
        const Score s = score(fft, 40, fft == 128 ? 20 : 24, 2);
        EXPECT_GE(s.found + (fft == 512 ? 2 : 0), s.put)
            << fft; // there, a burst is less than a frame
        EXPECT_LE(s.wrong, 1U) << fft;
    }
    const Score faint = score(256, 40, 5, 3); // below what is said to be found
    EXPECT_EQ(faint.found + faint.wrong, 0U);
}

TEST(WaterfallBursts, NoiseAloneHasNone)
{
    for (const std::size_t fft : {64UL, 1024UL})
        EXPECT_EQ(score(fft, 20, -200, 4).wrong, 0U) << fft;
}

// What is there all the time is a line or a wide signal, whatever it does; pulses are bursts, each
// with its place, though another signal stands beside them.
TEST(WaterfallBursts, ContinuousSignalsAreNone)
{
    Signal s(250000);
    add_noise(s, noise_power);
    add_tone(s, 0.5, 50e3, rate);
    for (double hertz = -100e3; hertz < -60e3; hertz += 97) // 40 kHz wide
        add_tone(s, 1e-3, hertz + 13 * std::sin(hertz), rate);
    Settings settings;
    settings.fft = 256;
    settings.bursts = 100;
    EXPECT_EQ(analysed(s, Format::cf32, rate, settings).bursts_found, 0U);
    for (int pulse = 0; pulse < 5; ++pulse) // 20 ms in each 200
        add_tone(s, 0.05, 20e3, rate, 12345 + 50000UL * static_cast<std::size_t>(pulse), 5000);
    const Analysis a = analysed(s, Format::cf32, rate, settings);
    ASSERT_EQ(a.bursts.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(a.bursts[i].start, (12345 + 50000 * static_cast<double>(i)) / rate, 5e-4);
        EXPECT_NEAR(a.bursts[i].duration, 0.02, 1e-3);
        EXPECT_NEAR(a.bursts[i].center, 20e3, 200);
        EXPECT_NEAR(a.bursts[i].level_db, 2 * db(0.05) - 0.7, 0.8); // that of a bin
    }
}

} // namespace
