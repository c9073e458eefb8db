// convert/unpack_f64_sse2.cpp: unpack_u8_f64, unpack_s16_f64 and unpack_u16_f64 for SSE2, 2 lanes;
// the broadcasts demand SSE3, the unsigned widening SSE4.1. Same bits as the baseline.
#include "convert/unpack.h"

namespace {

template <class Load>
SIMD_INLINE void u8_blocks(Unpacking<std::uint8_t, double>& run)
{
    const __m128d step = movddup(run.step), offset = movddup(run.offset);
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
SIMD_INLINE void s16_blocks(Unpacking<std::int16_t, double>& run)
{
    const __m128d step = movddup(run.step), offset = movddup(run.offset);
    for (; run.n >= 8; run.advance(8)) {
        const Widened codes = widen_s16(Load::load128i(run.src));
        restore4<Aligned>(run.dst, codes.low, step, offset);
        restore4<Aligned>(run.dst + 4, codes.high, step, offset);
    }
}

template <class Load>
SIMD_INLINE void u16_blocks(Unpacking<std::uint16_t, double>& run)
{
    const __m128d step = movddup(run.step), offset = movddup(run.offset);
    for (; run.n >= 8; run.advance(8)) {
        const Widened codes = widen_u16(Load::load128i(run.src));
        restore4<Aligned>(run.dst, codes.low, step, offset);
        restore4<Aligned>(run.dst + 4, codes.high, step, offset);
    }
}

} // namespace

// head    single codes until dst is 16-byte aligned; then, if src is even, until src is
// blocks  16 codes: aligned loads, unaligned from an odd src; aligned stores
// tail    single codes
DEMANDS_SSE41 void unpack_u8_f64_sse2(const uint8_t* src, size_t n, double* dst, double step,
                                      double offset)
{
    Unpacking<std::uint8_t, double> run{src, n, dst, step, offset};
    unpack_until_dst<16>(run);
    if (!aligned<2>(run.src)) {
        u8_blocks<Unaligned>(run);
    } else {
        unpack_until_src<16>(run);
        u8_blocks<Aligned>(run);
    }
    unpack_rest(run);
}

// head    single codes until dst is 16-byte aligned
// blocks  8 codes: aligned loads if src is aligned now; aligned stores
// tail    single codes
DEMANDS_SSE3 void unpack_s16_f64_sse2(const int16_t* src, size_t n, double* dst, double step,
                                      double offset)
{
    Unpacking<std::int16_t, double> run{src, n, dst, step, offset};
    unpack_until_dst<16>(run);
    if (aligned<16>(run.src))
        s16_blocks<Aligned>(run);
    else
        s16_blocks<Unaligned>(run);
    unpack_rest(run);
}

// head    single codes until dst is 16-byte aligned; then, if src is a multiple of 4,
//         until src is
// blocks  8 codes: aligned loads, unaligned from any other src; aligned stores
// tail    single codes
DEMANDS_SSE41 void unpack_u16_f64_sse2(const uint16_t* src, size_t n, double* dst, double step,
                                       double offset)
{
    Unpacking<std::uint16_t, double> run{src, n, dst, step, offset};
    unpack_until_dst<16>(run);
    if (!aligned<4>(run.src)) {
        u16_blocks<Unaligned>(run);
    } else {
        unpack_until_src<16>(run);
        u16_blocks<Aligned>(run);
    }
    unpack_rest(run);
}
