// spectrum/mult_sse2.cpp: mult_f64 for SSE2, 2 lanes. Same bits as the baseline, but for products
// of two NaNs.
#include "spectrum/mult.h"

namespace {

// Of two NaNs a block keeps that of b, a single element that of a; kept, hosts depend on it.
template <class Access>
SIMD_INLINE void mult_block(double* dst, const double* a, const double* b)
{
    Access::store128(dst, mul(Access::load128(b), Access::load128(a)));
}

/// Whole blocks, as many as n has; returns the elements done.
template <class Access>
SIMD_INLINE std::size_t mult_blocks(double* dst, const double* a, const double* b, std::size_t n)
{
    std::size_t i = 0;
    for (; n - i >= 8; i += 8) {
        mult_block<Access>(dst + i, a + i, b + i);
        mult_block<Access>(dst + i + 2, a + i + 2, b + i + 2);
        mult_block<Access>(dst + i + 4, a + i + 4, b + i + 4);
        mult_block<Access>(dst + i + 6, a + i + 6, b + i + 6);
    }
    for (; n - i >= 2; i += 2)
        mult_block<Access>(dst + i, a + i, b + i);
    return i;
}

} // namespace

// all three at the same offset modulo 16:
//   head    single elements until a is 16-byte aligned; one that is not 8-byte aligned never is
//   blocks  2 elements, aligned
// otherwise:
//   blocks  2 elements, unaligned, from element 0
// tail      a single element
void mult_f64_sse2(double* dst, const double* a, const double* b, size_t n)
{
    std::size_t i = 0;
    if (same_offset<16>(dst, a) && same_offset<16>(a, b)) {
        for (; n != 0 && !aligned<16>(a); --n)
            *dst++ = mul(*a++, *b++);
        i = mult_blocks<Aligned>(dst, a, b, n);
    } else {
        i = mult_blocks<Unaligned>(dst, a, b, n);
    }

    for (; i != n; ++i)
        dst[i] = mul(a[i], b[i]);
}
