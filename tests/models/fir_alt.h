// tests/models/fir_alt.h: streams through a ring of history, sample by sample.
#pragma once

#include "libsimd.h"
#include "models/fir_step.h"

#include <cstddef>
#include <cstdint>

namespace fir_alt {

using rig::Level;

struct Numbers { // what only fir_c16_alt takes
    double scale = 1, offset = 0;
};

struct c16 {
    using In = std::int16_t;
    using Fn = decltype(fir_c16_alt);
    static constexpr const char* name = "fir_c16_alt";
    static double converted(In s, Numbers by)
    {
        return model::add(model::mul(static_cast<double>(s), by.scale), by.offset);
    }
    static void call(Fn* f, const In* in, std::uint64_t count, const double* taps,
                     std::uint64_t last, std::int64_t* pos, double* re, double* im, double* out,
                     Numbers by)
    {
        f(in, count, taps, last, pos, re, im, out, by.scale, by.offset);
    }
};
struct c32 {
    using In = float;
    using Fn = decltype(fir_c32_alt);
    static constexpr const char* name = "fir_c32_alt";
    static double converted(In s, Numbers)
    {
        if (!model::is_nan(s))
            return static_cast<double>(s);
        const std::uint64_t b = rig::bits_of(model::quieted(s));
        return model::from_bits<double>((b >> 31) << 63 | model::Format<double>::exponent |
                                        (b & model::Format<float>::mantissa) << 29);
    }
    static void call(Fn* f, const In* in, std::uint64_t count, const double* taps,
                     std::uint64_t last, std::int64_t* pos, double* re, double* im, double* out,
                     Numbers)
    {
        f(in, count, taps, last, pos, re, im, out);
    }
};
struct c64 {
    using In = double;
    using Fn = decltype(fir_c64_alt);
    static constexpr const char* name = "fir_c64_alt";
    static double converted(In s, Numbers) { return s; }
    static void call(Fn* f, const In* in, std::uint64_t count, const double* taps,
                     std::uint64_t last, std::int64_t* pos, double* re, double* im, double* out,
                     Numbers)
    {
        f(in, count, taps, last, pos, re, im, out);
    }
};

/// What a stream keeps: the addresses where the kernel finds it, and the values.
struct Ring {
    const double *taps_at, *re_at, *im_at;
    const double* taps;
    double *re, *im;
    std::uint64_t last;
    std::int64_t pos;
};

/// The outputs of one call, and the ring after it.
template <class F>
void expect(Level level, const typename F::In* samples, std::size_t count, Ring& ring, double* out,
            Numbers by)
{
    const std::size_t lanes = model::fir_lanes<double>(level);
    for (std::size_t k = 0; k < count; ++k) {
        const auto p = static_cast<std::size_t>(ring.pos);
        const std::size_t first = ring.last + 1 - p;
        ring.re[p] = F::converted(samples[2 * k], by);
        ring.im[p] = F::converted(samples[2 * k + 1], by);
        const std::size_t h0 = model::fir_head(ring.re_at + p, ring.im_at + p, ring.taps_at, lanes);
        const std::size_t h1 = model::fir_head(ring.re_at, ring.im_at, ring.taps_at + first, lanes);
        const double a0 = model::fir_sum(ring.re + p, ring.taps, first, lanes, h0);
        const double b0 = model::fir_sum(ring.im + p, ring.taps, first, lanes, h0);
        const double a1 = model::fir_sum(ring.re, ring.taps + first, p, lanes, h1);
        const double b1 = model::fir_sum(ring.im, ring.taps + first, p, lanes, h1);
        out[2 * k] = model::add(a0, a1);
        out[2 * k + 1] = model::add(b0, b1);
        ring.pos = ring.pos == 0 ? static_cast<std::int64_t>(ring.last) : ring.pos - 1;
    }
}

} // namespace fir_alt
