// tests/models/iir1.h: exponential averaging, and the head without the state.
#pragma once

#include "rig/library.h"
#include "rig/model.h"

#include <cstddef>

namespace iir1 {

using rig::Level;

struct f32 {
    using Element = float;
    using Fn = iir1_f32_fn;
    static constexpr const char* name = "iir1_f32";
    static constexpr Level first_vector = Level::sse;
    static constexpr std::size_t avx_threshold = 31;
};
struct f64 {
    using Element = double;
    using Fn = iir1_f64_fn;
    static constexpr const char* name = "iir1_f64";
    static constexpr Level first_vector = Level::sse2;
    static constexpr std::size_t avx_threshold = 15;
};

template <class T>
T full(T x, T y, T a)
{
    using namespace model;
    return add(mul(sub(x, y), a), y);
}

/// Elements at the start that the 16-byte levels leave without the state added back.
template <class K>
std::size_t bare(Level level, std::size_t n, std::size_t x_offset, std::size_t y_offset)
{
    using T = typename K::Element;
    if (level != K::first_vector || n <= 15 || x_offset % 16 != y_offset % 16)
        return 0;
    return (16 - y_offset % 16) % 16 / sizeof(T);
}

} // namespace iir1
