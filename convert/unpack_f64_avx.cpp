// convert/unpack_f64_avx.cpp: unpack_u8_f64, unpack_s16_f64 and unpack_u16_f64 for AVX, 4 lanes.
// Same bits as the baseline.
#include "convert/unpack.h"

namespace {

template <class Load>
SIMD_INLINE void u8_blocks(Unpacking<std::uint8_t, double>& run)
{
    const __m256d step = _mm256_set1_pd(run.step), offset = _mm256_set1_pd(run.offset);
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
    const __m256d step = _mm256_set1_pd(run.step), offset = _mm256_set1_pd(run.offset);
    for (; run.n >= 8; run.advance(8)) {
        const Widened codes = widen_s16(Load::load128i(run.src));
        restore4<Aligned>(run.dst, codes.low, step, offset);
        restore4<Aligned>(run.dst + 4, codes.high, step, offset);
    }
}

template <class Load>
SIMD_INLINE void u16_blocks(Unpacking<std::uint16_t, double>& run)
{
    const __m256d step = _mm256_set1_pd(run.step), offset = _mm256_set1_pd(run.offset);
    for (; run.n >= 8; run.advance(8)) {
        const Widened codes = widen_u16(Load::load128i(run.src));
        restore4<Aligned>(run.dst, codes.low, step, offset);
        restore4<Aligned>(run.dst + 4, codes.high, step, offset);
    }
}

} // namespace

// head    single codes until dst is 32-byte aligned
// blocks  16 codes: aligned loads if src is 32-byte aligned now; aligned stores
// tail    single codes
void unpack_u8_f64_avx(const uint8_t* src, size_t n, double* dst, double step, double offset)
{
    Unpacking<std::uint8_t, double> run{src, n, dst, step, offset};
    unpack_until_dst<32>(run);
    if (aligned<32>(run.src))
        u8_blocks<Aligned>(run);
    else
        u8_blocks<Unaligned>(run);
    _mm256_zeroupper();
    unpack_rest(run);
}

// head    single codes until dst is 32-byte aligned; then, if src is a multiple of 8,
//         until src is
// blocks  8 codes: aligned loads, unaligned from any other src; aligned stores
// tail    single codes
void unpack_s16_f64_avx(const int16_t* src, size_t n, double* dst, double step, double offset)
{
    Unpacking<std::int16_t, double> run{src, n, dst, step, offset};
    unpack_until_dst<32>(run);
    if (!aligned<8>(run.src)) {
        s16_blocks<Unaligned>(run);
    } else {
        unpack_until_src<32>(run);
        s16_blocks<Aligned>(run);
    }
    _mm256_zeroupper();
    unpack_rest(run);
}

// head    single codes until dst is 32-byte aligned; then, if src is a multiple of 8,
//         until src is
// blocks  8 codes: aligned loads, unaligned from any other src; aligned stores
// tail    single codes
void unpack_u16_f64_avx(const uint16_t* src, size_t n, double* dst, double step, double offset)
{
    Unpacking<std::uint16_t, double> run{src, n, dst, step, offset};
    unpack_until_dst<32>(run);
    if (!aligned<8>(run.src)) {
        u16_blocks<Unaligned>(run);
    } else {
        unpack_until_src<32>(run);
        u16_blocks<Aligned>(run);
    }
    _mm256_zeroupper();
    unpack_rest(run);
}
