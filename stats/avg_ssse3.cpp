// stats/avg_ssse3.cpp: avg_abs_s16 for SSSE3, 8 lanes. The baseline's result while no lane wraps.
#include "stats/avg.h"

namespace {

/// L0 to L3 of eight 16-bit lanes, zero-extended by SSE4.1's instruction.
DEMANDS_SSE41 SIMD_INLINE __m128i widen_low(__m128i v)
{
    __m128i r;
    asm("pmovzxwd %1, %0" : "=x"(r) : "x"(v));
    return r;
}

/// The magnitudes of 8 elements at an aligned address, which the instruction asks for.
SIMD_INLINE __m128i magnitudes(const std::int16_t* x)
{
    __m128i r;
    asm("pabsw %1, %0" : "=x"(r) : "m"(*reinterpret_cast<const __m128i*>(x)));
    return r;
}

/// A 32-bit lane, by SSE4.1's instruction.
template <int lane>
DEMANDS_SSE41 SIMD_INLINE std::uint64_t extract(__m128i v)
{
    std::uint32_t r;
    asm("pextrd %2, %1, %0" : "=r"(r) : "x"(v), "i"(lane));
    return r;
}

DEMANDS_SSE41 SIMD_INLINE std::uint64_t fold(__m128i v)
{
    return extract<0>(v) + extract<1>(v) + extract<2>(v) + extract<3>(v);
}

} // namespace

// up to 15 elements singly; more:
// head    single elements until x is 16-byte aligned; no end test: x is 2-byte aligned
// blocks  8 elements, into 32-bit lanes, which wrap from 2^32 on; kept
// fold    the lanes in 64 bits, with the head
// tail    single elements
DEMANDS_SSE41 uint64_t avg_abs_s16_ssse3(const int16_t* x, size_t n)
{
    std::size_t left = n;
    std::uint64_t total = 0;
    if (n > 15) {
        for (; !aligned<16>(x); --left)
            total += magnitude(*x++);

        const std::int16_t* const rest = x + left / 8 * 8;
        const __m128i zero = _mm_setzero_si128();
        __m128i lower = zero;
        __m128i upper = zero;
        for (; x != rest; x += 8) {
            const __m128i v = magnitudes(x);
            lower = _mm_add_epi32(lower, widen_low(v));
            upper = _mm_add_epi32(upper, _mm_unpackhi_epi16(v, zero));
        }
        total += fold(lower) + fold(upper);
        left %= 8;
    }
    for (; left != 0; --left)
        total += magnitude(*x++);
    return mean_magnitude(total, n);
}
