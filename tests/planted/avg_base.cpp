// avg_* as shipped, but for counts from 2^63 on, which become negative numbers.
#include "stats/fold.h"

template <class T>
SIMD_INLINE T as_signed_real(std::size_t n)
{
    return static_cast<T>(static_cast<std::ptrdiff_t>(n));
}

#define as_real as_signed_real
#include "stats/avg_base.cpp"
