// python/binding/plain.cpp: kernels where they give the plain result, cut into parts that suit them, and
// loops where they do not.
#include "binding/plain.h"

#include "binding/call.h"
#include "libsimd.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace binding {
namespace {

using H = py::handle;

constexpr std::size_t chunk = 4096; // elements that stay in the first-level cache
constexpr std::size_t part = 512;   // elements that a float can sum without much loss

/// A kernel's function, if it may be called.
template <class Fn>
Fn* entry(const char* name)
{
    const Kernel& k = kernel(name);
    Call(k).must_be_available(k);
    return reinterpret_cast<Fn*>(k.address());
}

template <class T>
View view(H given, const char* name, unsigned traits = read)
{
    static const Kernel plain{"libsimd", "", "", true, {}};
    return Call(plain).array<T>(given, name, traits);
}

/// As wide as T, so that the compiler compares a vector at a time.
template <class T>
using Mask = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;

template <class T>
bool any_nan(const T* x, std::size_t n)
{
    Mask<T> found = 0;
    for (std::size_t i = 0; i < n; ++i)
        found |= x[i] != x[i] ? ~Mask<T>{0} : Mask<T>{0};
    return found != 0;
}

/// Minimum and maximum of at least one element, NaN if there is any.
template <class T>
std::pair<T, T> extremes(H given)
{
    const View v = view<T>(given, "x", one_at_least);
    const T* x = v.as<T>();
    std::size_t n = v.count;
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        auto* const least = entry<min_u8_fn>("min_u8");
        auto* const most = entry<max_u8_fn>("max_u8");
        const Unlocked unlocked;
        return {least(x, n), most(x, n)};
    } else if constexpr (std::is_same_v<T, std::int16_t>) {
        auto* const both = entry<minmax_s16_fn>("minmax_s16");
        const Unlocked unlocked;
        std::pair<T, T> result;
        both(x, n, &result.first, &result.second);
        return result;
    } else {
        constexpr bool single = std::is_same_v<T, float>;
        using Fn = std::conditional_t<single, minmaxmed_f32_fn, minmaxmed_f64_fn>;
        auto* const all = entry<Fn>(single ? "minmaxmed_f32" : "minmaxmed_f64");
        const Unlocked unlocked;
        std::pair<T, T> result = {x[0], x[0]};
        // From an address off 16 bytes a variant may pass over the last element.
        const std::size_t aside = v.modulo(16) != 0 ? 1 : 0;
        T mean = x[0];
        if (n > aside) {
            std::pair<T, T> rest;
            all(x + aside, n - aside, &rest.first, &rest.second, &mean);
            result = {std::min(result.first, rest.first), std::max(result.second, rest.second)};
        }
        // A NaN makes the mean NaN; so do infinities of both signs.
        if ((std::isnan(mean) || std::isnan(x[0])) && any_nan(x, n))
            result.first = result.second = std::numeric_limits<T>::quiet_NaN();
        return result;
    }
}

/// The sum in double, of sums over parts.
template <class T>
double sum(H given)
{
    constexpr bool single = std::is_same_v<T, float>;
    using Fn = std::conditional_t<single, avg_f32_fn, avg_f64_fn>;
    const View v = view<T>(given, "x", any_address);
    auto* const mean = entry<Fn>(single ? "avg_f32" : "avg_f64");
    const Unlocked unlocked;
    double total = 0;
    for (std::size_t at = 0; at < v.count; at += part) {
        const std::size_t n = std::min(part, v.count - at);
        total += static_cast<double>(mean(v.as<T>() + at, n)) * static_cast<double>(n);
    }
    return total;
}

/// Sum and count of the elements up to a level.
template <class T>
std::pair<double, std::size_t> sum_below(H given, double level)
{
    constexpr bool single = std::is_same_v<T, float>;
    using Fn = std::conditional_t<single, avg_lvl_f32_fn, avg_lvl_f64_fn>;
    const View v = view<T>(given, "x");
    auto* const mean = entry<Fn>(single ? "avg_lvl_f32" : "avg_lvl_f64");
    auto most = static_cast<T>(level);
    if (static_cast<double>(most) > level) // the largest element type's number that is not above it
        most = std::nextafter(most, -std::numeric_limits<T>::infinity());
    const Unlocked unlocked;
    double total = 0;
    std::size_t count = 0;
    for (std::size_t at = 0; at < v.count; at += part) {
        const T* const x = v.as<T>() + at;
        const std::size_t n = std::min(part, v.count - at);
        std::uint32_t below = 0;
        for (std::size_t i = 0; i < n; ++i)
            below += x[i] <= most ? 1U : 0U;
        if (below != 0)
            total += static_cast<double>(mean(x, n, most)) * static_cast<double>(below);
        count += below;
    }
    return {total, count};
}

/// dst = the larger of dst and src; a NaN gives way to a number.
template <class T>
void raise(H dst, H src)
{
    constexpr bool single = std::is_same_v<T, float>;
    using Fn = std::conditional_t<single, max_array_f32_fn, max_array_f64_fn>;
    const View d = view<T>(dst, "peak", written);
    const View s = view<T>(src, "x");
    auto* const peak = entry<Fn>(single ? "max_array_f32" : "max_array_f64");
    const std::size_t all = std::min(d.count, s.count);
    const Unlocked unlocked;
    for (std::size_t at = 0; at < all; at += chunk) {
        T* const to = d.as<T>() + at;
        const T* const from = s.as<T>() + at;
        const std::size_t n = std::min(chunk, all - at);
        if (any_nan(to, n) || any_nan(from, n)) { // blocks and single elements differ
            for (std::size_t i = 0; i < n; ++i)
                if (from[i] > to[i] || std::isnan(to[i]))
                    to[i] = from[i];
        } else {
            peak(to, from, n);
        }
    }
}

/// 10 log10(in) - offset: through buffers of whole blocks on boundaries where the arrays are not
/// such; infinity stays infinity, which the blocks do not know.
void decibels_f32(H in, H out, float offset)
{
    const View i = view<float>(in, "p");
    const View o = view<float>(out, "out", written);
    auto* const log = entry<spec_log_f32_fn>("spec_log_f32");
    const std::size_t all = std::min(i.count, o.count);
    const Unlocked unlocked;
    alignas(32) float powers[chunk];
    alignas(32) float row[chunk];
    for (std::size_t at = 0; at < all; at += chunk) {
        const float* const from = i.as<float>() + at;
        float* const to = o.as<float>() + at;
        const std::size_t n = std::min(chunk, all - at);
        const std::size_t whole = std::max<std::size_t>((n + 7) / 8 * 8, 32);
        const bool fits = n == whole && i.modulo(32) == 0 && o.modulo(32) == 0;
        Mask<float> infinite = 0;
        for (std::size_t j = 0; j < n; ++j)
            infinite |= from[j] == std::numeric_limits<float>::infinity() ? 1U : 0U;
        if (infinite != 0 || !fits) {
            std::copy_n(from, n, powers);
            std::fill(powers + n, powers + whole, 1.0F);
            log(powers, whole, row, offset);
            for (std::size_t j = 0; j < n && infinite != 0; ++j)
                if (powers[j] == std::numeric_limits<float>::infinity())
                    row[j] = powers[j];
            std::copy_n(row, n, to);
        } else {
            log(from, n, to, offset);
        }
    }
}

void decibels_f64(H in, H out, double offset)
{
    const View i = view<double>(in, "p");
    const View o = view<double>(out, "out", written);
    auto* const log = entry<spec_log_f64_fn>("spec_log_f64");
    const Unlocked unlocked;
    log(i.as<double>(), std::min(i.count, o.count), o.as<double>(), offset);
}

/// out = re * re + im * im of n bins.
template <class T>
void squares(const T* z, std::size_t n, T* out)
{
    for (std::size_t i = 0; i < n; ++i)
        out[i] = z[2 * i] * z[2 * i] + z[2 * i + 1] * z[2 * i + 1];
}

/// Power of rows of n bins. Where the double kernel takes a row whole, it does; a loop gives the same
/// bits elsewhere, and for single precision, whose kernel mixes up the bins.
template <class T>
void power(H z, H out, std::size_t n, bool shifted)
{
    const View v = view<T>(z, "z", pairs);
    const View o = view<T>(out, "out", written);
    const std::size_t rows = n == 0 ? 0 : std::min(v.count, o.count) / n;
    fft_abs_f64_fn* kernel_of_rows = nullptr;
    if (std::is_same_v<T, double> && n % 8 == 0 && shifted &&
        kernel("fft_abs_f64").unavailable.empty())
        kernel_of_rows = entry<fft_abs_f64_fn>("fft_abs_f64");
    const Unlocked unlocked;
    for (std::size_t row = 0; row < rows; ++row) {
        const T* const from = v.as<T>() + 2 * n * row;
        T* const to = o.as<T>() + n * row;
        if constexpr (std::is_same_v<T, double>)
            if (kernel_of_rows != nullptr) {
                kernel_of_rows(from, n, to);
                continue;
            }
        const std::size_t first = shifted ? n / 2 : 0; // where bin 0 goes
        squares(from, n - first, to + first);
        squares(from + 2 * (n - first), first, to);
    }
}

/// Contiguous, in native byte order, and at a multiple of so many bytes.
bool suits(const py::array& a, std::size_t bytes)
{
    const char order =
        py::detail::array_descriptor_proxy(py::detail::array_proxy(a.ptr())->descr)->byteorder;
    return (a.flags() & py::array::c_style) != 0 && (order == '=' || order == '|') &&
           reinterpret_cast<std::uintptr_t>(a.data()) % bytes == 0;
}

} // namespace

void define_plain(py::module_& m)
{
    m.def("extremes_u8", &extremes<std::uint8_t>);
    m.def("extremes_s16", &extremes<std::int16_t>);
    m.def("extremes_f32", &extremes<float>);
    m.def("extremes_f64", &extremes<double>);
    m.def("sum_f32", &sum<float>);
    m.def("sum_f64", &sum<double>);
    m.def("sum_below_f32", &sum_below<float>);
    m.def("sum_below_f64", &sum_below<double>);
    m.def("raise_f32", &raise<float>);
    m.def("raise_f64", &raise<double>);
    m.def("decibels_f32", &decibels_f32);
    m.def("decibels_f64", &decibels_f64);
    m.def("power_f32", &power<float>);
    m.def("power_f64", &power<double>);
    m.def("suits", &suits);
}

} // namespace binding
