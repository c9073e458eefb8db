// convert/unpack_f32_avx2.cpp: unpack_u8_f32 and unpack_s16_f32 for AVX2, 8 lanes. Same bits as the
// baseline.
#include "convert/unpack.h"

namespace {

// Widening works in each 128-bit half by itself. With the codes in this order beforehand, by fours,
// it leaves them in their natural one.
alignas(32) constexpr std::int32_t widening_order[8] = {0, 2, 4, 6, 1, 3, 5, 7};

// Permutations of whole registers, written out: clang++ makes those of floats of an intrinsic.
SIMD_INLINE __m256i permuted(__m256i lanes, __m256i order)
{
    __m256i r;
    asm("vpermd %1, %2, %0" : "=x"(r) : "x"(lanes), "x"(order));
    return r;
}

/// [a b | c d] -> [a c | b d]
SIMD_INLINE __m256i inner_exchanged(__m256i v)
{
    __m256i r;
    asm("vpermq $0xd8, %1, %0" : "=x"(r) : "x"(v));
    return r;
}

SIMD_INLINE void u8_blocks(Unpacking<std::uint8_t, float>& run)
{
    const __m256 step = _mm256_set1_ps(run.step), offset = _mm256_set1_ps(run.offset);
    const __m256i order = Aligned::load256i(widening_order);
    const __m256i zero = _mm256_setzero_si256();
    for (; run.n >= 32; run.advance(32)) {
        const __m256i codes = permuted(Unaligned::load256i(run.src), order);
        const __m256i low = _mm256_unpacklo_epi8(codes, zero);
        const __m256i high = _mm256_unpackhi_epi8(codes, zero);
        restore8<Aligned>(run.dst, _mm256_unpacklo_epi16(low, zero), step, offset);
        restore8<Aligned>(run.dst + 8, _mm256_unpackhi_epi16(low, zero), step, offset);
        restore8<Aligned>(run.dst + 16, _mm256_unpacklo_epi16(high, zero), step, offset);
        restore8<Aligned>(run.dst + 24, _mm256_unpackhi_epi16(high, zero), step, offset);
    }
}

SIMD_INLINE void s16_blocks(Unpacking<std::int16_t, float>& run)
{
    const __m256 step = _mm256_set1_ps(run.step), offset = _mm256_set1_ps(run.offset);
    for (; run.n >= 16; run.advance(16)) {
        const __m256i codes = inner_exchanged(Unaligned::load256i(run.src));
        const __m256i signs = _mm256_cmpgt_epi16(_mm256_setzero_si256(), codes);
        restore8<Aligned>(run.dst, _mm256_unpacklo_epi16(codes, signs), step, offset);
        restore8<Aligned>(run.dst + 8, _mm256_unpackhi_epi16(codes, signs), step, offset);
    }
}

} // namespace

// head    single codes until dst is 32-byte aligned
// blocks  32 codes: loads from any src; aligned stores
// tail    single codes
void unpack_u8_f32_avx2(const uint8_t* src, size_t n, float* dst, float step, float offset)
{
    Unpacking<std::uint8_t, float> run{src, n, dst, step, offset};
    unpack_until_dst<32>(run);
    u8_blocks(run);
    _mm256_zeroupper();
    unpack_rest(run);
}

// head    single codes until dst is 32-byte aligned
// blocks  16 codes: loads from any src; aligned stores
// tail    single codes
void unpack_s16_f32_avx2(const int16_t* src, size_t n, float* dst, float step, float offset)
{
    Unpacking<std::int16_t, float> run{src, n, dst, step, offset};
    unpack_until_dst<32>(run);
    s16_blocks(run);
    _mm256_zeroupper();
    unpack_rest(run);
}
