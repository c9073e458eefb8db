// stats/max_array_sse2.cpp: max_array_f64 for SSE2, 2 lanes.
#include "stats/max_array.h"

namespace {

// Not the baseline's step: where the two are equal or one is NaN, src is stored; kept, hosts depend
// on it.
template <class Access>
SIMD_INLINE void raise_block(double* dst, const double* src)
{
    Access::store128(dst, maxsel(Access::load128(dst), Access::load128(src)));
}

// Whole blocks of 2, and all three past them.
template <class Access>
SIMD_INLINE void raise_blocks(double*& dst, const double*& src, std::size_t& n)
{
    for (; n >= 8; n -= 8, dst += 8, src += 8) {
        raise_block<Access>(dst, src);
        raise_block<Access>(dst + 2, src + 2);
        raise_block<Access>(dst + 4, src + 4);
        raise_block<Access>(dst + 6, src + 6);
    }
    for (; n >= 2; n -= 2, dst += 2, src += 2)
        raise_block<Access>(dst, src);
}

} // namespace

// up to 15 elements singly; more:
// head    single elements until dst is 16-byte aligned, if src then is too
// blocks  2 elements: aligned accesses; or unaligned ones, from the first element on
// tail    single elements
void max_array_f64_sse2(double* dst, const double* src, size_t n)
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
