// memory/fill_sse.cpp: fill_f32 for SSE, 4 lanes. Same bits as the baseline.
#include "lanes/align.h"
#include "memory/fill.h"

// head    single elements until dst is 16-byte aligned; one that is not 4-byte aligned never is
// blocks  4 elements, aligned stores
// tail    single elements
void fill_f32_sse(float* dst, size_t n, float value)
{
    for (; n != 0 && !aligned<16>(dst); --n)
        *dst++ = value;

    const __m128 values = _mm_set1_ps(value);
    for (; n >= 16; n -= 16, dst += 16) {
        Aligned::store128(dst, values);
        Aligned::store128(dst + 4, values);
        Aligned::store128(dst + 8, values);
        Aligned::store128(dst + 12, values);
    }
    for (; n >= 4; n -= 4, dst += 4)
        Aligned::store128(dst, values);

    for (; n != 0; --n)
        *dst++ = value;
}
