// stats/minmax_avx2.cpp: min_* and max_* of u8 and s16 and minmax_s16 for AVX2, 32 and 16 lanes.
// The baseline's results.
#include "stats/minmax.h"

namespace {

// head    single elements until p is 32-byte aligned, into h
// blocks  32 elements, from the first aligned one on
// fold    halvings
// tail    single elements, into the folded lanes; at last the head
template <class Sel>
SIMD_INLINE std::uint8_t extreme_u8(const std::uint8_t* p, std::size_t n)
{
    int h = *p;
    for (; !aligned<32>(p); --n)
        h = Sel::of(*p++, h);

    const std::uint8_t* const rest = p + n / 32 * 32;
    __m256i v = Aligned::load256i(p);
    for (p += 32; p != rest; p += 32)
        v = Sel::u8(v, Aligned::load256i(p));

    int r = fold_u8<Sel>(Sel::u8(low(v), high(v)));
    _mm256_zeroupper();
    for (n %= 32; n != 0; --n)
        r = Sel::of(*p++, r);
    return static_cast<std::uint8_t>(Sel::of(r, h));
}

// As extreme_u8, in blocks of 16.
template <class Sel>
SIMD_INLINE std::int16_t extreme_s16(const std::int16_t* p, std::size_t n)
{
    std::int16_t h = *p;
    for (; !aligned<32>(p); --n)
        h = Sel::of(*p++, h);

    const std::int16_t* const rest = p + n / 16 * 16;
    __m256i v = Aligned::load256i(p);
    for (p += 16; p != rest; p += 16)
        v = Sel::s16(v, Aligned::load256i(p));

    std::int16_t r = fold_s16<Sel>(Sel::s16(low(v), high(v)));
    _mm256_zeroupper();
    for (n %= 16; n != 0; --n)
        r = Sel::of(*p++, r);
    return Sel::of(r, h);
}

} // namespace

uint8_t min_u8_avx2(const uint8_t* p, size_t n)
{
    if (n <= 63) {
        _mm256_zeroupper();
        return min_u8_base(p, n);
    }
    return extreme_u8<Min>(p, n);
}

uint8_t max_u8_avx2(const uint8_t* p, size_t n)
{
    if (n <= 63) {
        _mm256_zeroupper();
        return max_u8_base(p, n);
    }
    return extreme_u8<Max>(p, n);
}

int16_t min_s16_avx2(const int16_t* p, size_t n)
{
    if (n <= 31) {
        _mm256_zeroupper();
        return min_s16_base(p, n);
    }
    return extreme_s16<Min>(p, n);
}

int16_t max_s16_avx2(const int16_t* p, size_t n)
{
    if (n <= 31) {
        _mm256_zeroupper();
        return max_s16_base(p, n);
    }
    return extreme_s16<Max>(p, n);
}

// head    single elements until p is 32-byte aligned, into hmin and hmax
// blocks  16 elements, from the first aligned one on
// fold    as above, then joined with the head and stored
// tail    single elements, into the stored values
void minmax_s16_avx2(const int16_t* p, size_t n, int16_t* min, int16_t* max)
{
    if (n <= 31 || min == nullptr || max == nullptr) { // the baseline makes the null tests too
        _mm256_zeroupper();
        return minmax_s16_base(p, n, min, max);
    }

    std::int16_t hmin = *p;
    std::int16_t hmax = *p;
    for (; !aligned<32>(p); --n, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
    }

    const std::int16_t* const rest = p + n / 16 * 16;
    __m256i vmin = Aligned::load256i(p);
    __m256i vmax = vmin;
    for (p += 16; p != rest; p += 16) {
        const __m256i v = Aligned::load256i(p);
        vmin = Min::s16(vmin, v);
        vmax = Max::s16(vmax, v);
    }
    *min = minsel(fold_s16<Min>(Min::s16(low(vmin), high(vmin))), hmin);
    *max = maxsel(fold_s16<Max>(Max::s16(low(vmax), high(vmax))), hmax);
    _mm256_zeroupper();

    for (n %= 16; n != 0; --n)
        widen_range(*p++, min, max);
}
