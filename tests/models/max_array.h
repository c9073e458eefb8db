// tests/models/max_array.h: the running peak.
#pragma once

#include "rig/model.h"

#include <cstddef>

namespace max_array {

template <class T>
void raise(T& dst, T src)
{
    if (!model::is_nan(dst) && !model::is_nan(src) && src > dst)
        dst = src;
}

/// Which elements a whole block takes; `to` and `from` are the addresses modulo 64.
struct Blocks {
    std::size_t begin = 0, end = 0;

    Blocks() = default;
    Blocks(std::size_t n, std::size_t to, std::size_t from, std::size_t element, std::size_t width,
           std::size_t threshold)
    {
        if (n <= threshold)
            return;
        if (to % width == from % width)
            while (begin < n && (to + begin * element) % width != 0)
                ++begin;
        const std::size_t lanes = width / element;
        end = begin + (n - begin) / lanes * lanes;
    }
    bool hold(std::size_t i) const { return i >= begin && i < end; }
};

template <class T>
void peak(T* dst, const T* src, std::size_t n, const Blocks& blocks)
{
    for (std::size_t i = 0; i < n; ++i)
        if (blocks.hold(i))
            dst[i] = model::maxsel(dst[i], src[i]);
        else
            raise(dst[i], src[i]);
}

} // namespace max_array
