// tests/models/minmax.h: the extremes.
#pragma once

#include "rig/library.h"
#include "stats_patterns.h"

#include <algorithm>
#include <type_traits>

namespace minmax {

// `at` is the address of p[0] modulo 64.

struct Min {
    template <class T>
    static T sel(T a, T b)
    {
        if constexpr (std::is_floating_point_v<T>)
            return model::minsel(a, b);
        else
            return a < b ? a : b;
    }
};
struct Max {
    template <class T>
    static T sel(T a, T b)
    {
        if constexpr (std::is_floating_point_v<T>)
            return model::maxsel(a, b);
        else
            return a > b ? a : b;
    }
};

// Up to 4 elements the running value comes first, from 5 on the element.
template <class Sel, class T>
T single_base(const T* p, std::size_t n, std::size_t)
{
    T m = p[0];
    if (n >= 2 && n <= 4) {
        for (std::size_t i = 1; i < n; ++i)
            m = Sel::sel(m, p[i]);
    } else {
        for (std::size_t i = 1; i < n; ++i)
            m = Sel::sel(p[i], m);
    }
    return m;
}

// The extreme of the head from p[1] on, element first.
template <class Sel, class T>
T head_of(const T* p, std::size_t first)
{
    T h = p[0];
    for (std::size_t i = 1; i < first; ++i)
        h = Sel::sel(p[i], h);
    return h;
}

// Lane accumulators over whole blocks, accumulator first; `next` is left at the first element
// after.
template <class Sel, class T, std::size_t Lanes>
struct Accumulated {
    T v[Lanes];
    std::size_t next;

    Accumulated(const T* p, std::size_t n, std::size_t first) : next(first)
    {
        for (std::size_t j = 0; j < Lanes; ++j)
            v[j] = p[next + j];
        for (next += Lanes; n - next >= Lanes; next += Lanes)
            for (std::size_t j = 0; j < Lanes; ++j)
                v[j] = Sel::sel(v[j], p[next + j]);
    }
};

template <class Sel>
float halves4(const float* v)
{
    const float low = Sel::sel(v[0], v[2]);
    const float high = Sel::sel(v[1], v[3]);
    return Sel::sel(low, high);
}

// At AVX the upper half stands first in the first halving.
template <class Sel>
float halves8(const float* v)
{
    float half[4];
    for (std::size_t j = 0; j < 4; ++j)
        half[j] = Sel::sel(v[j + 4], v[j]);
    return halves4<Sel>(half);
}

template <class Sel>
double pairs4(const double* v)
{
    return Sel::sel(Sel::sel(v[0], v[1]), Sel::sel(v[2], v[3]));
}

template <class Sel, class T>
T tail_of(T r, const T* p, std::size_t n, std::size_t next)
{
    for (; next < n; ++next)
        r = Sel::sel(p[next], r);
    return r;
}

template <class Sel, class T>
T exact(const T* p, std::size_t n, std::size_t)
{
    T m = p[0];
    for (std::size_t i = 1; i < n; ++i)
        m = Sel::sel(m, p[i]);
    return m;
}

template <class Sel>
float f32_sse(const float* p, std::size_t n, std::size_t at)
{
    if (n <= 15)
        return single_base<Sel>(p, n, at);
    const std::size_t first = patterns::before_boundary<float>(at, 16);
    const float h = head_of<Sel>(p, first);
    const Accumulated<Sel, float, 4> blocks(p, n, first);
    return Sel::sel(h, tail_of<Sel>(halves4<Sel>(blocks.v), p, n, blocks.next));
}

template <class Sel>
float f32_avx(const float* p, std::size_t n, std::size_t at)
{
    if (n <= 31)
        return single_base<Sel>(p, n, at);
    const std::size_t first = patterns::before_boundary<float>(at, 32);
    const float h = head_of<Sel>(p, first);
    const Accumulated<Sel, float, 8> blocks(p, n, first);
    return Sel::sel(tail_of<Sel>(halves8<Sel>(blocks.v), p, n, blocks.next), h);
}

template <class Sel>
double f64_sse2(const double* p, std::size_t n, std::size_t at)
{
    if (n <= 7)
        return single_base<Sel>(p, n, at);
    const std::size_t first = patterns::before_boundary<double>(at, 16);
    const double h = head_of<Sel>(p, first);
    const Accumulated<Sel, double, 2> blocks(p, n, first);
    double r = Sel::sel(blocks.v[1], blocks.v[0]);
    if (n % 2 == 1)
        r = Sel::sel(r, p[n - 1]);
    return Sel::sel(r, h);
}

inline double min_f64_avx(const double* p, std::size_t n, std::size_t at)
{
    if (n <= 15)
        return single_base<Min>(p, n, at);
    const std::size_t first = patterns::before_boundary<double>(at, 32);
    const double h = head_of<Min>(p, first);
    const Accumulated<Min, double, 4> blocks(p, n, first);
    return model::minsel(tail_of<Min>(pairs4<Min>(blocks.v), p, n, blocks.next), h);
}

inline double max_f64_avx(const double* p, std::size_t n, std::size_t at)
{
    if (n <= 15)
        return single_base<Max>(p, n, at);
    const Accumulated<Max, double, 4> blocks(p, n, patterns::before_boundary<double>(at, 32));
    return tail_of<Max>(pairs4<Max>(blocks.v), p, n, blocks.next);
}

// What one element does to the outputs; min and max may be the same cell.
template <class T>
void fold_in(T x, T& min, T& max)
{
    if constexpr (std::is_floating_point_v<T>) {
        if (!model::is_nan(min) && !model::is_nan(x) && min > x)
            min = x;
        if (!model::is_nan(max) && !model::is_nan(x) && x > max)
            max = x;
    } else {
        if (min > x)
            min = x;
        if (x > max)
            max = x;
    }
}

template <class T>
void pair_base(const T* p, std::size_t n, std::size_t, T& min, T& max)
{
    max = p[0];
    min = p[0];
    for (std::size_t i = 1; i < n; ++i)
        fold_in(p[i], min, max);
}

inline void minmax_f32_sse(const float* p, std::size_t n, std::size_t at, float& min, float& max)
{
    if (n <= 15)
        return pair_base(p, n, at, min, max);
    const std::size_t first = patterns::before_boundary<float>(at, 16);
    const Accumulated<Min, float, 4> low(p, n, first);
    const Accumulated<Max, float, 4> high(p, n, first);
    min = model::minsel(halves4<Min>(low.v), head_of<Min>(p, first));
    max = model::maxsel(halves4<Max>(high.v), head_of<Max>(p, first));
    for (std::size_t i = low.next; i < n; ++i)
        fold_in(p[i], min, max);
}

inline void minmax_f32_avx(const float* p, std::size_t n, std::size_t at, float& min, float& max)
{
    if (n <= 31)
        return pair_base(p, n, at, min, max);
    const std::size_t first = patterns::before_boundary<float>(at, 32);
    const Accumulated<Min, float, 8> low(p, n, first);
    const Accumulated<Max, float, 8> high(p, n, first);
    min = model::minsel(halves8<Min>(low.v), head_of<Min>(p, first));
    max = model::maxsel(halves8<Max>(high.v), head_of<Max>(p, first));
    for (std::size_t i = low.next; i < n; ++i)
        fold_in(p[i], min, max);
}

inline void minmax_f64_sse2(const double* p, std::size_t n, std::size_t at, double& min,
                            double& max)
{
    if (n <= 15)
        return pair_base(p, n, at, min, max);
    const std::size_t first = patterns::before_boundary<double>(at, 16);
    const Accumulated<Min, double, 2> low(p, n, first);
    const Accumulated<Max, double, 2> high(p, n, first);
    double rmin = model::minsel(low.v[0], low.v[1]);
    double rmax = model::maxsel(high.v[0], high.v[1]);
    if (n % 2 == 1) {
        rmin = model::minsel(rmin, p[n - 1]);
        rmax = model::maxsel(rmax, p[n - 1]);
    }
    min = model::minsel(rmin, head_of<Min>(p, first));
    max = model::maxsel(rmax, head_of<Max>(p, first));
}

inline void minmax_f64_avx(const double* p, std::size_t n, std::size_t at, double& min, double& max)
{
    if (n <= 31)
        return pair_base(p, n, at, min, max);
    const std::size_t first = patterns::before_boundary<double>(at, 32);
    const Accumulated<Min, double, 4> low(p, n, first);
    const Accumulated<Max, double, 4> high(p, n, first);
    min = model::minsel(pairs4<Min>(low.v), head_of<Min>(p, first));
    max = model::maxsel(pairs4<Max>(high.v), head_of<Max>(p, first));
    for (std::size_t i = low.next; i < n; ++i)
        fold_in(p[i], min, max);
}

// The extremes of all but the tail are stored, the minimum first; the tail then works on what is
// stored. Only outputs that are one cell can tell.
template <std::size_t Threshold, std::size_t Lanes>
void minmax_s16_blocks(const std::int16_t* p, std::size_t n, std::size_t at, std::int16_t& min,
                       std::int16_t& max)
{
    if (n <= Threshold)
        return pair_base(p, n, at, min, max);
    const std::size_t first = patterns::before_boundary<std::int16_t>(at, Lanes * 2);
    const std::size_t next = first + (n - first) / Lanes * Lanes;
    const auto [low, high] = std::minmax_element(p, p + next);
    min = *low;
    max = *high;
    for (std::size_t i = next; i < n; ++i)
        fold_in(p[i], min, max);
}

} // namespace minmax
