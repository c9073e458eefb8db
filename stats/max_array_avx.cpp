// stats/max_array_avx.cpp: max_array_f32 and max_array_f64 for AVX, 8 and 4 lanes.
#include "stats/max_array.h"

namespace {

// Not the baseline's step: where the two are equal or one is NaN, src is stored; kept, hosts depend
// on it.
template <class Access, class T>
SIMD_INLINE void raise_block(T* dst, const T* src)
{
    Access::store256(dst, maxsel(Access::load256(dst), Access::load256(src)));
}

// Whole blocks of w, and all three past them.
template <class Access, class T>
SIMD_INLINE void raise_blocks(T*& dst, const T*& src, std::size_t& n)
{
    constexpr std::size_t w = 32 / sizeof(T);
    for (; n >= 4 * w; n -= 4 * w, dst += 4 * w, src += 4 * w) {
        raise_block<Access>(dst, src);
        raise_block<Access>(dst + w, src + w);
        raise_block<Access>(dst + 2 * w, src + 2 * w);
        raise_block<Access>(dst + 3 * w, src + 3 * w);
    }
    for (; n >= w; n -= w, dst += w, src += w)
        raise_block<Access>(dst, src);
}

// up to `few` elements singly; more:
// head    single elements until dst is 32-byte aligned, if src then is too
// blocks  8 or 4 elements: aligned accesses; or unaligned ones, from the first element on
// tail    single elements
template <class T>
SIMD_INLINE void raise_array(T* dst, const T* src, std::size_t n, std::size_t few)
{
    if (n > few) {
        if (same_offset<32>(dst, src)) {
            for (; n != 0 && !aligned<32>(dst); --n)
                raise_one(dst++, src++);
            raise_blocks<Aligned>(dst, src, n);
        } else {
            raise_blocks<Unaligned>(dst, src, n);
        }
    }
    _mm256_zeroupper();

    for (; n != 0; --n)
        raise_one(dst++, src++);
}

} // namespace

void max_array_f32_avx(float* dst, const float* src, size_t n) { raise_array(dst, src, n, 31); }

void max_array_f64_avx(double* dst, const double* src, size_t n) { raise_array(dst, src, n, 15); }
