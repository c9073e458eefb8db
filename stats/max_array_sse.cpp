// stats/max_array_sse.cpp: max_array_f32 for SSE, 4 lanes.
#include "stats/max_array.h"

namespace {

// Not the baseline's step: where the two are equal or one is NaN, src is stored; kept, hosts depend
// on it.
template <class Access>
SIMD_INLINE void raise_block(float* dst, const float* src)
{
    Access::store128(dst, maxsel(Access::load128(dst), Access::load128(src)));
}

// Whole blocks of 4, and all three past them.
template <class Access>
SIMD_INLINE void raise_blocks(float*& dst, const float*& src, std::size_t& n)
{
    for (; n >= 16; n -= 16, dst += 16, src += 16) {
        raise_block<Access>(dst, src);
        raise_block<Access>(dst + 4, src + 4);
        raise_block<Access>(dst + 8, src + 8);
        raise_block<Access>(dst + 12, src + 12);
    }
    for (; n >= 4; n -= 4, dst += 4, src += 4)
        raise_block<Access>(dst, src);
}

} // namespace

// up to 15 elements singly; more:
// head    single elements until dst is 16-byte aligned, if src then is too
// blocks  4 elements: aligned accesses; or unaligned ones, from the first element on
// tail    single elements
void max_array_f32_sse(float* dst, const float* src, size_t n)
{
    if (n > 15) {
        if (same_offset<16>(dst, src)) {
            for (; n != 0 && !aligned<16>(dst); --n)
                raise_one(dst++, src++);
            raise_blocks<Aligned>(dst, src, n);
        } else {
            raise_blocks<Unaligned>(dst, src, n);
        }
    }
    for (; n != 0; --n)
        raise_one(dst++, src++);
}
