// tests/rig/model.h: what the models are written in. Plain scalar arithmetic whose NaN rule is
// stated on the bits, so that no compiler's choice of operand order can make a model agree with a
// kernel.
#pragma once

#include "rig/buffer.h"

#include <cstdint>
#include <limits>

namespace model {

template <class T>
struct Format;
template <>
struct Format<float> {
    using Bits = std::uint32_t;
    static constexpr Bits sign = 0x80000000U, exponent = 0x7F800000U, mantissa = 0x007FFFFFU,
                          quiet = 0x00400000U;
};
template <>
struct Format<double> {
    using Bits = std::uint64_t;
    static constexpr Bits sign = 0x8000000000000000U, exponent = 0x7FF0000000000000U,
                          mantissa = 0x000FFFFFFFFFFFFFU, quiet = 0x0008000000000000U;
};

template <class T>
T from_bits(typename Format<T>::Bits bits)
{
    T value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <class T>
bool is_nan(T x)
{
    using F = Format<T>;
    return (rig::bits_of(x) & ~F::sign) > F::exponent;
}

/// What an instruction makes of a NaN operand: the payload kept, the quiet bit set.
template <class T>
T quieted(T x)
{
    return from_bits<T>(rig::bits_of(x) | Format<T>::quiet);
}

/// What an invalid operation on numbers yields (infinity minus infinity, 0/0...).
template <class T>
T indefinite()
{
    using F = Format<T>;
    return from_bits<T>(F::sign | F::exponent | F::quiet);
}

template <class T, class Operation>
T two_operands(T a, T b, Operation operation)
{
    if (is_nan(a))
        return quieted(a);
    if (is_nan(b))
        return quieted(b);
    const T r = operation(a, b);
    return is_nan(r) ? indefinite<T>() : r;
}

/// Of two NaNs the first operand's survives.
template <class T>
T add(T a, T b)
{
    return two_operands(a, b, [](T x, T y) { return x + y; });
}
template <class T>
T sub(T a, T b)
{
    return two_operands(a, b, [](T x, T y) { return x - y; });
}
template <class T>
T mul(T a, T b)
{
    return two_operands(a, b, [](T x, T y) { return x * y; });
}
template <class T>
T div(T a, T b)
{
    return two_operands(a, b, [](T x, T y) { return x / y; });
}

/// The second operand on equality or NaN, its bits untouched.
template <class T>
T minsel(T a, T b)
{
    return !is_nan(a) && !is_nan(b) && a < b ? a : b;
}
template <class T>
T maxsel(T a, T b)
{
    return !is_nan(a) && !is_nan(b) && a > b ? a : b;
}

/// Truncation toward zero to 32 bits; NaN and out of range give the most negative integer.
template <class T>
std::int32_t truncate(T x)
{
    if (is_nan(x) || !(x > T(-2147483649.0) || x >= T(-2147483648.0)) || x >= T(2147483648.0))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(x);
}

/// Rounding to nearest, ties to even, to 32 bits; NaN and out of range as above.
template <class T>
std::int32_t round_to_even(T x)
{
    if (is_nan(x) || !(x >= T(-2147483648.5)) || !(x < T(2147483647.5)))
        return std::numeric_limits<std::int32_t>::min();
    const double d = static_cast<double>(x); // exact
    const auto down = static_cast<std::int64_t>(d) -
                      (d < static_cast<double>(static_cast<std::int64_t>(d)) ? 1 : 0);
    const double rest = d - static_cast<double>(down); // exact, in [0, 1)
    const bool up = rest > 0.5 || (rest == 0.5 && (down & 1) != 0);
    const std::int64_t rounded = down + (up ? 1 : 0);
    return rounded < -2147483648LL || rounded > 2147483647LL
               ? std::numeric_limits<std::int32_t>::min()
               : static_cast<std::int32_t>(rounded);
}

} // namespace model
