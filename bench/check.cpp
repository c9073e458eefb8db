#include "bench/check.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace bench {
namespace {

template <class T>
bool near(T want, T got, const Tolerance& allowed, std::size_t n)
{
    if constexpr (std::is_floating_point_v<T>) {
        if (want == got)
            return true;
        const double steps = allowed.units + allowed.root_n * std::sqrt(static_cast<double>(n));
        const double room =
            steps * static_cast<double>(std::numeric_limits<T>::epsilon() * std::fabs(want)) +
            allowed.absolute;
        return std::fabs(static_cast<double>(want) - static_cast<double>(got)) <= room;
    } else {
        using Unsigned = std::make_unsigned_t<T>; // codes of u16 kernels stand in an s16 array
        const auto up = static_cast<Unsigned>(want - got);
        const auto down = static_cast<Unsigned>(got - want);
        return std::min(up, down) <= static_cast<std::uint64_t>(allowed.codes);
    }
}

template <class T>
std::string first(const char* what, const T* want, const T* got, std::size_t count,
                  const Tolerance& allowed, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i)
        if (!near(want[i], got[i], allowed, n)) {
            char line[160];
            std::snprintf(line, sizeof line, "%s[%zu] is %.9g, not %.9g", what, i,
                          static_cast<double>(got[i]), static_cast<double>(want[i]));
            return line;
        }
    return "";
}

template <class T>
std::string first(const char* what, const Use& use, const Arrays& want, const Arrays& got,
                  const Tolerance& allowed, std::size_t n)
{
    return first(what, reinterpret_cast<const T*>(want.start(use)),
                 reinterpret_cast<const T*>(got.start(use)), use.per * got.n + Arrays::room,
                 use.direction == Direction::in ? Tolerance{} : allowed, n);
}

std::string first(const Use& use, const Arrays& want, const Arrays& got, const Tolerance& allowed,
                  std::size_t n)
{
    switch (use.kind) {
    case Kind::f64:
        return first<double>("f64 array", use, want, got, allowed, n);
    case Kind::f32:
        return first<float>("f32 array", use, want, got, allowed, n);
    case Kind::u8:
        return first<std::uint8_t>("u8 array", use, want, got, allowed, n);
    case Kind::s16:
    case Kind::other_s16:
        return first<std::int16_t>("s16 array", use, want, got, allowed, n);
    case Kind::u32:
    case Kind::other_u32:
        break;
    }
    return first<std::uint32_t>("u32 array", use, want, got, allowed, n);
}

/// Blocks of `block` bins of both halves, from the header's table.
void irregular_powers(const float* in, std::size_t n, float* out, bool avx)
{
    const std::size_t block = avx ? 8 : 4;
    for (std::size_t half = 0; half < 2; ++half)
        for (std::size_t i = 0; i < n / 2; i += block) {
            const float* c = in + 2 * (half * (n / 2) + i);
            float* to = out + (half == 0 ? n / 2 : 0) + i;
            const auto power = [c](std::size_t k) {
                return c[2 * k] * c[2 * k] + c[2 * k + 1] * c[2 * k + 1];
            };
            const std::size_t order[] = {0, 3, 2, 5, 2, 3, 6, 7};
            for (std::size_t k = 0; k < block && avx; ++k)
                to[k] = power(order[k]);
            for (std::size_t k = 0; k < 2 && !avx; ++k) {
                to[k] = c[4 * k] * c[4 * k] + c[4 * k + 2] * c[4 * k + 2];
                to[2 + k] = c[4 * k + 1] * c[4 * k + 1] + c[4 * k + 3] * c[4 * k + 3];
            }
        }
}

} // namespace

std::string difference(const Arrays& want, const Arrays& got, const Tolerance& allowed,
                       std::size_t n)
{
    for (const Use& use : got.uses)
        if (std::string text = first(use, want, got, allowed, n); !text.empty())
            return text;
    const Results& w = want.out;
    const Results& g = got.out;
    for (std::string text : {first("float result", w.f32, g.f32, 3, allowed, n),
                             first("double result", w.f64, g.f64, 3, allowed, n),
                             first("s16 result", w.s16, g.s16, 2, Tolerance{}, n),
                             first("u8 result", &w.u8, &g.u8, 1, Tolerance{}, n),
                             first("u64 result", &w.u64, &g.u64, 1, Tolerance{}, n)})
        if (!text.empty())
            return text;
    return "";
}

std::string difference(const std::vector<double>& want, const std::vector<double>& got,
                       const Tolerance& allowed, std::size_t n)
{
    if (want.size() != got.size())
        return "counts differ";
    return first("output", want.data(), got.data(), want.size(), allowed, n);
}

void apply_contract(const std::string& kernel, Level level, Place place, const Arrays& before,
                    Arrays& want)
{
    const std::size_t n = want.n;
    const bool off = place == Place::together; // by one element, so that heads run
    if (kernel == "fft_abs_f32" && level != Level::base)
        irregular_powers(before.f32[0] + (off ? 1 : 0), n,
                         want.f32[1] + (place == Place::aligned ? 0 : 1), level >= Level::avx);
    if (kernel == "iir1_f32" && level == Level::sse && off) // the head does not add back
        for (std::size_t i = 1; i < 4; ++i)
            want.f32[1][i] = (before.f32[0][i] - before.f32[1][i]) * 0.1F;
    if (kernel == "iir1_f64" && level == Level::sse2 && off)
        want.f64[1][1] = (before.f64[0][1] - before.f64[1][1]) * 0.1;
    if (kernel == "minmaxmed_f64" && level == Level::sse2 &&
        off) // an even count: the last is left out
        want.out.f64[2] -= before.f64[3][n] / static_cast<double>(n);
}

std::size_t checked_size(const Traits& traits, std::size_t n)
{
    return std::min(n, std::size_t{traits.last_bits_of_sums() ? 4096U : 262144U});
}

} // namespace bench
