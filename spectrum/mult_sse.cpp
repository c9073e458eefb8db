// spectrum/mult_sse.cpp: mult_f32 and mult_add_f32 for SSE, 4 lanes. Same bits as the baseline,
// but for products of two NaNs.
#include "spectrum/mult.h"

namespace {

// Of two NaNs a block keeps that of b, a single element that of a; kept, hosts depend on it.
template <class Access>
SIMD_INLINE void mult_block(float* dst, const float* a, const float* b)
{
    Access::store128(dst, mul(Access::load128(b), Access::load128(a)));
}

/// Whole blocks, as many as n has; returns the elements done.
template <class Access>
SIMD_INLINE std::size_t mult_blocks(float* dst, const float* a, const float* b, std::size_t n)
{
    std::size_t i = 0;
    for (; n - i >= 16; i += 16) {
        mult_block<Access>(dst + i, a + i, b + i);
        mult_block<Access>(dst + i + 4, a + i + 4, b + i + 4);
        mult_block<Access>(dst + i + 8, a + i + 8, b + i + 8);
        mult_block<Access>(dst + i + 12, a + i + 12, b + i + 12);
    }
    for (; n - i >= 4; i += 4)
        mult_block<Access>(dst + i, a + i, b + i);
    return i;
}

SIMD_INLINE void scaled_block(float* x, __m128 scale, __m128 offset)
{
    Aligned::store128(x, scaled(Aligned::load128(x), scale, offset));
}

} // namespace

// all three at the same offset modulo 16:
//   head    single elements until a is 16-byte aligned; one that is not 4-byte aligned never is
//   blocks  4 elements, aligned
// otherwise:
//   blocks  4 elements, unaligned, from element 0
// tail      single elements
void mult_f32_sse(float* dst, const float* a, const float* b, size_t n)
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

// head    single elements until x is 16-byte aligned; one that is not 4-byte aligned never is
// blocks  4 elements, aligned
// tail    single elements
void mult_add_f32_sse(float* x, size_t n, float scale, float offset)
{
    for (; n != 0 && !aligned<16>(x); --n, ++x)
        *x = scaled(*x, scale, offset);

    const __m128 scales = _mm_set1_ps(scale);
    const __m128 offsets = _mm_set1_ps(offset);
    for (; n >= 16; n -= 16, x += 16) {
        scaled_block(x, scales, offsets);
        scaled_block(x + 4, scales, offsets);
        scaled_block(x + 8, scales, offsets);
        scaled_block(x + 12, scales, offsets);
    }
    for (; n >= 4; n -= 4, x += 4)
        scaled_block(x, scales, offsets);

    for (; n != 0; --n, ++x)
        *x = scaled(*x, scale, offset);
}
