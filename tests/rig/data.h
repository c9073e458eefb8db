// tests/rig/data.h: what the arrays are filled with. One seed per run, printed, given back by
// LIBSIMD_SEED=...; every test starts from it anew, so a failure repeats by itself.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rig {

/// The run's seed.
std::uint64_t seed();

/// splitmix64, from the run's seed and a number of the caller's.
class Random {
public:
    explicit Random(std::uint64_t stream) : state_(seed() * 0x9E3779B97F4A7C15U + stream) {}
    /// The same numbers in every run.
    static Random fixed(std::uint64_t state)
    {
        Random random(0);
        random.state_ = state;
        return random;
    }
    std::uint64_t bits();
    std::uint64_t below(std::uint64_t n) { return bits() % n; }
    double unit(); // [0, 1)

private:
    std::uint64_t state_;
};

/// Kinds of data; each test runs over all that mean something to its kernel.
enum class Kind {
    ordinary, // signed values over some decades, no two alike
    special, // NaNs quiet and signalling with payloads of their own, zeros, infinities, subnormals,
             // limits
    mixed,   // ordinary, with a special value now and then
    constant, // all elements alike
    ties,     // few small integers and both zeros: equal elements everywhere
};
inline constexpr Kind all_kinds[] = {Kind::ordinary, Kind::special, Kind::mixed, Kind::constant,
                                     Kind::ties};

float make_f32(Random& random, Kind kind);
double make_f64(Random& random, Kind kind);

/// T is float, double or an integer type (for those: full range, limits, few values).
template <class T>
T make(Random& random, Kind kind);

/// Fills n elements at any address.
template <class T>
void fill(T* at, std::size_t n, Random& random, Kind kind);

/// Counts around each edge: 0 to 3, then every edge less and plus up to two, up to `most`.
/// For a full sweep use a plain loop; this is for the many-pointer kernels.
template <std::size_t N>
struct Counts {
    std::size_t list[5 * N + 4];
    std::size_t size;
    const std::size_t* begin() const { return list; }
    const std::size_t* end() const { return list + size; }
};
template <std::size_t N>
Counts<N> around(const std::size_t (&edges)[N])
{
    Counts<N> counts{};
    const auto put = [&](std::size_t n) {
        for (const std::size_t* it = counts.begin(); it != counts.end(); ++it)
            if (*it == n)
                return;
        counts.list[counts.size++] = n;
    };
    for (std::size_t n = 0; n < 4; ++n)
        put(n);
    for (const std::size_t edge : edges)
        for (std::size_t n = edge > 2 ? edge - 2 : 0; n <= edge + 2; ++n)
            put(n);
    return counts;
}

} // namespace rig
