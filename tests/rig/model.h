// tests/rig/model.h: what the models are written in. Plain scalar arithmetic whose NaN rule is
// stated on the bits, so that no compiler's choice of operand order can make a model agree with a
// kernel. It follows the control word (MXCSR) that it runs under, as kernels do.
#pragma once

#include "rig/buffer.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <xmmintrin.h>

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

/// The control word's roundings, as it numbers them.
enum class Rounding { nearest, down, up, zero };
inline Rounding rounding() { return static_cast<Rounding>(_mm_getcsr() >> 13 & 3); }

/// As every instruction of arithmetic reads x: a subnormal is a zero where the control word says so
/// (DAZ). Minimum and maximum are such instructions.
template <class T>
T operand(T x)
{
    using F = Format<T>;
    const bool subnormal = (rig::bits_of(x) & F::exponent) == 0;
    return subnormal && (_mm_getcsr() & 0x40) != 0 ? from_bits<T>(rig::bits_of(x) & F::sign) : x;
}

/// The second operand on equality or NaN.
template <class T>
T minsel(T a, T b)
{
    return !is_nan(a) && !is_nan(b) && a < b ? operand(a) : operand(b);
}
template <class T>
T maxsel(T a, T b)
{
    return !is_nan(a) && !is_nan(b) && a > b ? operand(a) : operand(b);
}

/// magnitude / 2^shift as an integer; shift is less than 64.
inline std::uint64_t shifted(std::uint64_t magnitude, unsigned shift, bool negative, Rounding how)
{
    if (shift == 0)
        return magnitude;
    const std::uint64_t whole = magnitude >> shift;
    const std::uint64_t rest = magnitude - (whole << shift);
    const std::uint64_t half = std::uint64_t{1} << (shift - 1);
    switch (how) {
    case Rounding::nearest:
        return whole + (rest > half || (rest == half && whole % 2 == 1) ? 1 : 0);
    case Rounding::down:
        return whole + (negative && rest != 0 ? 1 : 0);
    case Rounding::up:
        return whole + (!negative && rest != 0 ? 1 : 0);
    default:
        return whole;
    }
}

/// x as a 32-bit integer; NaN and what lies outside give the most negative one.
template <class T>
std::int32_t to_integer(T x, Rounding how)
{
    using F = Format<T>;
    constexpr int digits = std::numeric_limits<T>::digits - 1; // after the point
    constexpr int bias = std::numeric_limits<T>::max_exponent - 1;
    x = operand(x);
    const std::uint64_t bits = rig::bits_of(x);
    const bool negative = (bits & F::sign) != 0;
    const int exponent = std::max(static_cast<int>((bits & F::exponent) >> digits), 1) - bias;
    if (exponent > 31)
        return std::numeric_limits<std::int32_t>::min();
    const bool normal = (bits & F::exponent) != 0;
    const std::uint64_t magnitude = (bits & F::mantissa) | (normal ? F::mantissa + 1 : 0);
    const int shift = digits - exponent;
    const auto whole = static_cast<std::int64_t>(
        shift < 0 ? magnitude << -shift
                  : shifted(magnitude, static_cast<unsigned>(std::min(shift, 63)), negative, how));
    const std::int64_t result = negative ? -whole : whole;
    return result == static_cast<std::int32_t>(result) ? static_cast<std::int32_t>(result)
                                                       : std::numeric_limits<std::int32_t>::min();
}

/// As the instructions that always cut toward zero.
template <class T>
std::int32_t truncate(T x)
{
    return to_integer(x, Rounding::zero);
}

/// As the instructions that follow the control word: to nearest, ties to even, unless a host says
/// otherwise.
template <class T>
std::int32_t rounded(T x)
{
    return to_integer(x, rounding());
}

/// A count as a T, rounded once.
template <class T>
T as_element(std::uint64_t n)
{
    constexpr int digits = std::numeric_limits<T>::digits;
    const int excess = std::max(static_cast<int>(std::bit_width(n)) - digits, 0);
    const std::uint64_t kept = shifted(n, static_cast<unsigned>(excess), false, rounding());
    const auto exact = [](std::uint64_t x) { return static_cast<T>(static_cast<std::int64_t>(x)); };
    return exact(kept) * exact(std::uint64_t{1} << excess);
}

} // namespace model
