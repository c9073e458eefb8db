// stats/minmax_sse2.cpp: min_* and max_* of u8, s16 and f64, minmax_s16 and minmax_f64 for SSE2, 16
// bytes. The integer kernels give the baseline's results.
#include "stats/minmax.h"

namespace {

// head    single elements until p is 16-byte aligned, into h
// blocks  16 elements, from the first aligned one on
// fold    halvings
// tail    single elements, into the folded lanes; at last the head
template <class Sel>
SIMD_INLINE std::uint8_t extreme_u8(const std::uint8_t* p, std::size_t n)
{
    int h = *p;
    for (; !aligned<16>(p); --n)
        h = Sel::of(*p++, h);

    const std::uint8_t* const rest = p + n / 16 * 16;
    __m128i v = Aligned::load128i(p);
    for (p += 16; p != rest; p += 16)
        v = Sel::u8(v, Aligned::load128i(p));

    int r = fold_u8<Sel>(v);
    for (n %= 16; n != 0; --n)
        r = Sel::of(*p++, r);
    return static_cast<std::uint8_t>(Sel::of(r, h));
}

// As extreme_u8, in blocks of 8.
template <class Sel>
SIMD_INLINE std::int16_t extreme_s16(const std::int16_t* p, std::size_t n)
{
    std::int16_t h = *p;
    for (; !aligned<16>(p); --n)
        h = Sel::of(*p++, h);

    const std::int16_t* const rest = p + n / 8 * 8;
    __m128i v = Aligned::load128i(p);
    for (p += 8; p != rest; p += 8)
        v = Sel::s16(v, Aligned::load128i(p));

    std::int16_t r = fold_s16<Sel>(v);
    for (n %= 8; n != 0; --n)
        r = Sel::of(*p++, r);
    return Sel::of(r, h);
}

// head    up to one element, into h
// blocks  2 elements, from the first aligned one on
// fold    L1 with L0
// parity  with odd n the last element, into the folded lanes; at last the head, second operand
template <class Sel>
SIMD_INLINE double extreme_f64(const double* p, std::size_t n)
{
    const double* const last = p + (n - 1);
    const bool odd = n % 2 != 0;

    double h = *p;
    for (; !aligned<16>(p); --n)
        h = Sel::of(*p++, h);

    const double* const rest = p + n / 2 * 2;
    __m128d v = Aligned::load128(p);
    for (p += 2; p != rest; p += 2)
        v = Sel::of(v, Aligned::load128(p));

    double r = Sel::of(lane1(v), lane0(v));
    // Odd n, not an element left over: with a head, the last element is left out if n is even and
    // taken twice if n is odd; kept, hosts depend on it.
    if (odd)
        r = Sel::of(r, *last);
    return Sel::of(r, h);
}

} // namespace

uint8_t min_u8_sse2(const uint8_t* p, size_t n)
{
    if (n <= 31)
        return min_u8_base(p, n);
    return extreme_u8<Min>(p, n);
}

uint8_t max_u8_sse2(const uint8_t* p, size_t n)
{
    if (n <= 31)
        return max_u8_base(p, n);
    return extreme_u8<Max>(p, n);
}

int16_t min_s16_sse2(const int16_t* p, size_t n)
{
    if (n <= 15)
        return min_s16_base(p, n);
    return extreme_s16<Min>(p, n);
}

int16_t max_s16_sse2(const int16_t* p, size_t n)
{
    if (n <= 15)
        return max_s16_base(p, n);
    return extreme_s16<Max>(p, n);
}

// head    single elements until p is 16-byte aligned, into hmin and hmax
// blocks  8 elements, from the first aligned one on
// fold    as above, then joined with the head and stored
// tail    single elements, into the stored values
void minmax_s16_sse2(const int16_t* p, size_t n, int16_t* min, int16_t* max)
{
    if (n <= 15 || min == nullptr || max == nullptr) // the baseline makes the null tests too
        return minmax_s16_base(p, n, min, max);

    std::int16_t hmin = *p;
    std::int16_t hmax = *p;
    for (; !aligned<16>(p); --n, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
    }

    const std::int16_t* const rest = p + n / 8 * 8;
    __m128i vmin = Aligned::load128i(p);
    __m128i vmax = vmin;
    for (p += 8; p != rest; p += 8) {
        const __m128i v = Aligned::load128i(p);
        vmin = Min::s16(vmin, v);
        vmax = Max::s16(vmax, v);
    }
    *min = minsel(fold_s16<Min>(vmin), hmin);
    *max = maxsel(fold_s16<Max>(vmax), hmax);

    for (n %= 8; n != 0; --n)
        widen_range(*p++, min, max);
}

double min_f64_sse2(const double* p, size_t n)
{
    if (n <= 7)
        return min_f64_base(p, n);
    return extreme_f64<Min>(p, n);
}

double max_f64_sse2(const double* p, size_t n)
{
    if (n <= 7)
        return max_f64_base(p, n);
    return extreme_f64<Max>(p, n);
}

// head    up to one element, into hmin and hmax
// blocks  2 elements, from the first aligned one on
// fold    L0 with L1: the other way round than min_f64 and max_f64
// parity  as there, then joined with the head and stored
void minmax_f64_sse2(const double* p, size_t n, double* min, double* max)
{
    if (n <= 15 || min == nullptr || max == nullptr) // the baseline makes the null tests too
        return minmax_f64_base(p, n, min, max);

    const double* const last = p + (n - 1);
    const bool odd = n % 2 != 0;

    double hmin = *p;
    double hmax = *p;
    for (; !aligned<16>(p); --n, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
    }

    const double* const rest = p + n / 2 * 2;
    __m128d vmin = Aligned::load128(p);
    __m128d vmax = vmin;
    for (p += 2; p != rest; p += 2) {
        const __m128d v = Aligned::load128(p);
        vmin = minsel(vmin, v);
        vmax = maxsel(vmax, v);
    }

    double rmin = minsel(lane0(vmin), lane1(vmin));
    double rmax = maxsel(lane0(vmax), lane1(vmax));
    if (odd) { // in place of a tail, as in min_f64; kept
        rmin = minsel(rmin, *last);
        rmax = maxsel(rmax, *last);
    }
    *min = minsel(rmin, hmin);
    *max = maxsel(rmax, hmax);
}
