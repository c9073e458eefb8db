#include "rig/data.h"

#include "rig/model.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>

namespace rig {

std::uint64_t seed()
{
    static const std::uint64_t value = [] {
        if (const char* given = std::getenv("LIBSIMD_SEED"))
            return static_cast<std::uint64_t>(std::strtoull(given, nullptr, 0));
        return static_cast<std::uint64_t>(std::random_device{}());
    }();
    return value;
}

std::uint64_t Random::bits()
{
    std::uint64_t z = state_ += 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

double Random::unit() { return static_cast<double>(bits() >> 11) * 0x1p-53; }

namespace {

template <class T>
T special_value(Random& random)
{
    using F = model::Format<T>;
    using B = typename F::Bits;
    const B sign = random.below(2) != 0 ? F::sign : B{0};
    const B payload = (static_cast<B>(random.bits()) & (F::quiet - 1)) | 1;
    switch (random.below(12)) {
    case 0:
    case 1:
        return model::from_bits<T>(sign | F::exponent | F::quiet | payload); // quiet NaN
    case 2:
        return model::from_bits<T>(sign | F::exponent | payload); // signalling NaN
    case 3:
    case 4:
        return model::from_bits<T>(sign); // zero
    case 5:
        return model::from_bits<T>(sign | F::exponent); // infinity
    case 6:
        return model::from_bits<T>(sign | payload); // subnormal
    case 7:
        return model::from_bits<T>(sign | (F::mantissa + 1)); // smallest normal
    case 8:
        return model::from_bits<T>(sign | (F::exponent - 1)); // largest finite
    case 9:
        return model::from_bits<T>(sign | 1); // smallest subnormal
    case 10:
        return (sign != 0 ? T(-1) : T(1)) * T(2147483648.0);
    default:
        return static_cast<T>(static_cast<double>(random.below(2001)) / 4.0 - 250.0);
    }
}

template <class T>
T floating(Random& random, Kind kind)
{
    switch (kind) {
    case Kind::special:
        return special_value<T>(random);
    case Kind::mixed:
        if (random.below(9) == 0)
            return special_value<T>(random);
        [[fallthrough]];
    case Kind::ordinary:
        break;
    case Kind::constant:
        return T(1.7);
    case Kind::ties: {
        static constexpr T few[] = {T(-2), T(-1), T(-0.0), T(0.0), T(1), T(2), T(0.5)};
        return few[random.below(std::size(few))];
    }
    }
    static constexpr double scale[] = {1.0, 1.0, 1.0, 1e-3, 1e3, 1e-6};
    const double value = random.unit() * 2.0 - 1.0; // first, with every compiler
    return static_cast<T>(value * scale[random.below(std::size(scale))]);
}

template <class T>
T integer(Random& random, Kind kind)
{
    using L = std::numeric_limits<T>;
    switch (kind) {
    case Kind::constant:
        return T(77);
    case Kind::ties:
        return static_cast<T>(random.below(4));
    case Kind::special: {
        const T limits[] = {L::min(),
                            L::max(),
                            T(0),
                            T(1),
                            static_cast<T>(L::min() + 1),
                            static_cast<T>(L::max() - 1)};
        return limits[random.below(std::size(limits))];
    }
    default:
        return static_cast<T>(random.bits());
    }
}

} // namespace

float make_f32(Random& random, Kind kind) { return floating<float>(random, kind); }
double make_f64(Random& random, Kind kind) { return floating<double>(random, kind); }

template <class T>
T make(Random& random, Kind kind)
{
    if constexpr (std::is_floating_point_v<T>)
        return floating<T>(random, kind);
    else
        return integer<T>(random, kind);
}

template <class T>
void fill(T* at, std::size_t n, Random& random, Kind kind)
{
    for (std::size_t i = 0; i < n; ++i) {
        const T value = make<T>(random, kind);
        std::memcpy(reinterpret_cast<char*>(at) + i * sizeof value, &value, sizeof value);
    }
}

#define INSTANTIATE(T)                                                                             \
    template T make<T>(Random&, Kind);                                                             \
    template void fill<T>(T*, std::size_t, Random&, Kind);
INSTANTIATE(float)
INSTANTIATE(double)
INSTANTIATE(std::uint8_t)
INSTANTIATE(std::int16_t)
INSTANTIATE(std::uint16_t)
INSTANTIATE(std::uint32_t)
#undef INSTANTIATE

} // namespace rig
