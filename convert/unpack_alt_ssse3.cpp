// convert/unpack_alt_ssse3.cpp: unpack_alt_s16_f64 for SSSE3, 2 lanes. Same bits as the baseline.
#include "convert/unpack_alt.h"

namespace {

template <class Load>
SIMD_INLINE void blocks(Splitting& run)
{
    const __m128d scale = movddup(run.scale), offset = movddup(run.offset);
    const __m128i order = Aligned::load128i(channels_apart);
    for (; run.n >= 4; run.advance(4)) {
        const Widened channels = widen_s16(shuffle_bytes(Load::load128i(run.src), order));
        restore4<Aligned>(run.dst0, channels.low, scale, offset);
        restore4<Aligned>(run.dst1, channels.high, scale, offset);
    }
}

} // namespace

// head    single pairs until dst0 and dst1 are 16-byte aligned; then, if src is a multiple of 4,
//         until src is
// blocks  4 pairs: aligned loads, unaligned from any other src; aligned stores
// tail    single pairs
void unpack_alt_s16_f64_ssse3(const int16_t* src, size_t n, double* dst0, double* dst1,
                              double scale, double offset)
{
    Splitting run{src, n, dst0, dst1, scale, offset};
    split_until_dst<16>(run);
    if (!aligned<4>(run.src)) {
        blocks<Unaligned>(run);
    } else {
        // From a src at 4 or 12 modulo 16 this leaves both destinations 8 bytes off, and a block's
        // stores fault; kept, hosts know the rule.
        split_until_src<16>(run);
        blocks<Aligned>(run);
    }
    split_rest(run);
}
