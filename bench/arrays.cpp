#include "bench/arrays.h"

#include <cmath>

namespace bench {
namespace {

std::vector<Use> all_uses()
{
    using enum Kind;
    std::vector<Use> uses;
    for (std::size_t i = 0; i < 4; ++i)
        uses.push_back({f64, i, 2, Direction::both});
    for (std::size_t i = 0; i < 4; ++i)
        uses.push_back({f32, i, 2, Direction::both});
    uses.push_back({u8, 0, 1, Direction::both});
    uses.push_back({s16, 0, 2, Direction::both});
    uses.push_back({other_s16, 0, 1, Direction::both});
    uses.push_back({u32, 0, 1, Direction::both});
    uses.push_back({other_u32, 0, 1, Direction::both});
    return uses;
}

/// Pages of its own, and a cache line further into them than the array before.
std::size_t span(const Use& use, std::size_t count)
{
    return (Arrays::bytes(use, count) + 4095) / 4096 * 4096 + 4096 + 192;
}

template <class T>
T value(std::uint32_t state)
{
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<T>(0.01F + static_cast<float>(state >> 8) / 16777216.0F);
    else if constexpr (sizeof(T) == 1)
        return static_cast<T>(state >> 24);
    else
        return static_cast<T>(state >> (32 - 8 * sizeof(T)));
}

template <class T>
void fill(char* at, std::size_t count, std::uint32_t seed, unsigned down = 0)
{
    auto* to = reinterpret_cast<T*>(at);
    std::uint32_t state = seed;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525 + 1013904223;
        to[i] = value<T>(state << down);
    }
    if (seed != 1 && std::is_floating_point_v<T>) { // extremes where no variant leaves anything out
        const std::size_t n = count - Arrays::room;
        to[n / 8 * 5] = static_cast<T>(0.005F);
        to[n / 8 * 3] = static_cast<T>(1.05F);
    }
}

} // namespace

Arrays::Arrays(std::size_t count) : n(count), capacity(count), distinct(false), uses(all_uses())
{
    place();
}

Arrays::Arrays(std::size_t count, const std::vector<Use>& used)
    : n(count), capacity(count), distinct(true), uses(used)
{
    place();
}

void Arrays::place()
{
    std::size_t total = 0;
    for (const Use& use : uses)
        total += span(use, capacity);
    memory.reset(new (std::align_val_t{4096}) char[total]);
    char* at = memory.get();
    for (const Use& use : uses) {
        switch (use.kind) {
        case Kind::f64:
            f64[use.index] = reinterpret_cast<double*>(at);
            break;
        case Kind::f32:
            f32[use.index] = reinterpret_cast<float*>(at);
            break;
        case Kind::u8:
            u8 = reinterpret_cast<std::uint8_t*>(at);
            break;
        case Kind::s16:
            s16 = reinterpret_cast<std::int16_t*>(at);
            break;
        case Kind::other_s16:
            other_s16 = reinterpret_cast<std::int16_t*>(at);
            break;
        case Kind::u32:
            u32 = reinterpret_cast<std::uint32_t*>(at);
            break;
        case Kind::other_u32:
            other_u32 = reinterpret_cast<std::uint32_t*>(at);
            break;
        }
        at += span(use, capacity);
    }
    refill();
    set_taps();
}

char* Arrays::start(const Use& use) const
{
    switch (use.kind) {
    case Kind::f64:
        return reinterpret_cast<char*>(f64[use.index]);
    case Kind::f32:
        return reinterpret_cast<char*>(f32[use.index]);
    case Kind::u8:
        return reinterpret_cast<char*>(u8);
    case Kind::s16:
        return reinterpret_cast<char*>(s16);
    case Kind::other_s16:
        return reinterpret_cast<char*>(other_s16);
    case Kind::u32:
        return reinterpret_cast<char*>(u32);
    case Kind::other_u32:
        break;
    }
    return reinterpret_cast<char*>(other_u32);
}

void Arrays::refill(std::size_t count)
{
    std::uint32_t seed = 1;
    for (const Use& use : uses) {
        if (distinct)
            seed += 2;
        const std::size_t elements = use.per * count + room;
        switch (use.kind) {
        case Kind::f64:
            fill<double>(start(use), elements, seed);
            break;
        case Kind::f32:
            fill<float>(start(use), elements, seed);
            break;
        case Kind::u8:
            fill<std::uint8_t>(start(use), elements, seed);
            break;
        case Kind::s16:
            fill<std::int16_t>(start(use), elements, seed);
            break;
        case Kind::other_s16:
            fill<std::int16_t>(start(use), elements, seed, 8);
            break;
        case Kind::u32:
        case Kind::other_u32:
            fill<std::uint32_t>(start(use), elements, seed);
            break;
        }
    }
    out = {};
}

void Arrays::set_taps()
{
    for (int row = 0; row < 2; ++row)
        for (int i = 0; i < taps + 9; ++i) {
            const int at = i - row - taps / 2;
            const double tap = 0.07 * std::exp(-at * at / 64.0);
            taps64[row][i] = tap;
            taps32[row][i] = static_cast<float>(tap);
        }
}

} // namespace bench
