// convert/unpack_cmb.h: unpack_cmb_s16_f64, two channels interleaved into one array.
#ifndef LIBSIMD_CONVERT_UNPACK_CMB_H
#define LIBSIMD_CONVERT_UNPACK_CMB_H

#include "convert/unpack.h"

unpack_cmb_s16_f64_fn unpack_cmb_s16_f64_base, unpack_cmb_s16_f64_sse2, unpack_cmb_s16_f64_avx;

namespace {

/// What is left of a call: n samples of src0 and of src1, to pairs in dst.
struct Combining {
    const std::int16_t *src0, *src1;
    std::size_t n;
    double* dst;
    double scale, offset;

    [[gnu::always_inline]] void advance(std::size_t pairs)
    {
        src0 += pairs;
        src1 += pairs;
        n -= pairs;
        dst += 2 * pairs;
    }
};

} // namespace

SIMD_INLINE void combine_single(Combining& run)
{
    run.dst[0] = restore(*run.src0, run.scale, run.offset);
    run.dst[1] = restore(*run.src1, run.scale, run.offset);
    run.advance(1);
}

/// Single pairs until src0 is aligned, wherever that leaves dst.
template <std::size_t Block>
SIMD_INLINE void combine_until_src(Combining& run)
{
    while (run.n != 0 && !aligned<Block>(run.src0))
        combine_single(run);
}

SIMD_INLINE void combine_rest(Combining& run)
{
    while (run.n != 0)
        combine_single(run);
}

#endif
