// tests/models/vfilter.h: the symmetric FIR along an array, folded and by steps.
#pragma once

#include "models/fir_step.h"

#include <cstdint>
#include <cstring>

namespace vfilter {

/// Output i folded. A left index below 0 is replaced by 0 while `left`, a right index of n or more
/// by n - 1 while `right`.
template <class T>
T folded(const T* x, std::int64_t n, const T* taps, std::int64_t half, std::int64_t i, bool left,
         bool right)
{
    T acc = model::mul(x[i], taps[half]);
    for (std::int64_t k = 0; k < half; ++k) {
        std::int64_t l = i - half + k;
        std::int64_t r = i + half - k;
        if (left && l < 0)
            l = 0;
        if (right && r >= n)
            r = n - 1;
        acc = model::add(acc, model::mul(model::add(x[r], x[l]), taps[k]));
    }
    return acc;
}

/// All outputs. `x` and `taps` are values; the two addresses are where the kernel finds them.
template <class T>
void expect(const T* x, std::int64_t n, const T* taps, std::int64_t len, T* y, std::size_t lanes,
            const T* x_address, const T* taps_address)
{
    if (len <= 1) {
        for (std::int64_t i = 0; i < n; ++i)
            std::memcpy(y + i, x + i, sizeof(T)); // a signalling NaN stays as it is
        return;
    }
    const std::int64_t half = len >> 1;
    for (std::int64_t i = 0; i < half; ++i)
        y[i] = folded(x, n, taps, half, i, true, false);
    std::int64_t rest = half;
    if (lanes > 1) {
        const auto w = static_cast<std::int64_t>(lanes);
        const std::int64_t blocks = n - 2 * half >= 2 * w ? (n - 2 * half) / (2 * w) : 0;
        const auto all = static_cast<std::size_t>(2 * half + 1);
        for (std::int64_t b = 0; b < blocks; ++b)
            for (std::int64_t j = 0; j < w; ++j) {
                const std::int64_t i = half + 2 * w * b + j;
                const std::size_t head = model::fir_head(
                    x_address + (i - half), x_address + (i + w - half), taps_address, lanes);
                y[i] = model::fir_sum(x + (i - half), taps, all, lanes, head);
                y[i + w] = model::fir_sum(x + (i + w - half), taps, all, lanes, head);
            }
        rest = half + 2 * w * blocks;
    } else if (n - half > half) {
        for (; rest < n - half; ++rest)
            y[rest] = folded(x, n, taps, half, rest, false, false);
    }
    for (; rest < n; ++rest)
        y[rest] = folded(x, n, taps, half, rest, false, true);
}

} // namespace vfilter
