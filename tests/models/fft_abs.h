// tests/models/fft_abs.h: power, block by block, and how far a count reaches.
#pragma once

#include "rig/library.h"
#include "rig/model.h"

#include <algorithm>
#include <cstddef>

namespace fft_abs {

using rig::Level;

template <class T>
T square(T x)
{
    return model::mul(x, x);
}

template <class T>
T power(const T* bin)
{
    return model::add(square(bin[0]), square(bin[1]));
}

/// What a variant makes of one block.
struct Shape {
    Level level;
    std::size_t bytes; // vector width; 0 at the baseline
    std::size_t lanes; // outputs per block
};

constexpr Shape f32_sse = {Level::sse, 16, 4}, f32_avx = {Level::avx, 32, 8},
                f64_sse2 = {Level::sse2, 16, 2}, f64_sse3 = {Level::sse3, 16, 2},
                f64_avx = {Level::avx, 32, 4};

/// c[2k], c[2k + 1]: real and imaginary part of the block's bin k.
inline void block_model(const Shape& shape, const double* c, double* out)
{
    for (std::size_t k = 0; k < shape.lanes; ++k)
        out[k] = power(c + 2 * k);
}

inline void block_model(const Shape& shape, const float* c, float* out)
{
    const auto re = [&](std::size_t k) { return square(c[2 * k]); };
    const auto im = [&](std::size_t k) { return square(c[2 * k + 1]); };
    if (shape.level == Level::sse) {
        out[0] = model::add(re(0), re(1));
        out[1] = model::add(re(2), re(3));
        out[2] = model::add(im(0), im(1));
        out[3] = model::add(im(2), im(3));
        return;
    }
    constexpr std::size_t bin[] = {0, 3, 2, 5, 2, 3, 6, 7};
    for (std::size_t k = 0; k < 8; ++k)
        out[k] = power(c + 2 * bin[k]);
}

/// Where single precision reads and writes: blocks of each half, rounded up.
struct Extent {
    std::size_t first, second; // blocks
    std::size_t read, written; // bins, elements
};

inline Extent extent(const Shape& shape, std::size_t n)
{
    const std::size_t half = n / 2;
    const auto blocks = [&](std::size_t elements) {
        return (elements + shape.lanes - 1) / shape.lanes;
    };
    Extent e{};
    e.first = blocks(n - half);
    e.second = blocks(half);
    e.read = (e.first + e.second) * shape.lanes;
    e.written = std::max(half + e.first * shape.lanes, e.second * shape.lanes);
    return e;
}

template <class T>
void baseline_model(const T* in, std::size_t n, T* out)
{
    const std::size_t half = n / 2;
    for (std::size_t i = 0; i < half; ++i)
        out[half + i] = power(in + 2 * i);
    for (std::size_t i = 0; i < half; ++i)
        out[i] = power(in + 2 * (half + i));
}

template <class T>
void vector_model(const Shape& shape, const T* in, std::size_t n, T* out)
{
    const Extent e = extent(shape, n);
    std::size_t bin = 0;
    for (std::size_t b = 0; b < e.first; ++b, bin += shape.lanes)
        block_model(shape, in + 2 * bin, out + n / 2 + b * shape.lanes);
    for (std::size_t b = 0; b < e.second; ++b, bin += shape.lanes)
        block_model(shape, in + 2 * bin, out + b * shape.lanes);
}

} // namespace fft_abs
