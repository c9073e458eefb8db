// memory/fill_avx.cpp: fill_f32 for AVX, 8 lanes. Same bits as the baseline.
#include "lanes/align.h"
#include "memory/fill.h"

// head    single elements until dst is 32-byte aligned; one that is not 4-byte aligned never is
// blocks  8 elements, aligned stores
// tail    single elements
void fill_f32_avx(float* dst, size_t n, float value)
{
    for (; n != 0 && !aligned<32>(dst); --n)
        *dst++ = value;

    const __m256 values = _mm256_set1_ps(value);
    for (; n >= 32; n -= 32, dst += 32) {
        Aligned::store256(dst, values);
        Aligned::store256(dst + 8, values);
        Aligned::store256(dst + 16, values);
        Aligned::store256(dst + 24, values);
    }
    for (; n >= 8; n -= 8, dst += 8)
        Aligned::store256(dst, values);
    _mm256_zeroupper();

    for (; n != 0; --n)
        *dst++ = value;
}
