// tests/models/vfilter2.h: the mean around a centre, and the blocks' own exponential.
#pragma once

#include "models/fir_step.h" // the fold
#include "rig/model.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vfilter2 {

using model::add;
using model::from_bits;
using model::mul;
using model::sub;
using rig::bits_of;
using rig::Level;

/// The constants of the exponential, by their bits.
struct Constants {
    std::uint32_t log2e = 0x3fb8aa3b, q1 = 0x3f318000, q2 = 0xb95e8083;
    std::uint32_t c[6] = {0x39506967, 0x3ab743ce, 0x3c088908, 0x3d2aa9c1, 0x3e2aaaaa, 0x3f000000};
};

/// One lane of the exponential of blocks.
inline float exp_lane(float v, const Constants& by = {})
{
    v = model::minsel(v, from_bits<float>(0x42b0c0a5));
    v = model::maxsel(v, from_bits<float>(0xc2b0c0a5));
    const float f = add(mul(v, from_bits<float>(by.log2e)), 0.5F);
    float t = static_cast<float>(model::truncate(f));
    if (t > f)
        t = sub(t, 1.0F);
    float r = sub(v, mul(t, from_bits<float>(by.q1)));
    r = sub(r, mul(t, from_bits<float>(by.q2)));
    const std::int32_t k = model::truncate(t) + 127;
    const float s = from_bits<float>(static_cast<std::uint32_t>(k) << 23);
    float p = from_bits<float>(by.c[0]);
    for (std::size_t i = 1; i < 6; ++i)
        p = add(mul(p, r), from_bits<float>(by.c[i]));
    const float q = add(add(mul(p, mul(r, r)), r), 1.0F);
    return mul(q, s);
}

inline float scaled(float x, float c) { return mul(sub(x, c), from_bits<float>(0x3e19999a)); }

inline float flipped(float d) { return from_bits<float>(bits_of(d) ^ 0x80000000U); }

/// What expf is asked for sample x.
inline float single_argument(float x, float c)
{
    const float d = scaled(x, c);
    return mul(flipped(d), d);
}

/// Lanes of the blocks that a level uses for n samples; 1: no blocks.
inline std::size_t lanes_for(Level level, std::size_t n)
{
    if (level == Level::base || n <= 7)
        return 1;
    return level == Level::avx2 && n >= 16 ? 8 : 4;
}

struct Result {
    float mean;
    std::vector<float> arguments; // of expf, in order
};

inline Result expect(const float* x, const float* w, std::size_t n, float c, Level level,
                     float (*single)(float) = expf)
{
    Result result;
    const std::size_t lanes = lanes_for(level, n);
    float num = 0;
    float den = 0;
    std::size_t i = 0;
    if (lanes > 1) {
        float nums[8] = {};
        float dens[8] = {};
        for (; n - i >= lanes; i += lanes)
            for (std::size_t j = 0; j < lanes; ++j) {
                const float d = scaled(x[i + j], c);
                const float g = mul(exp_lane(mul(sub(0.0F, d), d)), w[i + j]);
                nums[j] = add(nums[j], mul(x[i + j], g));
                dens[j] = add(dens[j], g);
            }
        num = add(model::fold(nums, lanes), 0.0F);
        den = add(model::fold(dens, lanes), 0.0F);
    }
    for (; i < n; ++i) {
        const float argument = single_argument(x[i], c);
        result.arguments.push_back(argument);
        const float g = mul(single(argument), w[i]);
        num = add(num, mul(x[i], g));
        den = add(den, g);
    }
    result.mean = model::div(num, den);
    return result;
}

} // namespace vfilter2
