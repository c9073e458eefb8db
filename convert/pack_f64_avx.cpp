// convert/pack_f64_avx.cpp: pack_f64_u8, pack_f64_s16 and pack_f64_u16 for AVX, 4 lanes. Blocks
// round to the nearest code where the baseline truncates.
#include "convert/pack.h"
#include "stats/minmax.h"

namespace {

template <class Store>
SIMD_INLINE void u8_blocks(Packing<double, std::uint8_t>& run)
{
    const __m256d offset = _mm256_set1_pd(run.offset), scale = _mm256_set1_pd(run.scale);
    for (; run.n >= 16; run.advance(16)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        const __m128i c = round4(run.src + 8, offset, scale);
        const __m128i d = round4(run.src + 12, offset, scale);
        Store::store128i(run.dst, _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
    }
}

template <class Store>
SIMD_INLINE void s16_blocks(Packing<double, std::int16_t>& run)
{
    const __m256d offset = _mm256_set1_pd(run.offset), scale = _mm256_set1_pd(run.scale);
    for (; run.n >= 8; run.advance(8)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        Store::store128i(run.dst, _mm_packs_epi32(a, b));
    }
}

template <class Store>
SIMD_INLINE void u16_blocks(Packing<double, std::uint16_t>& run)
{
    const __m256d offset = _mm256_set1_pd(run.offset), scale = _mm256_set1_pd(run.scale);
    for (; run.n >= 8; run.advance(8)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        Store::store128i(run.dst, _mm_packus_epi32(a, b));
    }
}

} // namespace

// head    single samples until src is 32-byte aligned; then, if dst is a multiple of 4,
//         until dst is
// blocks  16 samples: aligned loads, clamped to 0..255; aligned stores, unaligned to
//         any other dst
// tail    single samples
void pack_f64_u8_avx(const double* src, size_t n, uint8_t* dst, double* step, double* min)
{
    auto run = pack_from_min<ScaleFirst>(minmax_f64_avx, src, n, dst, step, min);
    pack_until_src<32>(run);
    if (!aligned<4>(run.dst)) {
        u8_blocks<Unaligned>(run);
    } else {
        pack_until_dst<32>(run);
        u8_blocks<Aligned>(run);
    }
    _mm256_zeroupper();
    pack_rest(run);
}

// head    single samples until src is 32-byte aligned; then, if dst is a multiple of 8,
//         until dst is
// blocks  8 samples: aligned loads, clamped to 16 bits; aligned stores, unaligned to
//         any other dst
// tail    single samples
void pack_f64_s16_avx(const double* src, size_t n, int16_t* dst, double* step, double* mid)
{
    auto run = pack_from_mid<ScaleFirst>(minmax_f64_avx, src, n, dst, step, mid);
    pack_until_src<32>(run);
    if (!aligned<8>(run.dst)) {
        s16_blocks<Unaligned>(run);
    } else {
        pack_until_dst<32>(run);
        s16_blocks<Aligned>(run);
    }
    _mm256_zeroupper();
    pack_rest(run);
}

// head    single samples until src is 32-byte aligned; then, if dst is a multiple of 8,
//         until dst is
// blocks  8 samples: aligned loads, clamped to 0..65535; aligned stores, unaligned to
//         any other dst
// tail    single samples
void pack_f64_u16_avx(const double* src, size_t n, uint16_t* dst, double* step, double* min)
{
    auto run = pack_from_min<ScaleFirst>(minmax_f64_avx, src, n, dst, step, min);
    pack_until_src<32>(run);
    if (!aligned<8>(run.dst)) {
        u16_blocks<Unaligned>(run);
    } else {
        pack_until_dst<32>(run);
        u16_blocks<Aligned>(run);
    }
    _mm256_zeroupper();
    pack_rest(run);
}
