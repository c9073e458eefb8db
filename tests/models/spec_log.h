// tests/models/spec_log.h: what the logarithm is asked of, and the blocks' own logarithm.
#pragma once

#include "rig/library.h"
#include "rig/model.h"

#include <cfloat>
#include <cstddef>
#include <cstdint>

namespace spec_log {

using rig::Level;

/// Counts up to here go to the baseline.
inline std::size_t threshold(Level level)
{
    return level == Level::sse2 ? 15 : level == Level::avx2 ? 31 : SIZE_MAX;
}
inline std::size_t lanes(Level level) { return level == Level::avx2 ? 8 : 4; }

/// What the baseline asks the logarithm of.
inline float clamped(float x) { return !model::is_nan(x) && FLT_MIN < x ? x : FLT_MIN; }
inline double clamped(double x) { return !model::is_nan(x) && x > DBL_MIN ? x : DBL_MIN; }

template <class T>
T decibels(T log10, T offset)
{
    return model::sub(model::mul(log10, T(10)), offset);
}

/// One lane of the block path, step by step.
inline float block_model(float x, float offset)
{
    using model::add, model::mul, model::from_bits;
    x = model::maxsel(x, from_bits<float>(0x00800000));
    x = model::maxsel(x, from_bits<float>(0x00800000));
    const bool invalid = x <= 0.0F;
    const std::int32_t exponent = static_cast<std::int32_t>(rig::bits_of(x) >> 23) - 127;
    float e = add(static_cast<float>(exponent), 1.0F);
    float m = from_bits<float>((rig::bits_of(x) & 0x807FFFFFU) | 0x3F000000U);
    const bool small = m < from_bits<float>(0x3F3504F3);
    const float t = small ? m : 0.0F;
    m = add(m, -1.0F);
    e = model::sub(e, small ? 1.0F : 0.0F);
    m = add(m, t);
    const float z = mul(m, m);
    constexpr std::uint32_t p[] = {0x3D9021BB, 0xBDEBD1B8, 0x3DEF251A, 0xBDFE5D4F, 0x3E11E9BF,
                                   0xBE2AAE50, 0x3E4CCEAC, 0xBE7FFFFC, 0x3EAAAAAA};
    float y = mul(from_bits<float>(p[0]), m);
    for (int k = 1; k <= 8; ++k)
        y = mul(add(y, from_bits<float>(p[k])), m);
    y = mul(y, z);
    y = add(y, mul(e, from_bits<float>(0xB95E8083)));
    y = model::sub(y, mul(z, 0.5F));
    float r = add(y, m);
    r = add(r, mul(e, from_bits<float>(0x3F318000)));
    if (invalid)
        r = from_bits<float>(0xFFFFFFFF);
    r = model::div(r, from_bits<float>(0x40135D8E));
    r = mul(r, 10.0F);
    return model::sub(r, offset);
}

} // namespace spec_log
