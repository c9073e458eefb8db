// filter/iir1_avx.cpp: iir1_f32 (8 lanes) and iir1_f64 (4 lanes) for AVX. Same bits as the
// baseline.
#include "filter/iir1.h"

namespace {

template <class Access, class T, class Lanes>
SIMD_INLINE void average_block(const T* x, T* y, Lanes a)
{
    Access::store256(y, average(Access::load256(x), Access::load256(y), a));
}

template <class Access, class T, class Lanes>
SIMD_INLINE void average_blocks(const T*& x, std::size_t& n, T*& y, Lanes a)
{
    constexpr std::size_t lanes = sizeof(Lanes) / sizeof(T);
    for (; n >= 4 * lanes; n -= 4 * lanes, x += 4 * lanes, y += 4 * lanes) {
        average_block<Access>(x, y, a);
        average_block<Access>(x + lanes, y + lanes, a);
        average_block<Access>(x + 2 * lanes, y + 2 * lanes, a);
        average_block<Access>(x + 3 * lanes, y + 3 * lanes, a);
    }
    for (; n >= lanes; n -= lanes, x += lanes, y += lanes)
        average_block<Access>(x, y, a);
}

// up to `few` elements one by one; more:
// head    single elements until y is 32-byte aligned, if x is then too; no end test: y is aligned
//         to its element
// blocks  8 floats or 4 doubles, aligned accesses; unaligned, and no head, where x and y cannot
//         both be
// tail    single elements
template <class T, class Lanes>
SIMD_INLINE void iir1(const T* x, std::size_t n, T* y, T a, Lanes share, std::size_t few)
{
    if (n > few) {
        if (same_offset<32>(x, y)) {
            for (; !aligned<32>(y); --n, ++x, ++y)
                *y = average(*x, *y, a);
            average_blocks<Aligned>(x, n, y, share);
        } else {
            average_blocks<Unaligned>(x, n, y, share);
        }
    }
    average_each(x, n, y, a);
    _mm256_zeroupper();
}

} // namespace

void iir1_f32_avx(const float* x, size_t n, float* y, float a)
{
    iir1(x, n, y, a, _mm256_set1_ps(a), 31);
}

void iir1_f64_avx(const double* x, size_t n, double* y, double a)
{
    iir1(x, n, y, a, _mm256_set1_pd(a), 15); // not 31
}
