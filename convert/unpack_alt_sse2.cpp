// convert/unpack_alt_sse2.cpp: unpack_alt_s16_f64 for SSE2, 2 lanes; the broadcasts demand SSE3.
// Same bits as the baseline.
#include "convert/unpack_alt.h"

namespace {

// Pinned, where a compiler may prefer another way.
SIMD_PINNED(low_words, __m128i, "punpcklwd")

/// [a0 b0 a1 b1 a2 b2 a3 b3] -> [a0 a2 b0 b2 a1 a3 b1 b3] -> [a0 a1 a2 a3 b0 b1 b2 b3]
SIMD_INLINE __m128i split_channels(__m128i pairs)
{
    const __m128i twos = low_words(pairs, high_quads(pairs, pairs));
    return low_words(twos, high_quads(twos, twos));
}

template <class Load>
SIMD_INLINE void blocks(Splitting& run)
{
    const __m128d scale = movddup(run.scale), offset = movddup(run.offset);
    for (; run.n >= 4; run.advance(4)) {
        const Widened channels = widen_s16(split_channels(Load::load128i(run.src)));
        restore4<Aligned>(run.dst0, channels.low, scale, offset);
        restore4<Aligned>(run.dst1, channels.high, scale, offset);
    }
}

} // namespace

// head    single pairs until dst0 and dst1 are 16-byte aligned; then, if src is a multiple of 4,
//         until src is
// blocks  4 pairs: aligned loads, unaligned from any other src; aligned stores
// tail    single pairs
DEMANDS_SSE3 void unpack_alt_s16_f64_sse2(const int16_t* src, size_t n, double* dst0, double* dst1,
                                          double scale, double offset)
{
    Splitting run{src, n, dst0, dst1, scale, offset};
    split_until_dst<16>(run);
    if (!aligned<4>(run.src)) {
        blocks<Unaligned>(run);
    } else {
        // From a src at 4 or 12 modulo 16 this leaves both destinations 8 bytes off, and a block's
        // stores fault; kept, hosts know the rule.
        split_until_src<16>(run);
        blocks<Aligned>(run);
    }
    split_rest(run);
}
