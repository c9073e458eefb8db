// convert/unpack_alt.h: unpack_alt_s16_f64, interleaved pairs split into two arrays.
#ifndef LIBSIMD_CONVERT_UNPACK_ALT_H
#define LIBSIMD_CONVERT_UNPACK_ALT_H

#include "convert/unpack.h"

unpack_alt_s16_f64_fn unpack_alt_s16_f64_base, unpack_alt_s16_f64_sse2, unpack_alt_s16_f64_ssse3,
    unpack_alt_s16_f64_avx;

namespace {

/// What is left of a call: n pairs of src, to dst0 and dst1.
struct Splitting {
    const std::int16_t* src;
    std::size_t n;
    double *dst0, *dst1;
    double scale, offset;

    [[gnu::always_inline]] void advance(std::size_t pairs)
    {
        src += 2 * pairs;
        n -= pairs;
        dst0 += pairs;
        dst1 += pairs;
    }
};

} // namespace

SIMD_INLINE void split_single(Splitting& run)
{
    *run.dst0 = restore(run.src[0], run.scale, run.offset);
    *run.dst1 = restore(run.src[1], run.scale, run.offset);
    run.advance(1);
}

/// Single pairs until both destinations are aligned at once; some never are.
template <std::size_t Block>
SIMD_INLINE void split_until_dst(Splitting& run)
{
    while (run.n != 0 && !(aligned<Block>(run.dst0) && aligned<Block>(run.dst1)))
        split_single(run);
}

/// Single pairs until src is aligned, wherever that leaves the destinations.
template <std::size_t Block>
SIMD_INLINE void split_until_src(Splitting& run)
{
    while (run.n != 0 && !aligned<Block>(run.src))
        split_single(run);
}

SIMD_INLINE void split_rest(Splitting& run)
{
    while (run.n != 0)
        split_single(run);
}

// Which bytes of four pairs [a0 b0 a1 b1 a2 b2 a3 b3] make [a0 a1 a2 a3 b0 b1 b2 b3].
namespace {
alignas(16) [[maybe_unused]] constexpr std::uint8_t channels_apart[16] = {
    0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
} // namespace

#endif
