// convert/unpack_alt_avx.cpp: unpack_alt_s16_f64 for AVX, 4 lanes. Same bits as the baseline.
#include "convert/unpack_alt.h"

namespace {

template <class Load>
SIMD_INLINE void blocks(Splitting& run)
{
    const __m256d scale = _mm256_set1_pd(run.scale), offset = _mm256_set1_pd(run.offset);
    const __m128i order = Aligned::load128i(channels_apart);
    for (; run.n >= 4; run.advance(4)) {
        const Widened channels = widen_s16(shuffle_bytes(Load::load128i(run.src), order));
        restore4<Aligned>(run.dst0, channels.low, scale, offset);
        restore4<Aligned>(run.dst1, channels.high, scale, offset);
    }
}

} // namespace

// head    single pairs until dst0 and dst1 are 32-byte aligned; then, if src is a multiple of 8,
//         until src is
// blocks  4 pairs: aligned loads, unaligned from any other src; aligned stores
// tail    single pairs
void unpack_alt_s16_f64_avx(const int16_t* src, size_t n, double* dst0, double* dst1, double scale,
                            double offset)
{
    Splitting run{src, n, dst0, dst1, scale, offset};
    split_until_dst<32>(run);
    if (!aligned<8>(run.src)) {
        blocks<Unaligned>(run);
    } else {
        // From a src at 8 or 24 modulo 32 this leaves both destinations 16 bytes off, and a block's
        // stores fault; kept, hosts know the rule.
        split_until_src<32>(run);
        blocks<Aligned>(run);
    }
    _mm256_zeroupper();
    split_rest(run);
}
