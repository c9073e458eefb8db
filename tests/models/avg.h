// tests/models/avg.h: means, floor estimates, mean absolute values.
#pragma once

#include "rig/model.h"

#include <cstddef>
#include <cstdint>

namespace avg {

// `at` is the address of x[0] modulo 64.

using model::as_element;

template <class T>
T avg_base(const T* x, std::size_t n, std::size_t)
{
    T sum = 0;
    for (std::size_t i = 0; i < n; ++i)
        sum = model::add(sum, x[i]);
    return model::div(sum, as_element<T>(n));
}

// Sum and count of single elements.
template <class T>
struct Running {
    T sum = 0;
    T count = 0;

    void take(T x)
    {
        sum = model::add(sum, x);
        count += T(1);
    }
};

template <class T, std::size_t Lanes>
struct Blocks {
    T lane[Lanes] = {};
    std::uint64_t count = 0;
    std::size_t begin, end; // the block region

    Blocks(std::size_t n, std::size_t at, std::size_t step) : begin(0)
    {
        while (begin < n && (at + begin * sizeof(T)) % (Lanes * sizeof(T)) != 0)
            ++begin;
        end = begin + (n - begin) / step * step;
    }
    void take(std::size_t i, T x)
    {
        T& sum = lane[(i - begin) % Lanes];
        sum = model::add(sum, x);
    }
};

inline float fold(const Blocks<float, 4>& blocks, float head)
{
    const float* const l = blocks.lane;
    return model::add(model::add(model::add(l[1], l[3]), model::add(l[0], l[2])), head);
}

inline float fold(const Blocks<float, 8>& blocks, float head)
{
    float m[4];
    for (std::size_t j = 0; j < 4; ++j)
        m[j] = model::add(blocks.lane[j], blocks.lane[j + 4]);
    return model::add(model::add(model::add(m[1], m[3]), model::add(m[0], m[2])), head);
}

inline double fold(const Blocks<double, 2>& blocks, double head)
{
    return model::add(head, model::add(blocks.lane[0], blocks.lane[1]));
}

inline double fold(const Blocks<double, 4>& blocks, double head)
{
    const double* const l = blocks.lane;
    return model::add(model::add(model::add(l[0], l[2]), model::add(l[1], l[3])), head);
}

template <class T, std::size_t Lanes, std::size_t Step>
T avg_lanes(const T* x, std::size_t n, std::size_t at)
{
    Blocks<T, Lanes> blocks(n, at, Step);
    T head = 0;
    for (std::size_t i = 0; i < blocks.begin; ++i)
        head = model::add(head, x[i]);
    for (std::size_t i = blocks.begin; i < blocks.end; ++i)
        blocks.take(i, x[i]);
    T sum = fold(blocks, head);
    for (std::size_t i = blocks.end; i < n; ++i)
        sum = model::add(sum, x[i]);
    return model::div(sum, as_element<T>(n));
}

template <class T>
bool qualifies(T x, T level)
{
    return !model::is_nan(x) && !model::is_nan(level) && x <= level;
}

template <class T>
T quotient(const Running<T>& r)
{
    return r.count == T(0) ? T(0) : model::div(r.sum, r.count);
}

template <class T>
T avg_lvl_base(const T* x, std::size_t n, std::size_t, T level)
{
    Running<T> r;
    for (std::size_t i = 0; i < n; ++i)
        if (qualifies(x[i], level))
            r.take(x[i]);
    return quotient(r);
}

template <class T, std::size_t Lanes, std::size_t Step>
T avg_lvl_lanes(const T* x, std::size_t n, std::size_t at, T level)
{
    Blocks<T, Lanes> blocks(n, at, Step);
    Running<T> r;
    for (std::size_t i = 0; i < blocks.begin; ++i)
        if (qualifies(x[i], level))
            r.take(x[i]);
    for (std::size_t i = blocks.begin; i < blocks.end; ++i) {
        const bool in = qualifies(x[i], level);
        blocks.take(i, in ? x[i] : T(0));
        blocks.count += in ? 1 : 0;
    }
    r.sum = fold(blocks, r.sum);
    r.count += as_element<T>(blocks.count);
    for (std::size_t i = blocks.end; i < n; ++i)
        if (qualifies(x[i], level))
            r.take(x[i]);
    return quotient(r);
}

inline std::uint32_t magnitude(std::int16_t x)
{
    return static_cast<std::uint32_t>(x < 0 ? -std::int32_t{x} : std::int32_t{x});
}

inline std::uint64_t avg_abs_base(const std::int16_t* x, std::size_t n, std::size_t)
{
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < n; ++i)
        total += magnitude(x[i]);
    return n == 0 ? 0 : total / n;
}

template <std::size_t Lanes>
std::uint64_t avg_abs_lanes(const std::int16_t* x, std::size_t n, std::size_t at)
{
    if (n < 2 * Lanes)
        return avg_abs_base(x, n, at);
    std::uint64_t total = 0;
    std::uint32_t lane[Lanes] = {};
    std::size_t i = 0;
    for (; (at + 2 * i) % (2 * Lanes) != 0; ++i)
        total += magnitude(x[i]);
    for (; n - i >= Lanes; i += Lanes)
        for (std::size_t j = 0; j < Lanes; ++j)
            lane[j] += magnitude(x[i + j]); // wraps
    if (Lanes == 16)
        for (std::size_t j = 0; j < 8; ++j)
            lane[j] += lane[j + 8]; // wraps
    for (std::size_t j = 0; j < 8; ++j)
        total += lane[j];
    for (; i < n; ++i)
        total += magnitude(x[i]);
    return total / n;
}

} // namespace avg
