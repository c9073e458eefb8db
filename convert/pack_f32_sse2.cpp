// convert/pack_f32_sse2.cpp: pack_f32_u8 and pack_f32_s16 for SSE2, 4 lanes. Blocks round to the
// nearest code where the baseline truncates.
#include "convert/pack.h"

namespace {

template <class Store>
SIMD_INLINE void u8_blocks(Packing<float, std::uint8_t>& run)
{
    const __m128 offset = _mm_set1_ps(run.offset), scale = _mm_set1_ps(run.scale);
    for (; run.n >= 16; run.advance(16)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        const __m128i c = round4(run.src + 8, offset, scale);
        const __m128i d = round4(run.src + 12, offset, scale);
        Store::store128i(run.dst, _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
    }
}

template <class Store>
SIMD_INLINE void s16_blocks(Packing<float, std::int16_t>& run)
{
    const __m128 offset = _mm_set1_ps(run.offset), scale = _mm_set1_ps(run.scale);
    for (; run.n >= 8; run.advance(8)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        Store::store128i(run.dst, _mm_packs_epi32(a, b));
    }
}

} // namespace

// head    single samples until src is 16-byte aligned; then, if dst is even, until dst is
// blocks  16 samples: aligned loads, clamped to 0..255; aligned stores, unaligned to an odd dst
// tail    single samples
void pack_f32_u8_sse2(const float* src, size_t n, uint8_t* dst, float* step, float* min)
{
    auto run = pack_from_min<ScaleFirst>(minmax_f32, src, n, dst, step, min);
    pack_until_src<16>(run);
    if (!aligned<2>(run.dst)) {
        u8_blocks<Unaligned>(run);
    } else {
        // From a dst at 2 modulo 4 this leaves src 8 bytes off, and a block's loads fault; kept,
        // hosts know the rule.
        pack_until_dst<16>(run);
        u8_blocks<Aligned>(run);
    }
    pack_rest(run);
}

// head    single samples until src is 16-byte aligned
// blocks  8 samples: aligned loads, clamped to 16 bits; aligned stores if dst is aligned now
// tail    single samples
void pack_f32_s16_sse2(const float* src, size_t n, int16_t* dst, float* step, float* mid)
{
    auto run = pack_from_mid<ScaleFirst>(minmax_f32, src, n, dst, step, mid);
    pack_until_src<16>(run);
    if (aligned<16>(run.dst))
        s16_blocks<Aligned>(run);
    else
        s16_blocks<Unaligned>(run);
    pack_rest(run);
}
