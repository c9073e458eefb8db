// spectrum/mult_avx.cpp: mult_f32 and mult_add_f32 (8 lanes) and mult_f64 (4 lanes) for AVX. Same
// bits as the baseline, but for products of two NaNs.
#include "spectrum/mult.h"

namespace {

// Of two NaNs a block keeps that of b, a single element that of a; kept, hosts depend on it.
template <class Access, class T>
SIMD_INLINE void mult_block(T* dst, const T* a, const T* b)
{
    Access::store256(dst, mul(Access::load256(b), Access::load256(a)));
}

/// Whole blocks, as many as n has; returns the elements done.
template <class Access, class T>
SIMD_INLINE std::size_t mult_blocks(T* dst, const T* a, const T* b, std::size_t n)
{
    constexpr std::size_t lanes = 32 / sizeof(T);
    std::size_t i = 0;
    for (; n - i >= 4 * lanes; i += 4 * lanes) {
        mult_block<Access>(dst + i, a + i, b + i);
        mult_block<Access>(dst + i + lanes, a + i + lanes, b + i + lanes);
        mult_block<Access>(dst + i + 2 * lanes, a + i + 2 * lanes, b + i + 2 * lanes);
        mult_block<Access>(dst + i + 3 * lanes, a + i + 3 * lanes, b + i + 3 * lanes);
    }
    for (; n - i >= lanes; i += lanes)
        mult_block<Access>(dst + i, a + i, b + i);
    return i;
}

// all three at the same offset modulo 32:
//   head    single elements until a is 32-byte aligned; off its type's alignment it never is
//   blocks  8 floats or 4 doubles, aligned
// otherwise:
//   blocks  8 floats or 4 doubles, unaligned, from element 0
// tail      single elements
template <class T>
SIMD_INLINE void mult(T* dst, const T* a, const T* b, std::size_t n)
{
    std::size_t i = 0;
    if (same_offset<32>(dst, a) && same_offset<32>(a, b)) {
        for (; n != 0 && !aligned<32>(a); --n)
            *dst++ = mul(*a++, *b++);
        i = mult_blocks<Aligned>(dst, a, b, n);
    } else {
        i = mult_blocks<Unaligned>(dst, a, b, n);
    }
    _mm256_zeroupper();

    for (; i != n; ++i)
        dst[i] = mul(a[i], b[i]);
}

SIMD_INLINE void scaled_block(float* x, __m256 scale, __m256 offset)
{
    Aligned::store256(x, scaled(Aligned::load256(x), scale, offset));
}

} // namespace

void mult_f32_avx(float* dst, const float* a, const float* b, size_t n) { mult(dst, a, b, n); }

void mult_f64_avx(double* dst, const double* a, const double* b, size_t n) { mult(dst, a, b, n); }

// head    single elements until x is 32-byte aligned; one that is not 4-byte aligned never is
// blocks  8 elements, aligned
// tail    single elements
void mult_add_f32_avx(float* x, size_t n, float scale, float offset)
{
    for (; n != 0 && !aligned<32>(x); --n, ++x)
        *x = scaled(*x, scale, offset);

    const __m256 scales = _mm256_set1_ps(scale);
    const __m256 offsets = _mm256_set1_ps(offset);
    for (; n >= 32; n -= 32, x += 32) {
        scaled_block(x, scales, offsets);
        scaled_block(x + 8, scales, offsets);
        scaled_block(x + 16, scales, offsets);
        scaled_block(x + 24, scales, offsets);
    }
    for (; n >= 8; n -= 8, x += 8)
        scaled_block(x, scales, offsets);
    _mm256_zeroupper();

    for (; n != 0; --n, ++x)
        *x = scaled(*x, scale, offset);
}
