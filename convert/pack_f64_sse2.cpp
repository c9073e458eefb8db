// convert/pack_f64_sse2.cpp: pack_f64_u8, pack_f64_s16 and pack_f64_u16 for SSE2, 2 lanes; their
// broadcasts demand SSE3. Blocks round to the nearest code where the baseline truncates.
#include "convert/pack.h"
#include "stats/minmax.h"

namespace {

template <class Store>
SIMD_INLINE void u8_blocks(Packing<double, std::uint8_t>& run)
{
    const __m128d offset = movddup(run.offset), scale = movddup(run.scale);
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
    const __m128d offset = movddup(run.offset), scale = movddup(run.scale);
    for (; run.n >= 8; run.advance(8)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        Store::store128i(run.dst, _mm_packs_epi32(a, b));
    }
}

/// Words 0 and 2 of each half, twice; pinned, where a compiler may prefer a longer way.
SIMD_INLINE __m128i even_words(__m128i codes)
{
    asm("pshuflw $0x88, %0, %0" : "+x"(codes));
    asm("pshufhw $0x88, %0, %0" : "+x"(codes));
    return codes;
}

/// The low 16 bits of eight codes: the even words, then the even doublewords.
SIMD_INLINE __m128i low_words(__m128i a, __m128i b)
{
    return _mm_castps_si128(_mm_shuffle_ps(
        _mm_castsi128_ps(even_words(a)), _mm_castsi128_ps(even_words(b)), _MM_SHUFFLE(2, 0, 2, 0)));
}

template <class Store>
SIMD_INLINE void u16_blocks(Packing<double, std::uint16_t>& run)
{
    const __m128d offset = movddup(run.offset), scale = movddup(run.scale);
    for (; run.n >= 8; run.advance(8)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        Store::store128i(run.dst, low_words(a, b));
    }
}

} // namespace

// head    single samples until src is 16-byte aligned; then, if dst is even, until dst is
// blocks  16 samples: aligned loads, clamped to 0..255; aligned stores, unaligned to an odd dst
// tail    single samples
DEMANDS_SSE3 void pack_f64_u8_sse2(const double* src, size_t n, uint8_t* dst, double* step,
                                   double* min)
{
    auto run = pack_from_min<ScaleFirst>(minmax_f64_sse2, src, n, dst, step, min);
    pack_until_src<16>(run);
    if (!aligned<2>(run.dst)) {
        u8_blocks<Unaligned>(run);
    } else {
        pack_until_dst<16>(run);
        u8_blocks<Aligned>(run);
    }
    pack_rest(run);
}

// head    single samples until src is 16-byte aligned
// blocks  8 samples: aligned loads, clamped to 16 bits; aligned stores if dst is aligned now
// tail    single samples
DEMANDS_SSE3 void pack_f64_s16_sse2(const double* src, size_t n, int16_t* dst, double* step,
                                    double* mid)
{
    auto run = pack_from_mid<ScaleFirst>(minmax_f64_sse2, src, n, dst, step, mid);
    pack_until_src<16>(run);
    if (aligned<16>(run.dst))
        s16_blocks<Aligned>(run);
    else
        s16_blocks<Unaligned>(run);
    pack_rest(run);
}

// head    single samples until src is 16-byte aligned; then, if dst is a multiple of 4,
//         until dst is
// blocks  8 samples: aligned loads, low 16 bits kept; aligned stores, unaligned to
//         any other dst
// tail    single samples
DEMANDS_SSE3 void pack_f64_u16_sse2(const double* src, size_t n, uint16_t* dst, double* step,
                                    double* min)
{
    auto run = pack_from_min<ScaleFirst>(minmax_f64_sse2, src, n, dst, step, min);
    pack_until_src<16>(run);
    if (!aligned<4>(run.dst)) {
        u16_blocks<Unaligned>(run);
    } else {
        pack_until_dst<16>(run);
        u16_blocks<Aligned>(run);
    }
    pack_rest(run);
}
