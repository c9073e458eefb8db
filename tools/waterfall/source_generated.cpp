// The generated band: the same samples in every run, each a function of its number alone.
#include "waterfall/source_generated.h"

#include "waterfall/source_parts.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace waterfall {
namespace {

using generated::rate;
using Complex = std::complex<double>;

// splitmix64: as random as a picture needs.
std::uint64_t hash(std::uint64_t number)
{
    std::uint64_t x = number * 0x9e3779b97f4a7c15U + 0x632be59bd9b4e019U;
    x = (x ^ (x >> 30U)) * 0xbf58476d1ce4e5b9U;
    x = (x ^ (x >> 27U)) * 0x94d049bb133111ebU;
    return x ^ (x >> 31U);
}

// -1 or 1: bit `which` of what symbol `number` of a stream carries.
double symbol(std::uint64_t stream, std::uint64_t number, unsigned which)
{
    return (hash(stream << 40U ^ number) >> which & 1U) != 0 ? 1.0 : -1.0;
}

class GeneratedSource : public WholeSource {
public:
    GeneratedSource();
    std::size_t read(void* block, std::size_t most) override;
    std::uint64_t skip(std::uint64_t samples) override
    {
        const std::uint64_t n = std::min(samples, generated::samples - done_);
        done_ += n;
        return n;
    }

private:
    static constexpr std::size_t steps = 65536;

    // e^(2 pi i turns)
    Complex turned(double turns) const
    {
        return circle_[static_cast<std::size_t>(static_cast<std::int64_t>(turns * steps)) % steps];
    }
    Complex carrier(std::int64_t hertz, std::uint64_t n) const
    {
        const std::int64_t periods = hertz * static_cast<std::int64_t>(n) % rate;
        return turned(static_cast<double>(periods) / static_cast<double>(rate));
    }
    double tone(std::int64_t hertz, std::uint64_t n) const { return carrier(hertz, n).imag(); }
    // Turns that a tone has moved a carrier by whose frequency it moves by up to `deviation` Hz.
    double swung(double deviation, std::int64_t hertz, std::uint64_t n) const
    {
        return deviation / (2.0 * std::numbers::pi * static_cast<double>(hertz)) * tone(hertz, n);
    }
    Complex sample(std::uint64_t n) const;
    Complex shift_keyed(std::int64_t offset, std::uint64_t n) const;
    Complex qpsk(std::int64_t offset, std::uint64_t n) const;
    Complex chirp(const generated::Signal& signal, std::uint64_t n) const;
    Complex hopping(const generated::Signal& signal, std::uint64_t n) const;
    Complex noise(std::uint64_t n) const;

    std::vector<Complex> circle_;
    std::vector<double> levels_;
    double noise_level_;
    std::uint64_t done_ = 0;
};

double amplitude(double level) { return std::pow(10.0, level / 20.0); }

GeneratedSource::GeneratedSource()
    : WholeSource({}), noise_level_(amplitude(generated::noise_level))
{
    Recording& r = whole_.recording;
    for (std::size_t i = 0; i != steps; ++i)
        circle_.push_back(std::polar(1.0, 2.0 * std::numbers::pi * static_cast<double>(i) / steps));
    r.input = r.name = "generated band";
    r.kind = "generated";
    r.format = Format::cs16;
    r.coding = "cs16";
    r.rate = static_cast<double>(rate);
    r.center = generated::center;
    r.samples = generated::samples;
    whole_.captures.push_back({0, r.center, {}, ""});
    for (const generated::Signal& s : generated::signals) {
        levels_.push_back(amplitude(s.level));
        const double middle = generated::center + static_cast<double>(s.offset);
        const double half = s.width / 2.0 + 15e3; // a box beside the signal, not on it
        r.annotations.push_back({r.rate / 2, r.rate / 2, middle - half, middle + half, s.label});
    }
}

Complex GeneratedSource::shift_keyed(std::int64_t offset, std::uint64_t n) const
{
    constexpr std::uint64_t length = 2000; // samples of a symbol: whole turns, so no step in phase
    return carrier(offset + (symbol(1, n / length, 0) > 0.0 ? 10'000 : -10'000), n);
}

Complex GeneratedSource::qpsk(std::int64_t offset, std::uint64_t n) const
{
    constexpr std::uint64_t length = 20;
    const std::uint64_t now = n / length;
    const double share = 0.5 - 0.5 * circle_[n % length * steps / (2 * length)].real(); // 0 to 1
    const auto part = [&](unsigned which) {
        return (1.0 - share) * symbol(2, now, which) + share * symbol(2, now + 1, which);
    };
    return carrier(offset, n) * Complex(part(0), part(1)) / std::numbers::sqrt2;
}

Complex GeneratedSource::chirp(const generated::Signal& signal, std::uint64_t n) const
{
    constexpr std::uint64_t length = rate / 2;
    const double seconds = static_cast<double>(n % length) / static_cast<double>(rate);
    const double slope = 2.0 * signal.width; // Hz per second
    const double turns = (static_cast<double>(signal.offset) - signal.width / 2.0) * seconds +
                         0.5 * slope * seconds * seconds;
    return turned(turns - std::floor(turns));
}

Complex GeneratedSource::hopping(const generated::Signal& signal, std::uint64_t n) const
{
    constexpr std::uint64_t length = rate / 40; // 25 ms, the last 5 of them silent
    if (n % length >= length / 5 * 4)
        return {};
    const auto channel = static_cast<std::int64_t>(hash(3U << 20U ^ n / length) % 8);
    return carrier(signal.offset - 105'000 + 30'000 * channel, n);
}

// Normal in both parts, mean power 1.
Complex GeneratedSource::noise(std::uint64_t n) const
{
    const std::uint64_t bits = hash(4ULL << 40U ^ n);
    const double uniform = (static_cast<double>(bits >> 32U) + 0.5) / 4294967296.0;
    return std::sqrt(-std::log(uniform)) * circle_[bits % steps];
}

Complex GeneratedSource::sample(std::uint64_t n) const
{
    using namespace generated;
    const auto scaled = [&](const Signal& s, const Complex& value) {
        return levels_[static_cast<std::size_t>(&s - signals.data())] * value;
    };
    const auto& [keyed, am, pulsed, four, sweep, line, fm, hops] = signals;
    const double swing = swung(30'000.0, 1'000, n) + swung(30'000.0, 2'300, n);
    const bool on = n % (rate / 10) < rate / 25;

    Complex sum = noise_level_ * noise(n);
    sum += scaled(keyed, shift_keyed(keyed.offset, n));
    sum += scaled(am, carrier(am.offset, n) * (1.0 + 0.6 * tone(20'000, n)));
    sum += scaled(pulsed, on ? carrier(pulsed.offset, n) : 0.0);
    sum += scaled(four, qpsk(four.offset, n));
    sum += scaled(sweep, chirp(sweep, n));
    sum += scaled(line, carrier(line.offset, n));
    sum += scaled(fm, carrier(fm.offset, n) * turned(swing - std::floor(swing)));
    sum += scaled(hops, hopping(hops, n));
    return sum;
}

std::size_t GeneratedSource::read(void* block, std::size_t most)
{
    const std::uint64_t left = generated::samples - done_;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(most, left));
    auto* out = static_cast<std::int16_t*>(block);
    for (std::size_t i = 0; i != count; ++i) {
        const Complex value = 32768.0 * sample(done_ + i);
        *out++ = static_cast<std::int16_t>(std::lround(value.real()));
        *out++ = static_cast<std::int16_t>(std::lround(value.imag()));
    }
    done_ += count;
    return count;
}

} // namespace

Opened open_generated() { return std::make_unique<GeneratedSource>(); }

} // namespace waterfall
