// convert/pack_f32_avx2.cpp: pack_f32_u8 and pack_f32_s16 for AVX2, 8 lanes. Blocks round to the
// nearest code where the baseline truncates.
#include "convert/pack.h"

namespace {

// Packing works in each 128-bit half by itself and leaves four codes of a, b, c, d in a row, first
// the low halves' then the high halves'; these are the places to take them from.
alignas(32) constexpr std::int32_t natural_order[8] = {0, 4, 1, 5, 2, 6, 3, 7};

template <class Store>
SIMD_INLINE void u8_blocks(Packing<float, std::uint8_t>& run)
{
    const __m256 offset = _mm256_set1_ps(run.offset), scale = _mm256_set1_ps(run.scale);
    const __m256i order = Aligned::load256i(natural_order);
    for (; run.n >= 32; run.advance(32)) {
        const __m256i a = round8(run.src, offset, scale);
        const __m256i b = round8(run.src + 8, offset, scale);
        const __m256i c = round8(run.src + 16, offset, scale);
        const __m256i d = round8(run.src + 24, offset, scale);
        const __m256i codes =
            _mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
        Store::store256i(run.dst, _mm256_permutevar8x32_epi32(codes, order));
    }
}

template <class Store>
SIMD_INLINE void s16_blocks(Packing<float, std::int16_t>& run)
{
    const __m256 offset = _mm256_set1_ps(run.offset), scale = _mm256_set1_ps(run.scale);
    for (; run.n >= 16; run.advance(16)) {
        const __m256i a = round8(run.src, offset, scale);
        const __m256i b = round8(run.src + 8, offset, scale);
        // halves [a0-3 b0-3 | a4-7 b4-7] -> [a0-3 a4-7 b0-3 b4-7]
        Store::store256i(
            run.dst, _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), _MM_SHUFFLE(3, 1, 2, 0)));
    }
}

} // namespace

// head    single samples until src is 32-byte aligned
// blocks  32 samples: aligned loads, clamped to 0..255; aligned stores if dst is 32-byte
//         aligned now
// tail    single samples
void pack_f32_u8_avx2(const float* src, size_t n, uint8_t* dst, float* step, float* min)
{
    _mm256_zeroupper(); // the entry may hold SSE code
    auto run = pack_from_min<ScaleFirst>(minmax_f32, src, n, dst, step, min);
    pack_until_src<32>(run);
    if (aligned<32>(run.dst))
        u8_blocks<Aligned>(run);
    else
        u8_blocks<Unaligned>(run);
    _mm256_zeroupper();
    pack_rest(run);
}

// head    single samples until src is 32-byte aligned
// blocks  16 samples: aligned loads, clamped to 16 bits; aligned stores if dst is 32-byte
//         aligned now
// tail    single samples
void pack_f32_s16_avx2(const float* src, size_t n, int16_t* dst, float* step, float* mid)
{
    _mm256_zeroupper(); // the entry may hold SSE code
    auto run = pack_from_mid<ScaleFirst>(minmax_f32, src, n, dst, step, mid);
    pack_until_src<32>(run);
    if (aligned<32>(run.dst))
        s16_blocks<Aligned>(run);
    else
        s16_blocks<Unaligned>(run);
    _mm256_zeroupper();
    pack_rest(run);
}
