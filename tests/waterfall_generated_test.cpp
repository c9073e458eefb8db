// The generated band holds what its list says, in every run.
#include "waterfall/source_generated.h"
#include "waterfall_files.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>

using namespace waterfall;

namespace {

std::vector<std::complex<double>> read_band()
{
    const auto source = open("");
    EXPECT_EQ(source->recording().format, Format::cs16);
    EXPECT_EQ(source->recording().rate, static_cast<double>(generated::rate));
    EXPECT_EQ(source->recording().samples, generated::samples);
    const Bytes bytes = read_all(*source, 65536);
    std::vector<std::complex<double>> band(generated::samples);
    EXPECT_EQ(bytes.size(), band.size() * 4);
    for (std::size_t i = 0; i != band.size(); ++i) {
        std::int16_t parts[2];
        std::memcpy(parts, bytes.data() + 4 * i, 4);
        band[i] = {parts[0] / 32768.0, parts[1] / 32768.0};
    }
    return band;
}

const std::vector<std::complex<double>>& generated_band()
{
    static const auto band = read_band();
    return band;
}

// dB of full scale of a line at `hertz`, over `n` samples from `first`, by the definition.
double line_level(const std::vector<std::complex<double>>& band, double hertz, std::size_t first,
                  std::size_t n)
{
    std::complex<double> sum;
    for (std::size_t i = first; i != first + n; ++i) {
        const double turns = std::fmod(hertz * static_cast<double>(i) / 2e6, 1.0);
        sum += band[i] * std::polar(1.0, -2.0 * std::numbers::pi * turns);
    }
    return 20.0 * std::log10(std::abs(sum) / static_cast<double>(n));
}

TEST(WaterfallGenerated, HoldsWhatItsListSays)
{
    const auto& band = generated_band();
    for (const generated::Signal& s : generated::signals) {
        const auto hertz = static_cast<double>(s.offset);
        const std::string label = s.label;
        const double level = line_level(band, hertz, 0, 2'000'000);
        if (label == "carrier" || label == "AM") {
            EXPECT_NEAR(level, s.level, 0.1) << label;
        } else if (label == "pulses") {
            EXPECT_NEAR(line_level(band, hertz, 0, 80'000), s.level, 0.2);
            EXPECT_LT(line_level(band, hertz, 80'000, 120'000), s.level - 30.0);
        } else {
            EXPECT_LT(level, s.level - 10.0) << label << ": its power is spread";
        }
        for (const double side : {-20e3, 20e3}) // AM of 60 %: 0.3 of the carrier on each side
            if (label == "AM") {
                EXPECT_NEAR(line_level(band, hertz + side, 0, 2'000'000), s.level - 10.46, 0.2);
            }
    }
    // a place where nothing is: noise only
    EXPECT_LT(line_level(band, 950e3, 0, 2'000'000), -90.0);
}

TEST(WaterfallGenerated, SamePowerAsItsParts)
{
    const auto& band = generated_band();
    double power = 0.0;
    for (const auto& v : band)
        power += std::norm(v);
    power /= static_cast<double>(band.size());
    double wanted = std::pow(10.0, generated::noise_level / 10.0);
    for (const generated::Signal& s : generated::signals) {
        const std::string label = s.label;
        const double on = label == "pulses"    ? 0.4
                          : label == "hopping" ? 0.8
                          : label == "AM"      ? 1.18
                          : label == "QPSK"    ? 0.75
                                               : 1.0;
        wanted += on * std::pow(10.0, s.level / 10.0);
    }
    EXPECT_NEAR(10.0 * std::log10(power / wanted), 0.0, 0.1);
}

TEST(WaterfallGenerated, SameInEveryRunAndEveryBlockSize)
{
    const auto first = open("");
    const auto second = open("");
    Bytes whole(4 * 9000);
    ASSERT_EQ(first->read(whole.data(), 9000), 9000U);
    Bytes pieces(4 * 9000);
    for (std::size_t i = 0; i != 9000; i += 90)
        ASSERT_EQ(second->read(pieces.data() + 4 * i, 90), 90U);
    EXPECT_EQ(whole, pieces);
}

TEST(WaterfallGenerated, HopsOverItsChannels)
{
    const auto& band = generated_band();
    std::array<int, 8> used{};
    for (std::size_t burst = 0; burst != 60; ++burst) {
        std::size_t loudest = 0;
        double level = -200.0;
        for (std::size_t channel = 0; channel != 8; ++channel) {
            const double hertz = 695e3 + 30e3 * static_cast<double>(channel);
            const double here = line_level(band, hertz, burst * 50'000, 4'000);
            if (here > level) {
                level = here;
                loudest = channel;
            }
        }
        EXPECT_NEAR(level, -30.0, 0.5);
        ++used.at(loudest);
        EXPECT_LT(line_level(band, 695e3 + 30e3 * static_cast<double>(loudest),
                             burst * 50'000 + 40'000, 10'000),
                  -50.0);
    }
    EXPECT_GE(std::count_if(used.begin(), used.end(), [](int n) { return n > 0; }), 6);
}

} // namespace
