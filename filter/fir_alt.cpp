// filter/fir_alt.cpp: fir_c16_alt, fir_c32_alt and fir_c64_alt, a complex FIR over interleaved
// samples of three formats, with the ring of the newest samples kept by the caller.
#include "lanes/arith.h"

namespace {

struct Linear {
    double scale;
    double offset;
};

struct Exact {};

SIMD_INLINE double widen(std::int16_t part, Linear by)
{
    return add(mul(static_cast<double>(part), by.scale), by.offset);
}

SIMD_INLINE double widen(float part, Exact) { return static_cast<double>(part); }

SIMD_INLINE double widen(double part, Exact) { return part; }

// The ring is filled downwards: slots p to last hold the newest samples, in the order of the taps,
// and slots 0 to p - 1 the ones older than those. The second step is called for p = 0 too, and the
// entry is read at both: a host may have replaced it in between, even from within the first.
template <class Part, class Format>
SIMD_INLINE void fir_alt(const Part* in, std::uint64_t count, const double* taps,
                         std::uint64_t last, std::int64_t* pos, double* hist_re, double* hist_im,
                         double* out, Format format)
{
    std::int64_t p = *pos;
    for (; count != 0; --count, in += 2, out += 2) {
        hist_re[p] = widen(in[0], format);
        hist_im[p] = widen(in[1], format);

        const std::uint64_t older = static_cast<std::uint64_t>(p);
        const std::uint64_t newer = last + 1 - older;
        double newer_re, newer_im, older_re, older_im;
        fir_step_c64(hist_re + p, hist_im + p, taps, newer, &newer_re, &newer_im);
        fir_step_c64(hist_re, hist_im, taps + newer, older, &older_re, &older_im);
        out[0] = add(newer_re, older_re);
        out[1] = add(newer_im, older_im);

        if (--p < 0)
            p = static_cast<std::int64_t>(last);
    }
    *pos = p;
}

} // namespace

void fir_c16_alt(const int16_t* in, uint64_t count, const double* taps, uint64_t last, int64_t* pos,
                 double* hist_re, double* hist_im, double* out, double scale, double offset)
{
    fir_alt(in, count, taps, last, pos, hist_re, hist_im, out, Linear{scale, offset});
}

void fir_c32_alt(const float* in, uint64_t count, const double* taps, uint64_t last, int64_t* pos,
                 double* hist_re, double* hist_im, double* out)
{
    fir_alt(in, count, taps, last, pos, hist_re, hist_im, out, Exact{});
}

void fir_c64_alt(const double* in, uint64_t count, const double* taps, uint64_t last, int64_t* pos,
                 double* hist_re, double* hist_im, double* out)
{
    fir_alt(in, count, taps, last, pos, hist_re, hist_im, out, Exact{});
}
