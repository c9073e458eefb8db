// tests/models/fir_step.h: one sum of an FIR step, for the families that are made of it.
#pragma once

#include "rig/library.h"
#include "rig/model.h"

#include <cstddef>
#include <cstdint>

namespace model {

/// Lanes of the FIR step that a level installs; 1 stands for the baseline's plain sum.
template <class T>
std::size_t fir_lanes(rig::Level level)
{
    if (level >= rig::Level::avx)
        return 32 / sizeof(T);
    const rig::Level first = sizeof(T) == 4 ? rig::Level::sse : rig::Level::sse2;
    return level >= first ? 16 / sizeof(T) : 1;
}

/// Elements that stand before the aligned blocks: none unless all three addresses agree modulo the
/// width.
template <class T>
std::size_t fir_head(const T* re, const T* im, const T* taps, std::size_t lanes)
{
    const std::size_t width = lanes * sizeof(T);
    const auto rest = [&](const T* p) { return reinterpret_cast<std::uintptr_t>(p) % width; };
    if (rest(re) != rest(im) || rest(re) != rest(taps))
        return 0;
    return (width - rest(re)) % width / sizeof(T);
}

/// The lanes joined in the order of all sums here.
template <class T>
T fold(const T* l, std::size_t lanes)
{
    if (lanes == 2)
        return add(l[0], l[1]);
    if (lanes == 4)
        return add(add(l[0], l[2]), add(l[1], l[3]));
    return add(add(add(l[0], l[4]), add(l[2], l[6])), add(add(l[1], l[5]), add(l[3], l[7])));
}

template <class T>
T fir_sum(const T* plane, const T* taps, std::size_t n, std::size_t lanes, std::size_t head)
{
    std::size_t i = 0;
    T sum = 0;
    if (lanes > 1) {
        T head_sum = 0;
        for (; i < head && i < n; ++i)
            head_sum = add(head_sum, mul(plane[i], taps[i]));
        T lane[8] = {};
        for (; n - i >= lanes; i += lanes)
            for (std::size_t j = 0; j < lanes; ++j)
                lane[j] = add(lane[j], mul(plane[i + j], taps[i + j]));
        sum = add(fold(lane, lanes), head_sum);
    }
    for (; i < n; ++i)
        sum = add(sum, mul(plane[i], taps[i]));
    return sum;
}

} // namespace model
