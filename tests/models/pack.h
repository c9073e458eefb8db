// tests/models/pack.h: what the pack kernels do, element by element: which extremes they are told,
// which step and offset follow, and which samples go singly and which in blocks.
#pragma once

#include "rig/library.h"
#include "rig/model.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace pack {

using rig::Level;

// --- Minimum and maximum as the minmax kernels report them ---------------------------------------

template <class T>
void minmax_baseline(const T* p, std::size_t n, T* min, T* max)
{
    if (n == 0)
        return;
    *max = p[0];
    *min = p[0];
    for (std::size_t i = 1; i < n; ++i) {
        if (*min > p[i]) // false for NaN on either side
            *min = p[i];
        if (p[i] > *max)
            *max = p[i];
    }
}

/// lanes: 4 (SSE) or 8 (AVX) floats, 2 (SSE2) or 4 (AVX) doubles.
template <class T, class Select>
T join_lanes(const T* lane, std::size_t lanes, Select sel)
{
    if constexpr (std::is_same_v<T, double>)
        return lanes == 2 ? sel(lane[0], lane[1])
                          : sel(sel(lane[0], lane[1]), sel(lane[2], lane[3]));
    T four[4];
    for (std::size_t j = 0; j < 4; ++j)
        four[j] = lanes == 4 ? lane[j] : sel(lane[j + 4], lane[j]); // the upper half first
    return sel(sel(four[0], four[2]), sel(four[1], four[3]));
}

template <class T>
void minmax_vector(const T* p, std::size_t n, T* min, T* max, std::size_t width)
{
    const std::size_t lanes = width / sizeof(T);
    if (n <= (width == 16 ? 15U : 31U))
        return minmax_baseline(p, n, min, max);

    T hmin = p[0];
    T hmax = p[0];
    std::size_t i = 0;
    for (; reinterpret_cast<std::uintptr_t>(p + i) % width != 0; ++i) {
        hmin = model::minsel(p[i], hmin);
        hmax = model::maxsel(p[i], hmax);
    }
    T vmin[8];
    T vmax[8];
    for (std::size_t j = 0; j < lanes; ++j)
        vmin[j] = vmax[j] = p[i + j];
    for (i += lanes; i + lanes <= n; i += lanes)
        for (std::size_t j = 0; j < lanes; ++j) {
            vmin[j] = model::minsel(vmin[j], p[i + j]);
            vmax[j] = model::maxsel(vmax[j], p[i + j]);
        }
    T rmin = join_lanes(vmin, lanes, model::minsel<T>);
    T rmax = join_lanes(vmax, lanes, model::maxsel<T>);
    const bool parity_step = std::is_same_v<T, double> && width == 16;
    if (parity_step && n % 2 == 1) {
        rmin = model::minsel(rmin, p[n - 1]);
        rmax = model::maxsel(rmax, p[n - 1]);
    }
    *min = model::minsel(rmin, hmin);
    *max = model::maxsel(rmax, hmax);
    for (; i < n && !parity_step; ++i) {
        if (*min > p[i])
            *min = p[i];
        if (p[i] > *max)
            *max = p[i];
    }
}

/// As the minmax kernel of T does that a library loaded at `level` holds.
template <class T>
void minmax(Level level, const T* p, std::size_t n, T* min, T* max)
{
    const Level first_vector = std::is_same_v<T, float> ? Level::sse : Level::sse2;
    if (level < first_vector)
        minmax_baseline(p, n, min, max);
    else
        minmax_vector(p, n, min, max, level < Level::avx ? 16 : 32);
}

// --- The variants --------------------------------------------------------------------------------

enum class Narrow { clamp, wrap };
enum class Extremes { entry, own }; // minmax by its entry, or the variant of the level itself

struct Row {
    Level level;
    std::size_t width;   // src is aligned to this by the head; 0: every element singly
    std::size_t block;   // elements
    std::size_t walk_if; // dst a multiple of this after the head: more singles; 0: never
    std::size_t walk_to; // until dst is a multiple of this
    Extremes extremes;
    Narrow narrow = Narrow::clamp;
};

struct F32U8 {
    using Fn = pack_f32_u8_fn;
    using Sample = float;
    using Code = std::uint8_t;
    static constexpr const char* name = "pack_f32_u8";
    static constexpr Row rows[] = {{Level::base, 0, 1, 0, 0, Extremes::entry},
                                   {Level::sse2, 16, 16, 2, 16, Extremes::entry},
                                   {Level::avx, 32, 16, 0, 0, Extremes::own},
                                   {Level::avx2, 32, 32, 0, 0, Extremes::entry}};
};

struct F32S16 {
    using Fn = pack_f32_s16_fn;
    using Sample = float;
    using Code = std::int16_t;
    static constexpr const char* name = "pack_f32_s16";
    static constexpr Row rows[] = {{Level::base, 0, 1, 0, 0, Extremes::entry},
                                   {Level::sse2, 16, 8, 0, 0, Extremes::entry},
                                   {Level::avx, 32, 8, 0, 0, Extremes::own},
                                   {Level::avx2, 32, 16, 0, 0, Extremes::entry}};
};

struct F64U8 {
    using Fn = pack_f64_u8_fn;
    using Sample = double;
    using Code = std::uint8_t;
    static constexpr const char* name = "pack_f64_u8";
    static constexpr Row rows[] = {{Level::base, 0, 1, 0, 0, Extremes::entry},
                                   {Level::sse2, 16, 16, 2, 16, Extremes::own},
                                   {Level::avx, 32, 16, 4, 32, Extremes::own}};
};

struct F64S16 {
    using Fn = pack_f64_s16_fn;
    using Sample = double;
    using Code = std::int16_t;
    static constexpr const char* name = "pack_f64_s16";
    static constexpr Row rows[] = {{Level::base, 0, 1, 0, 0, Extremes::entry},
                                   {Level::sse2, 16, 8, 0, 0, Extremes::own},
                                   {Level::avx, 32, 8, 8, 32, Extremes::own}};
};

struct F64U16 {
    using Fn = pack_f64_u16_fn;
    using Sample = double;
    using Code = std::uint16_t;
    static constexpr const char* name = "pack_f64_u16";
    static constexpr Row rows[] = {{Level::base, 0, 1, 0, 0, Extremes::entry},
                                   {Level::sse2, 16, 8, 4, 16, Extremes::own, Narrow::wrap},
                                   {Level::ssse3, 16, 8, 2, 16, Extremes::entry, Narrow::wrap},
                                   {Level::sse41, 16, 8, 2, 16, Extremes::entry, Narrow::clamp},
                                   {Level::avx, 32, 8, 8, 32, Extremes::own, Narrow::clamp}};
};

template <class K>
constexpr Row row_at(Level level)
{
    for (const Row& row : K::rows)
        if (row.level == level)
            return row;
    throw "no such variant";
}

// --- One call ------------------------------------------------------------------------------------

/// Where the elements go: [0, singles) singly, [singles, tail) in blocks, [tail, n) singly. If
/// `faults`, the call ends at the first block, with the codes before it stored.
struct Plan {
    std::size_t singles, tail;
    bool faults;
};

inline Plan plan(const Row& row, std::uintptr_t src, std::size_t sample_bytes, std::uintptr_t dst,
                 std::size_t code_bytes, std::size_t n)
{
    if (row.width == 0)
        return {n, n, false};
    std::size_t i = 0;
    while (i < n && (src + i * sample_bytes) % row.width != 0)
        ++i;
    if (row.walk_if != 0 && (dst + i * code_bytes) % row.walk_if == 0)
        while (i < n && (dst + i * code_bytes) % row.walk_to != 0)
            ++i;
    const std::size_t blocks = (n - i) / row.block;
    return {i, i + blocks * row.block, blocks != 0 && (src + i * sample_bytes) % row.width != 0};
}

/// What a call computes from the extremes it is told.
template <class K>
struct Quantiser {
    using T = typename K::Sample;
    using U = typename K::Code;
    static constexpr bool about_centre = std::is_signed_v<U>;

    T step, scale, offset;
    Narrow narrow;

    Quantiser(const Row& row, T min, T max) : narrow(row.narrow)
    {
        const T range = sizeof(U) == 1 ? T(255) : T(65535);
        if (row.width == 0) {
            step = model::div(model::sub(max, min), range);
            scale = model::div(T(1), step);
        } else {
            scale = model::div(range, model::sub(max, min));
            step = model::div(T(1), scale);
        }
        offset = about_centre ? model::mul(model::add(model::add(min, max), step), T(0.5)) : min;
    }

    T scaled(T x) const { return model::mul(model::sub(x, offset), scale); }
    U single(T x) const { return static_cast<U>(model::truncate(scaled(x))); }
    U block(T x) const
    {
        const std::int32_t v = model::rounded(scaled(x));
        if (narrow == Narrow::wrap)
            return static_cast<U>(v);
        constexpr std::int32_t low = std::numeric_limits<U>::min();
        constexpr std::int32_t high = std::numeric_limits<U>::max();
        return static_cast<U>(v < low ? low : v > high ? high : v);
    }
};

} // namespace pack
