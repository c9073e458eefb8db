// convert/unpack_f32_avx.cpp: unpack_u8_f32 and unpack_s16_f32 for AVX, 8 lanes. Same bits as the
// baseline.
#include "convert/unpack.h"

namespace {

SIMD_INLINE __m256i joined(Widened codes) { return _mm256_set_m128i(codes.high, codes.low); }

template <class Load>
SIMD_INLINE void u8_blocks(Unpacking<std::uint8_t, float>& run)
{
    const __m256 step = _mm256_set1_ps(run.step), offset = _mm256_set1_ps(run.offset);
    for (; run.n >= 16; run.advance(16)) {
        const Widened words = widen_u8(Load::load128i(run.src));
        restore8<Aligned>(run.dst, joined(widen_u16(words.low)), step, offset);
        restore8<Aligned>(run.dst + 8, joined(widen_u16(words.high)), step, offset);
    }
}

template <class Load>
SIMD_INLINE void s16_blocks(Unpacking<std::int16_t, float>& run)
{
    const __m256 step = _mm256_set1_ps(run.step), offset = _mm256_set1_ps(run.offset);
    for (; run.n >= 8; run.advance(8)) {
        const Widened codes = widen_s16(Load::load128i(run.src));
        restore8<Aligned>(run.dst, joined(codes), step, offset);
    }
}

} // namespace

// head    single codes until dst is 32-byte aligned
// blocks  16 codes: aligned loads if src is 32-byte aligned now; aligned stores
// tail    single codes
void unpack_u8_f32_avx(const uint8_t* src, size_t n, float* dst, float step, float offset)
{
    Unpacking<std::uint8_t, float> run{src, n, dst, step, offset};
    unpack_until_dst<32>(run);
    if (aligned<32>(run.src))
        u8_blocks<Aligned>(run);
    else
        u8_blocks<Unaligned>(run);
    _mm256_zeroupper();
    unpack_rest(run);
}

// head    single codes until dst is 32-byte aligned
// blocks  8 codes: aligned loads if src is 32-byte aligned now; aligned stores
// tail    single codes
void unpack_s16_f32_avx(const int16_t* src, size_t n, float* dst, float step, float offset)
{
    Unpacking<std::int16_t, float> run{src, n, dst, step, offset};
    unpack_until_dst<32>(run);
    if (aligned<32>(run.src))
        s16_blocks<Aligned>(run);
    else
        s16_blocks<Unaligned>(run);
    _mm256_zeroupper();
    unpack_rest(run);
}
