/**
 * @file libsimd.hpp
 * @brief The kernels of libsimd.h for C++20: arrays that know their size, any length, any alignment.
 *
 *     simd::aligned_vector<float> samples(4096);
 *     std::vector<std::int16_t> codes(samples.size());
 *     const auto [step, mid] = simd::pack_s16(samples, codes);
 *
 * A function bears its kernel's name without the suffixes that the types of its arguments tell;
 * conversions keep the type of the codes: pack_f32_s16 and pack_f64_s16 are simd::pack_s16. Arguments
 * stand in C's order, without counts, out-pointers and what the sizes tell. Header only; link libsimd.
 *
 * - Arrays are contiguous ranges: std::span, std::vector, std::array, C arrays. One call takes floats
 *   or doubles, not both.
 * - Results are the kernel's, bit for bit, as libsimd.h states them for the level in use. Where the
 *   kernel would fault, leave its arrays, or compute something else than its name says, the function
 *   splits the call, passes ends through a small aligned buffer, or computes by itself; "Kept safe:" in
 *   its description then says what, and which bits that gives. No function allocates memory.
 * - simd::raw has the 53 kernels themselves under their own names.
 * - simd::bad_argument is thrown, before anything is written, if sizes do not match, a pointer is null
 *   or not aligned to its element, or an array that is written overlaps another one. The same array may
 *   be given twice only where the description says so.
 * - simd::unsupported is thrown if the entry is null, if the installed variant uses instructions that
 *   the processor does not report, or if the operating system has not enabled the AVX registers. This is
 *   found out once for each kernel, and again if the host puts another function into the entry; such a
 *   function is trusted to run here, and to take what the variant that it replaces takes.
 */
#ifndef LIBSIMD_HPP
#define LIBSIMD_HPP

#include "libsimd.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <complex>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <emmintrin.h>
#include <limits>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace simd {

/** Sizes that do not match, arrays that overlap, pointers that are null or misaligned. */
class bad_argument : public std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

/** A kernel that cannot run on this processor or under this operating system. */
class unsupported : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** Memory that starts on a cache line, so that every kernel takes its aligned path. */
template <class T>
struct aligned_allocator {
    using value_type = T;
    static constexpr std::align_val_t alignment{std::max<std::size_t>(64, alignof(T))};

    aligned_allocator() = default;
    template <class U>
    constexpr aligned_allocator(const aligned_allocator<U>&) noexcept
    {
    }
    [[nodiscard]] T* allocate(std::size_t n)
    {
        if (n > std::numeric_limits<std::size_t>::max() / sizeof(T))
            throw std::bad_array_new_length();
        return static_cast<T*>(::operator new(n * sizeof(T), alignment));
    }
    void deallocate(T* p, std::size_t) noexcept { ::operator delete(p, alignment); }
    template <class U>
    bool operator==(const aligned_allocator<U>&) const noexcept
    {
        return true;
    }
};

/** A std::vector whose elements start on a cache line. */
template <class T>
using aligned_vector = std::vector<T, aligned_allocator<T>>;

/** The kernels as libsimd.h declares them, irregularities and all. */
namespace raw {
using ::avg_abs_s16, ::avg_f32, ::avg_f64, ::avg_lvl_f32, ::avg_lvl_f64;
using ::fft_abs_f32, ::fft_abs_f64, ::fill_f32, ::iir1_f32, ::iir1_f64;
using ::fir_c16_alt, ::fir_c32_alt, ::fir_c64_alt, ::fir_step_c32, ::fir_step_c64;
using ::max_array_f32, ::max_array_f64, ::max_f32, ::max_f64, ::max_s16, ::max_u8;
using ::memcpy_fast, ::min_f32, ::min_f64, ::min_s16, ::min_u8;
using ::minmax_f32, ::minmax_f64, ::minmax_s16, ::minmaxmed_f32, ::minmaxmed_f64;
using ::mix_f64, ::mult_add_f32, ::mult_f32, ::mult_f64, ::spec_log_f32, ::spec_log_f64;
using ::pack_f32_s16, ::pack_f32_u8, ::pack_f64_s16, ::pack_f64_u16, ::pack_f64_u8;
using ::swap_words_u32, ::vfilter2_chunk, ::vfilter_f32, ::vfilter_f64;
using ::unpack_alt_s16_f64, ::unpack_cmb_s16_f64, ::unpack_s16_f32, ::unpack_s16_f64;
using ::unpack_u16_f64, ::unpack_u8_f32, ::unpack_u8_f64;
} // namespace raw

/** The element type of an array. */
template <class R>
using element_of = std::remove_cvref_t<std::ranges::range_reference_t<R>>;

/** Whether an element type is among the types T. */
template <class Element, class... T>
inline constexpr bool one_of = (std::is_same_v<Element, T> || ...);

/** A contiguous array of one of the types T. */
template <class R, class... T>
concept array_of =
    std::ranges::contiguous_range<R> && std::ranges::sized_range<R> && one_of<element_of<R>, T...>;

/** The same, not const. */
template <class R, class... T>
concept writable_array_of = array_of<R, T...> &&
    !std::is_const_v<std::remove_reference_t<std::ranges::range_reference_t<R>>>;

/** An array of the same elements as another. */
template <class R, class Other>
concept array_like = array_of<R, element_of<Other>>;

/** What the pack functions find: x = code * step + offset. */
template <class T>
struct quantisation {
    T step, offset;
};
/** The smallest and the largest element. */
template <class T>
struct extremes {
    T min, max;
};
/** The smallest and the largest element, and the mean. */
template <class T>
struct summary {
    T min, max, mean;
};
/** One output of a complex filter. */
template <class T>
struct sample {
    T re, im;
};

namespace detail {

// --- What may be called -------------------------------------------------------------------------

// Levels, in the order in which the library installs them; and, shifted by `runs`, the sets whose
// instructions may be executed: SSE3 and SSE4.1 as reported, AVX if the operating system enables it.
enum : unsigned {
    base = 1,
    sse = 2,
    sse2 = 4,
    sse3 = 8,
    ssse3 = 16,
    sse41 = 32,
    avx = 64,
    avx2 = 128,
    runs = 8
};

// The levels that most kernels have.
inline constexpr unsigned floats = base | sse | avx, doubles = base | sse2 | avx,
                          integers = base | sse2 | avx2;

struct cpuid_words {
    std::uint32_t eax, ebx, ecx, edx;
};

// Which levels the library has installed: its own rule, leaf 7 with the ECX of the leaf-0 query, and bit 5
// of leaf 1 without a leaf 7.
template <class Cpuid, class Xcr0>
unsigned reported_levels(Cpuid cpuid, Xcr0 xcr0)
{
    const cpuid_words top = cpuid(0, 0);
    if (top.eax == 0)
        return base;
    const cpuid_words one = cpuid(1, top.ecx);
    const cpuid_words seven = top.eax < 7 ? one : cpuid(7, top.ecx);
    const auto bit = [](std::uint32_t word, int n, unsigned level) {
        return (word >> n & 1) * level;
    };
    const unsigned levels = base | bit(one.edx, 25, sse) | bit(one.edx, 26, sse2) |
                            bit(one.ecx, 0, sse3) | bit(one.ecx, 9, ssse3) |
                            bit(one.ecx, 19, sse41) | bit(one.ecx, 28, avx) |
                            bit(seven.ebx, 5, avx2);
    const bool enabled = bit(one.ecx, 27, 1) != 0 && (xcr0() & 6) == 6;
    return levels | (levels & (sse3 | sse41)) << runs | bit(enabled, 0, avx << runs);
}

inline unsigned reported_here()
{
    return reported_levels(
        [](std::uint32_t leaf, std::uint32_t subleaf) {
            cpuid_words out;
            asm volatile("cpuid"
                         : "=a"(out.eax), "=b"(out.ebx), "=c"(out.ecx), "=d"(out.edx)
                         : "0"(leaf), "2"(subleaf));
            return out;
        },
        [] {
            std::uint32_t low, high;
            asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
            return low;
        });
}

inline std::atomic<unsigned> reported{0}; // 0: not yet asked

[[noreturn, gnu::cold, gnu::noinline]] inline void refuse(const char* who, const std::string& what)
{
    throw bad_argument("simd::" + std::string(who) + ": " + what);
}

// Whether the host has put a function of its own into an entry: it lies in another file than the one
// variant of spec_log_f64.
inline bool replaced(const void* function)
{
    Dl_info its, ours;
    return dladdr(function, &its) == 0 ||
           dladdr(reinterpret_cast<void*>(::spec_log_f64), &ours) == 0 ||
           its.dli_fbase != ours.dli_fbase;
}

// An entry, the levels that it has variants for, and the levels whose variants also use SSE3 and SSE4.1.
template <auto& entry, unsigned levels, unsigned with_sse3 = 0, unsigned with_sse41 = 0>
struct kernel {
    using function = std::remove_reference_t<decltype(entry)>;

    // The entry's function, known to run here.
    [[gnu::always_inline]] static function get(const char* who)
    {
        const function f = entry;
        if (reinterpret_cast<std::uintptr_t>(f) != checked_.load(std::memory_order_acquire))
            [[unlikely]]
            check(who, f);
        return f;
    }
    // The level of the installed variant; after get().
    static unsigned level() { return level_.load(std::memory_order_relaxed); }

private:
    [[gnu::cold, gnu::noinline]] static void check(const char* who, function f)
    {
        const auto missing = [&](const char* what) {
            throw unsupported("simd::" + std::string(who) + ": " + what);
        };
        checked_.store(nothing, std::memory_order_relaxed);
        if (f == nullptr)
            missing("the library has no variant for this processor");
        unsigned here = reported.load(std::memory_order_relaxed);
        if (here == 0)
            reported.store(here = reported_here(), std::memory_order_relaxed);
        const unsigned level = std::bit_floor(levels & here);
        if (!replaced(reinterpret_cast<const void*>(f))) {
            if (level >= avx && (here & avx << runs) == 0)
                missing("the operating system has not enabled the AVX registers");
            if ((level & with_sse3) != 0 && (here & sse3 << runs) == 0)
                missing("the installed variant uses SSE3, which the processor does not report");
            if ((level & with_sse41) != 0 && (here & sse41 << runs) == 0)
                missing("the installed variant uses SSE4.1, which the processor does not report");
        }
        level_.store(level, std::memory_order_relaxed);
        checked_.store(reinterpret_cast<std::uintptr_t>(f), std::memory_order_release);
    }

    static constexpr std::uintptr_t nothing = 1; // no function, and not null either
    static inline std::atomic<std::uintptr_t> checked_{nothing};
    static inline std::atomic<unsigned> level_{0};
};

// The entries: a declaration each, chosen by the element types and never defined.
kernel<::fill_f32, floats> fill_kernel(float);
kernel<::memcpy_fast, integers, 0, sse2> memcpy_kernel();
kernel<::swap_words_u32, integers | ssse3> swap_words_kernel();
kernel<::pack_f32_u8, integers | avx> pack_kernel(float, std::uint8_t);
kernel<::pack_f32_s16, integers | avx> pack_kernel(float, std::int16_t);
kernel<::pack_f64_u8, doubles, sse2> pack_kernel(double, std::uint8_t);
kernel<::pack_f64_s16, doubles, sse2> pack_kernel(double, std::int16_t);
kernel<::pack_f64_u16, doubles | ssse3 | sse41, sse2> pack_kernel(double, std::uint16_t);
kernel<::unpack_u8_f32, integers | avx, 0, sse2> unpack_kernel(std::uint8_t, float);
kernel<::unpack_s16_f32, sse2 | avx | avx2> unpack_kernel(std::int16_t, float);
kernel<::unpack_u8_f64, doubles, sse2, sse2> unpack_kernel(std::uint8_t, double);
kernel<::unpack_s16_f64, doubles, sse2> unpack_kernel(std::int16_t, double);
kernel<::unpack_u16_f64, doubles, sse2, sse2> unpack_kernel(std::uint16_t, double);
kernel<::unpack_alt_s16_f64, doubles | ssse3, sse2> unpack_alt_kernel();
kernel<::unpack_cmb_s16_f64, doubles, sse2> unpack_cmb_kernel();
kernel<::min_u8, integers> min_kernel(std::uint8_t);
kernel<::max_u8, integers> max_kernel(std::uint8_t);
kernel<::min_s16, integers> min_kernel(std::int16_t);
kernel<::max_s16, integers> max_kernel(std::int16_t);
kernel<::minmax_s16, integers> minmax_kernel(std::int16_t);
kernel<::min_f32, floats> min_kernel(float);
kernel<::max_f32, floats> max_kernel(float);
kernel<::minmax_f32, floats> minmax_kernel(float);
kernel<::min_f64, doubles> min_kernel(double);
kernel<::max_f64, doubles> max_kernel(double);
kernel<::minmax_f64, doubles> minmax_kernel(double);
kernel<::avg_f32, floats> avg_kernel(float);
kernel<::avg_f64, doubles, sse2> avg_kernel(double);
kernel<::avg_lvl_f32, doubles | avx2> avg_lvl_kernel(float);
kernel<::avg_lvl_f64, doubles | avx2, sse2, sse2> avg_lvl_kernel(double);
kernel<::avg_abs_s16, base | ssse3 | avx2, 0, ssse3> avg_abs_kernel();
kernel<::minmaxmed_f32, floats> minmaxmed_kernel(float);
kernel<::minmaxmed_f64, doubles> minmaxmed_kernel(double);
kernel<::max_array_f32, floats> max_array_kernel(float);
kernel<::max_array_f64, doubles> max_array_kernel(double);
kernel<::mult_f32, floats> mult_kernel(float);
kernel<::mult_f64, doubles> mult_kernel(double);
kernel<::mult_add_f32, floats> mult_add_kernel(float);
kernel<::mix_f64, doubles> mix_kernel();
kernel<::fft_abs_f32, floats> fft_abs_kernel(float);
kernel<::fft_abs_f64, doubles | sse3> fft_abs_kernel(double);
kernel<::spec_log_f32, integers, 0, base | sse2> spec_log_kernel(float);
kernel<::spec_log_f64, base> spec_log_kernel(double);
kernel<::fir_step_c32, floats> fir_step_kernel(float);
kernel<::fir_step_c64, doubles> fir_step_kernel(double);
kernel<::iir1_f32, floats> iir1_kernel(float);
kernel<::iir1_f64, doubles, sse2> iir1_kernel(double);
kernel<::vfilter_f32, floats> vfilter_kernel(float);
kernel<::vfilter_f64, doubles> vfilter_kernel(double);
kernel<::vfilter2_chunk, integers> vfilter2_kernel(float);

// --- What may be passed -------------------------------------------------------------------------

template <class R>
[[gnu::always_inline]] inline auto view(R&& r)
{
    return std::span<std::remove_reference_t<std::ranges::range_reference_t<R>>>(
        std::ranges::data(r), std::ranges::size(r));
}

template <class T>
std::uintptr_t address(const T* p)
{
    return reinterpret_cast<std::uintptr_t>(p);
}

// Bytes, 0 to `width` - 1, that p lies beyond a multiple of `width`.
template <class T>
std::size_t past(const T* p, std::size_t width)
{
    return address(p) & (width - 1);
}

// Elements from p to the next multiple of `width`, at most n.
template <class T>
std::size_t head(const T* p, std::size_t n, std::size_t width)
{
    return std::min(n, (width - past(p, width)) % width / sizeof(T));
}

// One array of a call: what it is, and how many elements are wanted.
struct argument {
    const char* name;
    std::uintptr_t at;
    std::size_t n, wanted, element, alignment;
    bool written;

    std::size_t bytes() const { return n * element; }
    // Whether bytes are common to both.
    [[gnu::always_inline]] bool meets(const argument& other) const
    {
        return (other.at - at < bytes() && other.n != 0) ||
               (at - other.at < other.bytes() && n != 0);
    }
};

template <class T>
[[gnu::always_inline]] inline argument in(const char* name, std::span<T> s, std::size_t wanted)
{
    return {name, address(s.data()), s.size(), wanted, sizeof(T), alignof(T), false};
}
template <class T>
[[gnu::always_inline]] inline argument out(const char* name, std::span<T> s, std::size_t wanted)
{
    return {name, address(s.data()), s.size(), wanted, sizeof(T), alignof(T), true};
}

// Whether an array that is written may be the same as another.
enum class sharing { none, whole };

// Whether one of the two is written and they meet.
template <sharing allowed>
[[gnu::always_inline]] inline bool clash(const argument& a, const argument& b)
{
    return (a.written || b.written) && (allowed == sharing::none || a.at != b.at) && a.meets(b);
}
template <sharing allowed, class... A>
[[gnu::always_inline]] inline bool clashes(const argument& a, const A&... others)
{
    return (clash<allowed>(a, others) || ...);
}
template <sharing allowed>
bool any_clash()
{
    return false;
}
template <sharing allowed, class... A>
[[gnu::always_inline]] inline bool any_clash(const argument& a, const A&... others)
{
    return clashes<allowed>(a, others...) || any_clash<allowed>(others...);
}

// Says what is wrong.
[[noreturn, gnu::cold, gnu::noinline]] inline void refuse(const char* who, const argument* all,
                                                          std::size_t count)
{
    for (const argument* a = all; a != all + count; ++a) {
        const std::string name(a->name);
        if (a->n != a->wanted)
            refuse(who, name + " has " + std::to_string(a->n) + " elements, wanted are " +
                            std::to_string(a->wanted));
        if (a->at == 0 && a->n != 0)
            refuse(who, name + " is null");
        if ((a->at & (a->alignment - 1)) != 0)
            refuse(who, name + " is not aligned to its elements");
    }
    refuse(who, "an array that is written overlaps another");
}

// Checks the arrays of a call, in a few instructions each.
template <sharing allowed = sharing::none, class... A>
[[gnu::always_inline]] inline void need(const char* who, const A&... a)
{
    if (((a.n != a.wanted) || ...) || ((a.at & (a.alignment - 1)) | ...) != 0 ||
        ((a.at == 0 && a.n != 0) || ...) || any_clash<allowed>(a...)) [[unlikely]] {
        const argument all[] = {a...};
        refuse(who, all, sizeof...(A));
    }
}

inline void need_some(const char* who, std::size_t n)
{
    if (n == 0) [[unlikely]]
        refuse(who, "x is empty");
}

// A product that no compiler fuses with the sum it goes to.
template <class T>
T rounded(T product)
{
    asm("" : "+x"(product));
    return product;
}

} // namespace detail

/** The parts of an array of complex samples: re, im, re, im, ... */
template <array_of<std::complex<float>, std::complex<double>> R>
auto parts(R&& samples)
{
    const auto s = detail::view(samples);
    using T = typename element_of<R>::value_type;
    using Part = std::conditional_t<writable_array_of<R, element_of<R>>, T, const T>;
    return std::span<Part>(reinterpret_cast<Part*>(s.data()), 2 * s.size());
}

/* ==== memory: fill, block copy, word swap ==================================================== */

/**
 * Fills an array of floats with one value.
 *
 * @param dst    written
 * @param value  stored in every element
 */
template <writable_array_of<float> D>
void fill(D&& dst, float value)
{
    const auto d = detail::view(dst);
    detail::need(__func__, detail::out("dst", d, d.size()));
    decltype(detail::fill_kernel(value))::get(__func__)(d.data(), d.size(), value);
}

/**
 * Copies an array past the caches, for large blocks that are not read soon. As with memcpy_fast, the
 * host fences (_mm_sfence) before it tells another thread of the data.
 *
 * @param dst  written; of any trivially copyable type
 * @param src  as many elements of the same type
 */
template <class D, array_like<D> S>
requires writable_array_of<D, element_of<D>> && std::is_trivially_copyable_v<element_of<D>>
void memcpy_fast(D&& dst, S&& src)
{
    const auto d = detail::view(dst);
    const auto s = detail::view(src);
    detail::need(__func__, detail::out("dst", d, d.size()), detail::in("src", s, d.size()));
    if (!d.empty())
        decltype(detail::memcpy_kernel())::get(__func__)(d.data(), s.data(), d.size_bytes());
}

/**
 * Exchanges the 16-bit halves of each word.
 *
 * Kept safe: the last words after the whole blocks, and all words if the arrays lie differently within
 * 16 bytes (AVX2: 32), are exchanged one by one. The bits are the same everywhere.
 *
 * @param src  words
 * @param dst  as many, written; may be src itself
 */
template <array_of<std::uint32_t> S, writable_array_of<std::uint32_t> D>
void swap_words(S&& src, D&& dst)
{
    using kernel = decltype(detail::swap_words_kernel());
    const auto s = detail::view(src);
    const auto d = detail::view(dst);
    const std::size_t n = s.size();
    detail::need<detail::sharing::whole>(__func__, detail::in("src", s, n),
                                         detail::out("dst", d, n));
    const auto run = kernel::get(__func__);
    const bool whole = ((detail::address(s.data()) | detail::address(d.data()) | 4 * n) & 31) == 0;
    if (whole || n <= 15 || kernel::level() == detail::base)
        return run(s.data(), n, d.data());
    const std::size_t width = kernel::level() == detail::avx2 ? 32 : 16, words = width / 4;
    const std::size_t at = detail::past(s.data(), width);
    std::size_t i = 0;
    if (at == detail::past(d.data(), width)) {
        const std::size_t head = detail::head(s.data(), n, width);
        i = head + (n - head) / words * words;
        run(s.data(), i, d.data());
    }
    for (; i < n; ++i)
        d[i] = std::rotl(s[i], 16);
}

/* ==== convert: floating point to integers and back, two-channel layouts ====================== */

namespace detail {

inline std::int32_t rounded_to_int(float x) { return _mm_cvtss_si32(_mm_set_ss(x)); }
inline std::int32_t rounded_to_int(double x) { return _mm_cvtsd_si32(_mm_set_sd(x)); }

// Whether the kernel's run of singles for dst would leave src off its alignment, and a block follow.
template <class T, class U>
bool pack_faults(unsigned level, std::span<const T> src, std::span<U> dst)
{
    constexpr bool f32_u8 = sizeof(T) == 4 && sizeof(U) == 1;
    constexpr bool f64_u16 = std::is_same_v<U, std::uint16_t>;
    if (!(f32_u8 && level == sse2) && !(f64_u16 && (level == ssse3 || level == sse41)))
        return false;
    const std::size_t first = head(src.data(), src.size(), 16);
    const U* const start = dst.data() + first;
    const std::size_t walk = (16 - past(start, 16)) % 16 / sizeof(U), block = 16 / sizeof(U);
    return past(start, 4) == 2 && src.size() - first >= walk + block;
}

// Whether the extremes of doubles at SSE2 are without the last one.
template <class T>
bool last_left_out(std::span<const T> x, std::size_t threshold)
{
    return std::is_same_v<T, double> && x.size() > threshold && x.size() % 2 == 0 &&
           past(x.data(), 16) == 8;
}

template <class T, class U>
quantisation<T> pack(const char* who, std::span<const T> src, std::span<U> dst);

} // namespace detail

/**
 * Quantises samples to 8 or 16 bits over their own range: x = code * step + offset. The offset is the
 * smallest sample (pack_u8, pack_u16) or the centre (pack_s16). Of nothing: step and offset are 0.
 *
 * Kept safe: where the kernel would fault (pack_u8 of floats at SSE2, pack_u16 at SSSE3 and SSE4.1, with
 * codes at 2 modulo 4 after the head), and where it leaves the last double out of the range (below AVX,
 * samples 8 bytes off a multiple of 16, an even count above 15), every code is that of a block: rounded
 * to nearest even and clamped; step and offset are those of the vector variants over the true extremes.
 *
 * @param src    samples, float or double (pack_u16: double)
 * @param codes  as many codes, written
 * @return       step and offset
 */
template <array_of<float, double> S, writable_array_of<std::uint8_t> D>
auto pack_u8(S&& src, D&& codes)
{
    return detail::pack<element_of<S>, std::uint8_t>(__func__, detail::view(src),
                                                     detail::view(codes));
}

/** As pack_u8, to signed 16 bits around the centre. */
template <array_of<float, double> S, writable_array_of<std::int16_t> D>
auto pack_s16(S&& src, D&& codes)
{
    return detail::pack<element_of<S>, std::int16_t>(__func__, detail::view(src),
                                                     detail::view(codes));
}

/** As pack_u8, from double to unsigned 16 bits. */
template <array_of<double> S, writable_array_of<std::uint16_t> D>
auto pack_u16(S&& src, D&& codes)
{
    return detail::pack<double, std::uint16_t>(__func__, detail::view(src), detail::view(codes));
}

namespace detail {

template <class U, class T>
void unpack(const char* who, std::span<const U> src, std::span<T> dst, T step, T offset)
{
    using kernel = decltype(unpack_kernel(U(), T()));
    need(who, in("codes", src, src.size()), out("dst", dst, src.size()));
    const auto run = kernel::get(who);
    if constexpr (sizeof(U) == 1 && sizeof(T) == 4)
        if (const std::size_t first = head(dst.data(), dst.size(), 16);
            kernel::level() == sse2 && past(src.data() + first, 4) == 2) {
            alignas(16) U codes[1024 + 16];
            U* const start = codes + (16 - first) % 16; // aligned when dst is
            for (std::size_t i = 0; i < src.size(); i += 1024) {
                const std::size_t n = std::min<std::size_t>(1024, src.size() - i);
                std::copy_n(src.data() + i, n, start);
                run(start, n, dst.data() + i, step, offset);
            }
            return;
        }
    run(src.data(), src.size(), dst.data(), step, offset);
}

} // namespace detail

/**
 * Restores samples: dst[i] = codes[i] * step + offset. The bits are the same at every level.
 *
 * Kept safe: where unpack_u8_f32 would fault (SSE2, codes at 2 modulo 4 when dst is aligned), the codes
 * pass through an aligned buffer.
 *
 * @param codes   as the pack function of the same name wrote them
 * @param dst     as many samples, float or double (unpack_u16: double), written
 * @param step    multiplier
 * @param offset  added to the product
 */
template <array_of<std::uint8_t> S, writable_array_of<float, double> D>
void unpack_u8(S&& codes, D&& dst, element_of<D> step, element_of<D> offset)
{
    detail::unpack<std::uint8_t, element_of<D>>(__func__, detail::view(codes), detail::view(dst),
                                                step, offset);
}

/** As unpack_u8, from signed 16 bits. */
template <array_of<std::int16_t> S, writable_array_of<float, double> D>
void unpack_s16(S&& codes, D&& dst, element_of<D> step, element_of<D> offset)
{
    detail::unpack<std::int16_t, element_of<D>>(__func__, detail::view(codes), detail::view(dst),
                                                step, offset);
}

/** As unpack_u8, from unsigned 16 bits to double. */
template <array_of<std::uint16_t> S, writable_array_of<double> D>
void unpack_u16(S&& codes, D&& dst, double step, double offset)
{
    detail::unpack<std::uint16_t, double>(__func__, detail::view(codes), detail::view(dst), step,
                                          offset);
}

/**
 * Splits interleaved 16-bit pairs: dst0[i] = src[2i] * scale + offset, dst1[i] from src[2i + 1]. The bits
 * are the same at every level.
 *
 * Kept safe: where the kernel would fault (src badly placed when both destinations are aligned), src
 * passes through an aligned buffer.
 *
 * @param src     two samples for each pair
 * @param dst0    one value for each pair, written
 * @param dst1    one value for each pair, written
 * @param scale   multiplier
 * @param offset  added to the product
 */
template <array_of<std::int16_t> S, writable_array_of<double> D0, writable_array_of<double> D1>
void unpack_alt_s16(S&& src, D0&& dst0, D1&& dst1, double scale, double offset)
{
    using kernel = decltype(detail::unpack_alt_kernel());
    const auto s = detail::view(src);
    const auto d0 = detail::view(dst0);
    const auto d1 = detail::view(dst1);
    const std::size_t n = d0.size();
    detail::need(__func__, detail::in("src", s, 2 * n), detail::out("dst0", d0, n),
                 detail::out("dst1", d1, n));
    const auto run = kernel::get(__func__);
    if (((detail::address(s.data()) | detail::address(d0.data()) | detail::address(d1.data())) &
         31) == 0)
        return run(s.data(), n, d0.data(), d1.data(), scale, offset);
    const std::size_t width = kernel::level() == detail::avx ? 32 : 16;
    const std::size_t first = detail::head(d0.data(), n, width);
    const bool together = detail::past(d0.data(), width) == detail::past(d1.data(), width);
    if (kernel::level() == detail::base || !together ||
        detail::past(s.data() + 2 * first, width / 2) != width / 4)
        return run(s.data(), n, d0.data(), d1.data(), scale, offset);
    alignas(32) std::int16_t pairs[2 * (256 + 8)];
    std::int16_t* const start = pairs + 2 * ((8 - first) % 8); // aligned when the destinations are
    for (std::size_t i = 0; i < n; i += 256) {
        const std::size_t m = std::min<std::size_t>(256, n - i);
        std::copy_n(s.data() + 2 * i, 2 * m, start);
        run(start, m, d0.data() + i, d1.data() + i, scale, offset);
    }
}

/**
 * Combines two 16-bit channels: dst[2i] = src0[i] * scale + offset, dst[2i + 1] from src1[i]. The bits are
 * the same at every level.
 *
 * Kept safe: where the kernel would fault (AVX, dst aligned, both sources at the same odd place), the
 * first pair has a call of its own.
 *
 * @param src0    samples of channel 0
 * @param src1    as many of channel 1; may be src0 itself
 * @param dst     two values for each pair, written
 * @param scale   multiplier
 * @param offset  added to the product
 */
template <array_of<std::int16_t> S0, array_of<std::int16_t> S1, writable_array_of<double> D>
void unpack_cmb_s16(S0&& src0, S1&& src1, D&& dst, double scale, double offset)
{
    const auto s0 = detail::view(src0);
    const auto s1 = detail::view(src1);
    const auto d = detail::view(dst);
    const std::size_t n = s0.size();
    detail::need(__func__, detail::in("src0", s0, n), detail::in("src1", s1, n),
                 detail::out("dst", d, 2 * n));
    const auto run = decltype(detail::unpack_cmb_kernel())::get(__func__);
    const bool first_alone = n != 0 && detail::past(d.data(), 32) == 0 &&
                             detail::past(s0.data(), 4) != 0 &&
                             detail::past(s0.data(), 32) == detail::past(s1.data(), 32);
    const std::size_t i = first_alone ? 1 : 0;
    if (first_alone)
        run(s0.data(), s1.data(), 1, d.data(), scale, offset);
    run(s0.data() + i, s1.data() + i, n - i, d.data() + 2 * i, scale, offset);
}

/* ==== stats: extremes, means, levels, running peaks ========================================== */

namespace detail {

// The kernel's extreme, with the last double that SSE2 may leave out. better(a, b): a is to replace b.
template <class Kernel, class T, class Better>
T extreme(const char* who, std::span<const T> x, Better better)
{
    need_some(who, x.size());
    need(who, in("x", x, x.size()));
    const auto run = Kernel::get(who);
    if (Kernel::level() == sse2 && last_left_out(x, 7)) {
        const T most = run(x.data(), x.size() - 1);
        return better(x.back(), most) ? x.back() : most;
    }
    return run(x.data(), x.size());
}

} // namespace detail

/**
 * Returns the smallest element, by the rules of min_f32 where elements are NaN.
 *
 * Kept safe: the last double, which SSE2 may leave out, is compared as a tail is. Throws bad_argument for
 * an empty array.
 *
 * @param x  uint8_t, int16_t, float or double; at least one
 */
template <array_of<std::uint8_t, std::int16_t, float, double> X>
auto min(X&& x)
{
    using T = element_of<X>;
    return detail::extreme<decltype(detail::min_kernel(T())), T>(__func__, detail::view(x),
                                                                 [](T a, T b) { return a < b; });
}

/**
 * As min, the largest element.
 *
 * Kept safe: the doubles before the first 32-byte boundary, which AVX skips, are compared as min does.
 */
template <array_of<std::uint8_t, std::int16_t, float, double> X>
auto max(X&& x)
{
    using T = element_of<X>;
    using kernel = decltype(detail::max_kernel(T()));
    const std::span<const T> v = detail::view(x);
    const T most = detail::extreme<kernel, T>(__func__, v, [](T a, T b) { return a > b; });
    if constexpr (std::is_same_v<T, double>)
        if (kernel::level() == detail::avx && v.size() > 15 && detail::past(v.data(), 32) != 0) {
            T head = v[0];
            for (const T element : v.subspan(1, detail::head(v.data(), v.size(), 32) - 1))
                head = element > head ? element : head;
            return most > head ? most : head;
        }
    return most;
}

/**
 * Returns the smallest and the largest element: const auto [low, high] = simd::minmax(x).
 *
 * Kept safe: the last double, which SSE2 may leave out, is compared as the baseline does. Throws
 * bad_argument for an empty array.
 *
 * @param x  int16_t, float or double; at least one
 */
template <array_of<std::int16_t, float, double> X>
auto minmax(X&& x)
{
    using T = element_of<X>;
    using kernel = decltype(detail::minmax_kernel(T()));
    const std::span<const T> v = detail::view(x);
    detail::need_some(__func__, v.size());
    detail::need(__func__, detail::in("x", v, v.size()));
    const auto run = kernel::get(__func__);
    extremes<T> found;
    const std::size_t last =
        kernel::level() == detail::sse2 && detail::last_left_out(v, 15) ? 1 : 0;
    run(v.data(), v.size() - last, &found.min, &found.max);
    for (const T element : v.last(last)) {
        found.min = found.min > element ? element : found.min;
        found.max = element > found.max ? element : found.max;
    }
    return found;
}

/** Returns the mean; of nothing, NaN. @param x  float or double */
template <array_of<float, double> X>
auto avg(X&& x)
{
    using T = element_of<X>;
    using kernel = decltype(detail::avg_kernel(T()));
    const auto v = detail::view(x);
    detail::need(__func__, detail::in("x", v, v.size()));
    return kernel::get(__func__)(v.data(), v.size());
}

/**
 * Returns the mean of the elements that do not exceed a level, a floor estimate; +0 if there are none.
 *
 * @param x      float or double
 * @param level  the largest value that counts
 */
template <array_of<float, double> X>
auto avg_lvl(X&& x, element_of<X> level)
{
    using T = element_of<X>;
    using kernel = decltype(detail::avg_lvl_kernel(T()));
    const auto v = detail::view(x);
    detail::need(__func__, detail::in("x", v, v.size()));
    return kernel::get(__func__)(v.data(), v.size(), level);
}

/**
 * Returns the mean absolute value of 16-bit samples, truncated; of nothing, 0.
 *
 * Kept safe: from 1048576 samples on the sums of the vector variants may wrap; they are then summed here.
 *
 * @param x  samples
 */
template <array_of<std::int16_t> X>
std::uint64_t avg_abs(X&& x)
{
    using kernel = decltype(detail::avg_abs_kernel());
    const auto v = detail::view(x);
    detail::need(__func__, detail::in("x", v, v.size()));
    const auto run = kernel::get(__func__);
    if (v.size() < 1048576)
        return run(v.data(), v.size());
    std::uint64_t total = 0;
    for (const std::int32_t sample : v)
        total += static_cast<std::uint32_t>(std::abs(sample));
    return total / v.size();
}

/**
 * Returns minimum, maximum and mean: const auto [low, high, mean] = simd::minmaxmed(x).
 *
 * Kept safe: where the kernel leaves the last double out or adds it twice (SSE2, more than 15 of them, 8
 * bytes off a multiple of 16), the extremes are those of simd::minmax, and the sum runs in order, as in the
 * baseline. Throws bad_argument for an empty array.
 *
 * @param x  float or double; at least one
 */
template <array_of<float, double> X>
auto minmaxmed(X&& x)
{
    using T = element_of<X>;
    using kernel = decltype(detail::minmaxmed_kernel(T()));
    const auto v = detail::view(x);
    detail::need_some(__func__, v.size());
    detail::need(__func__, detail::in("x", v, v.size()));
    const auto run = kernel::get(__func__);
    summary<T> found;
    if constexpr (std::is_same_v<T, double>)
        if (kernel::level() == detail::sse2 && v.size() > 15 && detail::past(v.data(), 16) == 8) {
            const auto [low, high] = minmax(v);
            T sum = v[0];
            for (const T element : v.subspan(1))
                sum = element + sum;
            return summary<T>{low, high, sum / static_cast<T>(v.size())};
        }
    run(v.data(), v.size(), &found.min, &found.max, &found.mean);
    return found;
}

/**
 * Raises each element of dst to that of src: a running peak. What NaNs do is told at max_array_f32.
 *
 * @param dst  float or double, read and written
 * @param src  as many of the same type; may be dst itself
 */
template <writable_array_of<float, double> D, array_like<D> S>
void max_array(D&& dst, S&& src)
{
    using kernel = decltype(detail::max_array_kernel(element_of<D>()));
    const auto d = detail::view(dst);
    const auto s = detail::view(src);
    const std::size_t n = d.size();
    detail::need<detail::sharing::whole>(__func__, detail::out("dst", d, n),
                                         detail::in("src", s, n));
    kernel::get(__func__)(d.data(), s.data(), d.size());
}

namespace detail {

// What the kernel does not do for every place: every code as in a block.
template <class T, class U>
[[gnu::noinline]] quantisation<T> pack_here(std::span<const T> src, std::span<U> dst)
{
    using limits = std::numeric_limits<U>;
    const auto [low, high] = minmax(src);
    const T scale = T(limits::max() - limits::min()) / (high - low), step = T(1) / scale;
    const T offset = std::is_signed_v<U> ? ((low + high) + step) * T(0.5) : low;
    for (std::size_t i = 0; i < src.size(); ++i)
        dst[i] = static_cast<U>(std::clamp<std::int32_t>(rounded_to_int((src[i] - offset) * scale),
                                                         limits::min(), limits::max()));
    return {step, offset};
}

template <class T, class U>
quantisation<T> pack(const char* who, std::span<const T> src, std::span<U> dst)
{
    using kernel = decltype(pack_kernel(T(), U()));
    need(who, in("src", src, src.size()), out("codes", dst, src.size()));
    const auto run = kernel::get(who);
    if ((kernel::level() & (sse2 | ssse3 | sse41)) != 0 &&
        (pack_faults(kernel::level(), src, dst) || last_left_out(src, 15)))
        return pack_here(src, dst);
    quantisation<T> q{};
    if (!src.empty())
        run(src.data(), src.size(), dst.data(), &q.step, &q.offset);
    return q;
}

} // namespace detail

/* ==== spectrum: products, interleaving, power, decibels ====================================== */

/**
 * Multiplies two arrays: dst[i] = a[i] * b[i].
 *
 * @param dst  float or double, written
 * @param a    as many of the same type; may be dst itself
 * @param b    as many of the same type; may be dst or a itself
 */
template <writable_array_of<float, double> D, array_like<D> A, array_like<D> B>
void mult(D&& dst, A&& a, B&& b)
{
    using kernel = decltype(detail::mult_kernel(element_of<D>()));
    const auto d = detail::view(dst);
    const auto va = detail::view(a);
    const auto vb = detail::view(b);
    const std::size_t n = d.size();
    detail::need<detail::sharing::whole>(__func__, detail::out("dst", d, n), detail::in("a", va, n),
                                         detail::in("b", vb, n));
    kernel::get(__func__)(d.data(), va.data(), vb.data(), d.size());
}

/**
 * Scales and offsets floats in place: x[i] = x[i] * scale + offset.
 *
 * @param x       read and written
 * @param scale   multiplier
 * @param offset  added to the product
 */
template <writable_array_of<float> X>
void mult_add(X&& x, float scale, float offset)
{
    const auto v = detail::view(x);
    detail::need(__func__, detail::out("x", v, v.size()));
    decltype(detail::mult_add_kernel(scale))::get(__func__)(v.data(), v.size(), scale, offset);
}

/**
 * Interleaves two arrays of doubles: out[2i] = re[i], out[2i + 1] = im[i].
 *
 * Kept safe: where the kernel would fault (AVX, all three equally off their alignment), the first pair has
 * a call of its own.
 *
 * @param re   first elements
 * @param im   as many second elements; may be re itself
 * @param out  two elements for each pair, written
 */
template <array_of<double> R, array_of<double> I, writable_array_of<double> O>
void mix(R&& re, I&& im, O&& out)
{
    const auto r = detail::view(re);
    const auto i = detail::view(im);
    const auto o = detail::view(out);
    const std::size_t n = r.size(), at = detail::past(r.data(), 32);
    detail::need(__func__, detail::in("re", r, n), detail::in("im", i, n),
                 detail::out("out", o, 2 * n));
    const auto run = decltype(detail::mix_kernel())::get(__func__);
    const bool first_alone =
        n != 0 && at != 0 && detail::past(i.data(), 32) == at && detail::past(o.data(), 32) == at;
    const std::size_t first = first_alone ? 1 : 0;
    if (first_alone)
        run(r.data(), i.data(), 1, o.data());
    run(r.data() + first, i.data() + first, n - first, o.data() + 2 * first);
}

namespace detail {

// sums[i] = parts[2i] + parts[2i + 1]
inline void add_pairs(const float* parts, std::size_t n, float* sums)
{
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128 low = _mm_load_ps(parts + 2 * i), high = _mm_load_ps(parts + 2 * i + 4);
        const __m128 even = _mm_shuffle_ps(low, high, 0x88), odd = _mm_shuffle_ps(low, high, 0xDD);
        _mm_storeu_ps(sums + i, _mm_add_ps(even, odd));
    }
    for (; i < n; ++i)
        sums[i] = parts[2 * i] + parts[2 * i + 1];
}
inline void add_pairs(const double* parts, std::size_t n, double* sums)
{
    for (std::size_t i = 0; i < n; ++i)
        sums[i] = parts[2 * i] + parts[2 * i + 1];
}

// p(k) = re * re + im * im of n bins, in order; the squares by the product kernel.
template <class T, class Run>
void powers(Run products, const T* in, std::size_t n, T* out)
{
    alignas(32) T squares[512];
    for (; n != 0;) {
        const std::size_t m = std::min<std::size_t>(256, n);
        products(squares, in, in, 2 * m);
        add_pairs(squares, m, out);
        in += 2 * m;
        out += m;
        n -= m;
    }
}

} // namespace detail

/**
 * Power of a Fourier transform's output, halves exchanged: with h = n / 2 and p(k) = re * re + im * im,
 * out[h + i] = p(i) and out[i] = p(h + i) for i below h. With an odd n the last bin is not read and
 * out[n - 1] is not written.
 *
 * Kept safe: of floats (SSE, AVX), where the kernel's lanes are irregular, and of doubles whose halves are
 * not whole blocks, the squares are those of mult_f32 or mult_f64 and are added here. The bits are the
 * baseline's at every level, but for the payload where both parts are NaN.
 *
 * @param in   float or double: re, im, re, im, ... (simd::parts of complex samples)
 * @param out  n values, one for each bin, written
 */
template <array_of<float, double> I, writable_array_of<element_of<I>> O>
void fft_abs(I&& in, O&& out)
{
    using T = element_of<I>;
    using kernel = decltype(detail::fft_abs_kernel(T()));
    using product = decltype(detail::mult_kernel(T()));
    const auto i = detail::view(in);
    const auto o = detail::view(out);
    const std::size_t n = o.size(), h = n / 2;
    detail::need(__func__, detail::in("in", i, 2 * n), detail::out("out", o, n));
    const auto run = kernel::get(__func__);
    const bool regular =
        std::is_same_v<T, double> && n % (kernel::level() == detail::avx ? 8 : 4) == 0;
    if (regular || kernel::level() == detail::base)
        return run(i.data(), n, o.data());
    const auto products = product::get(__func__);
    detail::powers(products, i.data(), h, o.data() + h);
    detail::powers(products, i.data() + 2 * h, h, o.data());
}

namespace detail {

// n decibels through an aligned buffer, by the path that the kernel takes above its threshold.
inline void decibels(spec_log_f32_fn* run, const float* in, std::size_t n, float* out, float offset)
{
    alignas(32) float block[256];
    for (; n != 0;) {
        const std::size_t m = std::min<std::size_t>(256, n),
                          whole = std::max<std::size_t>(32, (m + 7) / 8 * 8);
        std::copy_n(in, m, block);
        std::fill(block + m, block + whole, 1.0F);
        run(block, whole, block, offset);
        std::copy_n(block, m, out);
        in += m;
        out += m;
        n -= m;
    }
}

} // namespace detail

/**
 * Power to decibels: out[i] = 10 * log10(in[i]) - offset, at least about -379.3 - offset (double: -3076.5).
 *
 * Kept safe: of more than 15 (AVX2: 31) floats, what does not lie in whole aligned blocks passes through an
 * aligned buffer and has the bits of a block; fewer have the baseline's bits.
 *
 * @param in      powers, float or double
 * @param out     as many of the same type, written; may be in itself
 * @param offset  subtracted
 */
template <array_of<float, double> I, writable_array_of<element_of<I>> O>
void spec_log(I&& in, O&& out, element_of<I> offset)
{
    using T = element_of<I>;
    using kernel = decltype(detail::spec_log_kernel(T()));
    const auto i = detail::view(in);
    const auto o = detail::view(out);
    const std::size_t n = i.size();
    detail::need<detail::sharing::whole>(__func__, detail::in("in", i, n),
                                         detail::out("out", o, n));
    const auto run = kernel::get(__func__);
    if constexpr (std::is_same_v<T, float>) {
        const std::size_t width = kernel::level() == detail::avx2 ? 32 : 16, lanes = width / 4;
        const std::size_t at = detail::past(i.data(), width);
        const bool whole = at == 0 && detail::past(o.data(), width) == 0 && n % lanes == 0;
        if (!whole && kernel::level() != detail::base && n > 4 * lanes - 1) {
            const std::size_t head =
                at == detail::past(o.data(), width) ? detail::head(i.data(), n, width) : n;
            std::size_t body = (n - head) / lanes * lanes;
            body = body > 4 * lanes - 1 ? body : 0;
            detail::decibels(run, i.data(), head, o.data(), offset);
            if (body != 0)
                run(i.data() + head, body, o.data() + head, offset);
            return detail::decibels(run, i.data() + head + body, n - head - body,
                                    o.data() + head + body, offset);
        }
    }
    run(i.data(), n, o.data(), offset);
}

/* ==== filter: FIR steps and streams, exponential averaging, smoothing ======================== */

/**
 * One output of a complex FIR with real taps: { sum re[i] * taps[i], sum im[i] * taps[i] }.
 *
 * @param re    real plane, float or double
 * @param im    as many of the imaginary plane; may be re itself
 * @param taps  as many taps
 */
template <array_of<float, double> R, array_like<R> I, array_like<R> T>
auto fir_step(R&& re, I&& im, T&& taps)
{
    using Part = element_of<R>;
    using kernel = decltype(detail::fir_step_kernel(Part()));
    const auto r = detail::view(re);
    const auto i = detail::view(im);
    const auto t = detail::view(taps);
    const std::size_t n = r.size();
    detail::need(__func__, detail::in("re", r, n), detail::in("im", i, n),
                 detail::in("taps", t, n));
    sample<Part> out;
    kernel::get(__func__)(r.data(), i.data(), t.data(), r.size(), &out.re, &out.im);
    return out;
}

namespace detail {

template <class In>
[[gnu::always_inline]] inline void
fir_arguments(const char* who, std::span<In> in, std::span<const double> taps, std::int64_t pos,
              std::span<double> hist_re, std::span<double> hist_im, std::span<double> out)
{
    if (taps.empty()) [[unlikely]]
        refuse(who, "without taps");
    if (in.size() % 2 != 0) [[unlikely]]
        refuse(who, "in ends within a sample");
    if (static_cast<std::uint64_t>(pos) >= taps.size()) [[unlikely]]
        refuse(who,
               "pos is " + std::to_string(pos) + ", of " + std::to_string(taps.size()) + " slots");
    const std::size_t n = taps.size();
    need(who, detail::in("in", in, in.size()), detail::in("taps", taps, n),
         detail::out("hist_re", hist_re, n), detail::out("hist_im", hist_im, n),
         detail::out("out", out, in.size()));
    decltype(fir_step_kernel(0.0))::get(who);
}

} // namespace detail

/**
 * Streams complex 16-bit samples through a FIR with real taps; history and position belong to the host, as
 * with fir_c16_alt. Before the first call: zeros, and any position.
 *
 * @param in       re, im, re, im, ...
 * @param taps     at least one, that of the newest sample first
 * @param pos      slot of the next sample, 0 to taps.size() - 1, read and written
 * @param hist_re  as many as taps, read and written
 * @param hist_im  as many as taps, read and written
 * @param out      as many as in, written: re, im, re, im, ...
 * @param scale    multiplier of both parts
 * @param offset   added to both parts
 */
template <array_of<std::int16_t> I, array_of<double> T, writable_array_of<double> HR,
          writable_array_of<double> HI, writable_array_of<double> O>
void fir_alt(I&& in, T&& taps, std::int64_t& pos, HR&& hist_re, HI&& hist_im, O&& out, double scale,
             double offset)
{
    const auto i = detail::view(in);
    const auto t = detail::view(taps);
    const auto hr = detail::view(hist_re);
    const auto hi = detail::view(hist_im);
    const auto o = detail::view(out);
    detail::fir_arguments(__func__, i, t, pos, hr, hi, o);
    ::fir_c16_alt(i.data(), i.size() / 2, t.data(), t.size() - 1, &pos, hr.data(), hi.data(),
                  o.data(), scale, offset);
}

/** The same for complex floats and doubles (simd::parts of complex samples); no scale, no offset. */
template <array_of<float, double> I, array_of<double> T, writable_array_of<double> HR,
          writable_array_of<double> HI, writable_array_of<double> O>
void fir_alt(I&& in, T&& taps, std::int64_t& pos, HR&& hist_re, HI&& hist_im, O&& out)
{
    const auto i = detail::view(in);
    const auto t = detail::view(taps);
    const auto hr = detail::view(hist_re);
    const auto hi = detail::view(hist_im);
    const auto o = detail::view(out);
    detail::fir_arguments(__func__, i, t, pos, hr, hi, o);
    const std::uint64_t count = i.size() / 2, last = t.size() - 1;
    if constexpr (std::is_same_v<element_of<I>, float>)
        ::fir_c32_alt(i.data(), count, t.data(), last, &pos, hr.data(), hi.data(), o.data());
    else
        ::fir_c64_alt(i.data(), count, t.data(), last, &pos, hr.data(), hi.data(), o.data());
}

/**
 * Exponential averaging of frames: y[i] = (x[i] - y[i]) * a + y[i]. The bits are the same at every level.
 *
 * Kept safe: the head of the arrays, where SSE and SSE2 do not add y[i] back, has a call of its own.
 *
 * @param x  the new frame, float or double
 * @param y  the state, as many of the same type, read and written
 * @param a  share of the new frame
 */
template <array_of<float, double> X, writable_array_of<element_of<X>> Y>
void iir1(X&& x, Y&& y, element_of<X> a)
{
    using kernel = decltype(detail::iir1_kernel(element_of<X>()));
    const auto vx = detail::view(x);
    const auto vy = detail::view(y);
    const std::size_t n = vx.size();
    detail::need(__func__, detail::in("x", vx, n), detail::out("y", vy, n));
    const auto run = kernel::get(__func__);
    std::size_t head = 0;
    if ((kernel::level() & (detail::sse | detail::sse2)) != 0 &&
        detail::past(vx.data(), 16) == detail::past(vy.data(), 16))
        head = detail::head(vy.data(), n, 16);
    if (head != 0)
        run(vx.data(), head, vy.data(), a);
    run(vx.data() + head, n - head, vy.data() + head, a);
}

namespace detail {

// Outputs first to last - 1 in the folded form, with both ends of x repeated.
template <class T>
void smooth_folded(std::span<const T> x, std::span<const T> taps, std::span<T> y, std::size_t first,
                   std::size_t last)
{
    const std::size_t half = taps.size() / 2;
    for (std::size_t i = first; i < last; ++i) {
        T sum = rounded(x[i] * taps[half]);
        for (std::size_t k = 0; k < half; ++k) {
            const std::size_t away = half - k;
            const T right = x[std::min(i + away, x.size() - 1)], left = x[i - std::min(i, away)];
            sum = sum + rounded((right + left) * taps[k]);
        }
        y[i] = sum;
    }
}

// In pieces of at most `most` outputs, for the kernel counts in 31 bits; outputs at a seam folded.
template <class T, class Run>
void smooth(Run run, std::span<const T> x, std::span<const T> taps, std::span<T> y,
            std::size_t most)
{
    const std::size_t n = x.size(), half = taps.size() / 2;
    if (n < 2 * half || taps.size() > most)
        return smooth_folded(x, taps, y, 0, n);
    for (std::size_t i = 0; i < n; i += most) {
        const std::size_t m = std::min(most, n - i);
        if (m >= 2 * half)
            run(x.data() + i, static_cast<std::int32_t>(m), taps.data(),
                static_cast<std::int32_t>(taps.size()), y.data() + i);
        if (i != 0)
            smooth_folded(x, taps, y, i - half, m >= 2 * half ? i + half : n);
    }
}

} // namespace detail

/**
 * Smooths an array with a symmetric FIR centred on each output, both ends of x repeated. Without taps, and
 * with one, y is a copy of x, as with vfilter_f32.
 *
 * Kept safe: if x is shorter than taps.size() - 1, every output is the baseline's folded sum, both ends
 * repeated. More than 2^30 elements are done in pieces, with folded sums at the seams.
 *
 * @param x     float or double
 * @param taps  none or an odd number, symmetric; of others the result is meaningless
 * @param y     as many as x, written
 */
template <array_of<float, double> X, array_like<X> T, writable_array_of<element_of<X>> Y>
void vfilter(X&& x, T&& taps, Y&& y)
{
    using Element = element_of<X>;
    using kernel = decltype(detail::vfilter_kernel(Element()));
    const std::span<const Element> vx = detail::view(x), t = detail::view(taps);
    const std::span<Element> vy = detail::view(y);
    if (t.size() % 2 == 0 && !t.empty()) [[unlikely]]
        detail::refuse(__func__, "the number of taps is even");
    detail::need(__func__, detail::in("x", vx, vx.size()), detail::in("taps", t, t.size()),
                 detail::out("y", vy, vx.size()));
    const auto run = kernel::get(__func__);
    constexpr std::size_t most = std::size_t{1} << 30;
    if (t.size() <= 1)
        std::copy(vx.begin(), vx.end(), vy.begin());
    else if (vx.size() + 1 < t.size() || vx.size() > most)
        detail::smooth(run, vx, t, vy, most);
    else
        run(vx.data(), static_cast<std::int32_t>(vx.size()), t.data(),
            static_cast<std::int32_t>(t.size()), vy.data());
}

/**
 * Returns the mean of a chunk, weighted by w and by a Gaussian of the distance from a centre; of nothing,
 * NaN.
 *
 * @param x  floats
 * @param w  as many weights
 * @param c  the centre
 */
template <array_of<float> X, array_of<float> W>
float vfilter2_chunk(X&& x, W&& w, float c)
{
    const auto vx = detail::view(x);
    const auto vw = detail::view(w);
    detail::need(__func__, detail::in("x", vx, vx.size()), detail::in("w", vw, vx.size()));
    return decltype(detail::vfilter2_kernel(c))::get(__func__)(vx.data(), vw.data(), vx.size(), c);
}

} // namespace simd

#endif /* LIBSIMD_HPP */
