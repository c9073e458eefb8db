// filter/iir1_sse2.cpp: iir1_f64 for SSE2, 2 lanes; the broadcast demands SSE3. Same bits as the
// baseline, except in the head.
#include "filter/iir1.h"

namespace {

template <class Access>
SIMD_INLINE void average_block(const double* x, double* y, __m128d a)
{
    Access::store128(y, average(Access::load128(x), Access::load128(y), a));
}

template <class Access>
SIMD_INLINE void average_blocks(const double*& x, std::size_t& n, double*& y, __m128d a)
{
    for (; n >= 8; n -= 8, x += 8, y += 8) {
        average_block<Access>(x, y, a);
        average_block<Access>(x + 2, y + 2, a);
        average_block<Access>(x + 4, y + 4, a);
        average_block<Access>(x + 6, y + 6, a);
    }
    for (; n >= 2; n -= 2, x += 2, y += 2)
        average_block<Access>(x, y, a);
}

} // namespace

// up to 15 elements one by one; more:
// head    one element if y is not 16-byte aligned and x is not either; no end test: y is 8-byte
//         aligned
// blocks  2 elements, aligned accesses; unaligned, and no head, where x and y cannot both be
// tail    one element
DEMANDS_SSE3 void iir1_f64_sse2(const double* x, size_t n, double* y, double a)
{
    if (n > 15) {
        const __m128d share = movddup(a); // SSE3
        if (same_offset<16>(x, y)) {
            for (; !aligned<16>(y); --n, ++x, ++y)
                *y = mul(sub(*x, *y), a); // y is not added back; kept: hosts depend on it
            average_blocks<Aligned>(x, n, y, share);
        } else {
            average_blocks<Unaligned>(x, n, y, share);
        }
    }
    average_each(x, n, y, a);
}
