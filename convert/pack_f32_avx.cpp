// convert/pack_f32_avx.cpp: pack_f32_u8 and pack_f32_s16 for AVX, 8 lanes. Blocks round to the
// nearest code where the baseline truncates.
#include "convert/pack.h"
#include "stats/minmax.h"

namespace {

/// 8 samples to 8 words, clamped to 16 bits with sign.
SIMD_INLINE __m128i words8(const float* src, __m256 offset, __m256 scale)
{
    const __m256i codes = round8(src, offset, scale);
    return _mm_packs_epi32(_mm256_castsi256_si128(codes), _mm256_extractf128_si256(codes, 1));
}

template <class Store>
SIMD_INLINE void u8_blocks(Packing<float, std::uint8_t>& run)
{
    const __m256 offset = _mm256_set1_ps(run.offset), scale = _mm256_set1_ps(run.scale);
    for (; run.n >= 16; run.advance(16)) {
        const __m128i a = words8(run.src, offset, scale);
        const __m128i b = words8(run.src + 8, offset, scale);
        Store::store128i(run.dst, _mm_packus_epi16(a, b));
    }
}

template <class Store>
SIMD_INLINE void s16_blocks(Packing<float, std::int16_t>& run)
{
    const __m256 offset = _mm256_set1_ps(run.offset), scale = _mm256_set1_ps(run.scale);
    for (; run.n >= 8; run.advance(8))
        Store::store128i(run.dst, words8(run.src, offset, scale));
}

} // namespace

// head    single samples until src is 32-byte aligned
// blocks  16 samples: aligned loads, clamped to 0..255; aligned stores if dst is 32-byte
//         aligned now
// tail    single samples
void pack_f32_u8_avx(const float* src, size_t n, uint8_t* dst, float* step, float* min)
{
    auto run = pack_from_min<ScaleFirst>(minmax_f32_avx, src, n, dst, step, min);
    pack_until_src<32>(run);
    if (aligned<32>(run.dst))
        u8_blocks<Aligned>(run);
    else
        u8_blocks<Unaligned>(run);
    _mm256_zeroupper();
    pack_rest(run);
}

// head    single samples until src is 32-byte aligned
// blocks  8 samples: aligned loads, clamped to 16 bits; aligned stores if dst is 32-byte
//         aligned now
// tail    single samples
void pack_f32_s16_avx(const float* src, size_t n, int16_t* dst, float* step, float* mid)
{
    auto run = pack_from_mid<ScaleFirst>(minmax_f32_avx, src, n, dst, step, mid);
    pack_until_src<32>(run);
    if (aligned<32>(run.dst))
        s16_blocks<Aligned>(run);
    else
        s16_blocks<Unaligned>(run);
    _mm256_zeroupper();
    pack_rest(run);
}
