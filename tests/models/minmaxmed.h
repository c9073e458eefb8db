// tests/models/minmaxmed.h: minimum, maximum and mean in one pass.
#pragma once

#include "stats_patterns.h"

#include <cstddef>
#include <cstdint>

namespace minmaxmed {

// `at` is the address of p[0] modulo 64. Any of min, max and mean may be the same cell.

using model::as_element;

template <class T>
void fold_in(T x, T& min, T& max, T& mean)
{
    if (!model::is_nan(min) && !model::is_nan(x) && min > x)
        min = x;
    if (!model::is_nan(max) && !model::is_nan(x) && x > max)
        max = x;
    mean = model::add(x, mean);
}

template <class T>
void base(const T* p, std::size_t n, std::size_t, T& min, T& max, T& mean)
{
    mean = p[0];
    max = p[0];
    min = p[0];
    for (std::size_t i = 1; i < n; ++i)
        fold_in(p[i], min, max, mean);
    mean = model::div(mean, as_element<T>(n));
}

template <class T, std::size_t Lanes>
struct Scan {
    T hmin, hmax, hsum = 0;
    T vmin[Lanes], vmax[Lanes], vsum[Lanes];
    std::size_t next; // the first element after the last whole block

    Scan(const T* p, std::size_t n, std::size_t at) : hmin(p[0]), hmax(p[0])
    {
        const std::size_t first = patterns::before_boundary<T>(at, Lanes * sizeof(T));
        for (std::size_t i = 0; i < first; ++i) {
            hmax = model::maxsel(p[i], hmax);
            hsum = model::add(hsum, p[i]);
            if (i != 0)
                hmin = model::minsel(p[i], hmin);
        }
        for (std::size_t j = 0; j < Lanes; ++j)
            vmin[j] = vmax[j] = vsum[j] = p[first + j];
        for (next = first + Lanes; n - next >= Lanes; next += Lanes)
            for (std::size_t j = 0; j < Lanes; ++j) {
                const T x = p[next + j];
                vmin[j] = model::minsel(vmin[j], x);
                vmax[j] = model::maxsel(vmax[j], x);
                vsum[j] = model::add(vsum[j], x);
            }
    }
};

using Select = float (*)(float, float);
using Select64 = double (*)(double, double);

template <Select Sel>
float halves4(const float* v)
{
    const float low = Sel(v[0], v[2]);
    const float high = Sel(v[1], v[3]);
    return Sel(low, high);
}

template <Select Sel>
float halves8(const float* v)
{
    float half[4];
    for (std::size_t j = 0; j < 4; ++j)
        half[j] = Sel(v[j + 4], v[j]);
    return halves4<Sel>(half);
}

template <Select64 Sel>
double pairs4(const double* v)
{
    return Sel(Sel(v[0], v[1]), Sel(v[2], v[3]));
}

// The rest after the outputs hold minimum, maximum and sum of all that went before.
template <class T>
void finish(const T* p, std::size_t n, std::size_t next, T& min, T& max, T& mean)
{
    for (std::size_t i = next; i < n; ++i)
        fold_in(p[i], min, max, mean);
    mean = model::div(mean, as_element<T>(n));
}

inline void f32_sse(const float* p, std::size_t n, std::size_t at, float& min, float& max,
                    float& mean)
{
    if (n <= 15)
        return base(p, n, at, min, max, mean);
    const Scan<float, 4> s(p, n, at);
    const float* const v = s.vsum;
    min = model::minsel(halves4<model::minsel<float>>(s.vmin), s.hmin);
    max = model::maxsel(halves4<model::maxsel<float>>(s.vmax), s.hmax);
    mean = model::add(model::add(model::add(v[1], v[3]), model::add(v[0], v[2])), s.hsum);
    finish(p, n, s.next, min, max, mean);
}

inline void f32_avx(const float* p, std::size_t n, std::size_t at, float& min, float& max,
                    float& mean)
{
    if (n <= 31)
        return base(p, n, at, min, max, mean);
    const Scan<float, 8> s(p, n, at);
    float a[4];
    for (std::size_t j = 0; j < 4; ++j)
        a[j] = model::add(s.vsum[j + 4], s.vsum[j]);
    min = model::minsel(halves8<model::minsel<float>>(s.vmin), s.hmin);
    max = model::maxsel(halves8<model::maxsel<float>>(s.vmax), s.hmax);
    mean = model::add(model::add(model::add(a[1], a[3]), model::add(a[0], a[2])), s.hsum);
    finish(p, n, s.next, min, max, mean);
}

inline void f64_sse2(const double* p, std::size_t n, std::size_t at, double& min, double& max,
                     double& mean)
{
    if (n <= 15)
        return base(p, n, at, min, max, mean);
    const Scan<double, 2> s(p, n, at);
    double rmin = model::minsel(s.vmin[0], s.vmin[1]);
    double rmax = model::maxsel(s.vmax[0], s.vmax[1]);
    double sum = model::add(model::add(s.vsum[0], s.hsum), s.vsum[1]);
    if (n % 2 == 1) {
        rmin = model::minsel(rmin, p[n - 1]);
        rmax = model::maxsel(rmax, p[n - 1]);
        sum = model::add(sum, p[n - 1]);
    }
    min = model::minsel(rmin, s.hmin);
    max = model::maxsel(rmax, s.hmax);
    mean = sum;
    finish(p, n, n, min, max, mean);
}

inline void f64_avx(const double* p, std::size_t n, std::size_t at, double& min, double& max,
                    double& mean)
{
    if (n <= 15)
        return base(p, n, at, min, max, mean);
    const Scan<double, 4> s(p, n, at);
    const double* const v = s.vsum;
    min = model::minsel(pairs4<model::minsel<double>>(s.vmin), s.hmin);
    max = model::maxsel(pairs4<model::maxsel<double>>(s.vmax), s.hmax);
    mean = model::add(model::add(model::add(v[0], v[2]), model::add(v[1], v[3])), s.hsum);
    finish(p, n, s.next, min, max, mean);
}

} // namespace minmaxmed
