// tests/stats_patterns.h: blocks of samples for the kernels that reduce or compare arrays, chosen
// so that every operand of every step shows in the result.
#pragma once

#include "rig/buffer.h"
#include "rig/data.h"
#include "rig/library.h"
#include "rig/model.h"

#include <type_traits>
#include <vector>

namespace patterns {

enum class Pattern {
    ordinary, // these five are the rig's kinds
    special,
    mixed,
    constant,
    ties,
    nans,      // every element a NaN of its own
    some_nans, // one in three
    numbers,   // NaNs, with a number now and then
    zeros,     // +0 and -0
    void_only, // both zeros and NaNs
    wide,      // magnitudes over 80 powers of two: a sum depends on its order
};
inline constexpr Pattern for_floats[] = {Pattern::ordinary,  Pattern::special, Pattern::mixed,
                                         Pattern::constant,  Pattern::ties,    Pattern::nans,
                                         Pattern::some_nans, Pattern::numbers, Pattern::zeros,
                                         Pattern::void_only, Pattern::wide};
inline constexpr Pattern for_integers[] = {Pattern::ordinary, Pattern::special, Pattern::constant,
                                           Pattern::ties};

inline const char* name(Pattern pattern)
{
    static const char* const names[] = {"ordinary", "special",   "mixed",     "constant",
                                        "ties",     "nans",      "some_nans", "numbers",
                                        "zeros",    "void_only", "wide"};
    return names[static_cast<int>(pattern)];
}

/// A NaN that no other call returns: quiet or signalling, either sign, its own payload.
template <class T>
T own_nan(rig::Random& random)
{
    using F = model::Format<T>;
    using Bits = typename F::Bits;
    const std::uint64_t r = random.bits();
    const Bits payload = (static_cast<Bits>(r >> 2) & (F::quiet - 1)) | 1;
    return model::from_bits<T>(((r & 1) != 0 ? F::sign : Bits{0}) | F::exponent |
                               ((r & 2) != 0 ? F::quiet : Bits{0}) | payload);
}

template <class T>
T zero(rig::Random& random)
{
    return random.below(2) != 0 ? T(-0.0) : T(0.0);
}

template <class T>
T make(rig::Random& random, Pattern pattern)
{
    if constexpr (std::is_floating_point_v<T>) {
        const auto number = [&] { return rig::make<T>(random, rig::Kind::ordinary); };
        switch (pattern) {
        case Pattern::nans:
            return own_nan<T>(random);
        case Pattern::some_nans:
            return random.below(3) == 0 ? own_nan<T>(random) : number();
        case Pattern::numbers:
            return random.below(5) != 0 ? own_nan<T>(random) : number();
        case Pattern::zeros:
            return zero<T>(random);
        case Pattern::void_only:
            return random.below(3) == 0 ? own_nan<T>(random) : zero<T>(random);
        case Pattern::wide: {
            T x = number() + T(0.25);
            for (std::uint64_t k = random.below(41); k != 0; --k)
                x *= T(2);
            for (std::uint64_t k = random.below(41); k != 0; --k)
                x *= T(0.5);
            return x;
        }
        default:
            break;
        }
    }
    return rig::make<T>(random, static_cast<rig::Kind>(static_cast<int>(pattern)));
}

/// Fills an array wherever it lies and returns what it holds.
template <class T>
std::vector<T> fill(rig::Buffer<T>& buffer, rig::Random& random, Pattern pattern)
{
    std::vector<T> copy(buffer.size());
    for (std::size_t i = 0; i < copy.size(); ++i)
        buffer.set(i, copy[i] = make<T>(random, pattern));
    return copy;
}

template <class T>
std::vector<T> put(rig::Buffer<T>& buffer, const std::vector<T>& values)
{
    for (std::size_t i = 0; i < values.size(); ++i)
        buffer.set(i, values[i]);
    return values;
}

/// Canaries whole and the array as filled.
template <class T>
testing::AssertionResult untouched(const rig::Buffer<T>& buffer, const std::vector<T>& before)
{
    if (const auto whole = buffer.intact(); !whole)
        return whole;
    return rig::same_bits(before.data(), static_cast<const T*>(buffer.data()), before.size());
}

template <class T>
constexpr const auto& list()
{
    if constexpr (std::is_floating_point_v<T>)
        return for_floats;
    else
        return for_integers;
}

/// Elements before the first address that is a multiple of `width`, for an array at `offset`.
template <class T>
std::size_t before_boundary(std::size_t offset, std::size_t width)
{
    std::size_t i = 0;
    while ((offset + i * sizeof(T)) % width != 0)
        ++i;
    return i;
}

} // namespace patterns
