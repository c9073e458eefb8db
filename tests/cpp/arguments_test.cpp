// tests/cpp/arguments_test.cpp: what libsimd.hpp refuses, and what it needs of the processor.
#include "cpp/places.h"

#include "rig/library.h"

#include <algorithm>
#include <dlfcn.h>
#include <functional>
#include <set>
#include <string>

namespace {

using namespace cpp;
using enum Level;
using std::int16_t;
using std::uint16_t;
using std::uint32_t;
using std::uint8_t;

/// What a call says when it throws E; "" if it does not.
template <class E>
std::string said(const std::function<void()>& call)
{
    try {
        call();
    } catch (const E& e) {
        return e.what();
    }
    return "";
}

/// One array per type, of 64 elements, and the same one byte off its alignment.
template <class T>
std::span<T> array(int which = 0)
{
    static simd::aligned_vector<T> arrays[4] = {
        simd::aligned_vector<T>(256), simd::aligned_vector<T>(256), simd::aligned_vector<T>(256),
        simd::aligned_vector<T>(256)};
    return std::span<T>(arrays[which]).first(64);
}
template <class T>
std::span<T> moved(std::size_t bytes, int which = 0)
{
    return {reinterpret_cast<T*>(reinterpret_cast<char*>(array<T>(which).data()) + bytes), 64};
}

TEST(CppArguments, sizes_must_match)
{
    install(avx2);
    const auto f = array<float>(), f1 = array<float>(1);
    const auto d = array<double>(), d1 = array<double>(1), d2 = array<double>(2),
               d3 = array<double>(3);
    const auto s = array<int16_t>(), s1 = array<int16_t>(1);
    const auto b = array<uint8_t>();
    const auto u = array<uint16_t>();
    const auto w = array<uint32_t>(), w1 = array<uint32_t>(1);
    std::int64_t pos = 0;
    const auto h = [](auto a) { return a.first(32); };
    const std::vector<std::function<void()>> calls = {
        [&] { simd::memcpy_fast(f, h(f1)); },
        [&] { simd::swap_words(w, h(w1)); },
        [&] { simd::pack_u8(f, h(b)); },
        [&] { simd::pack_s16(f, h(s)); },
        [&] { simd::pack_u8(d, h(b)); },
        [&] { simd::pack_s16(d, h(s)); },
        [&] { simd::pack_u16(d, h(u)); },
        [&] { simd::unpack_u8(b, h(f), 1, 0); },
        [&] { simd::unpack_u8(h(b), d, 1, 0); },
        [&] { simd::unpack_s16(s, h(f), 1, 0); },
        [&] { simd::unpack_s16(s, h(d), 1, 0); },
        [&] { simd::unpack_u16(u, h(d), 1, 0); },
        [&] { simd::unpack_alt_s16(s, d, h(d1), 1, 0); },
        [&] { simd::unpack_alt_s16(s, d, d1, 1, 0); },
        [&] { simd::unpack_cmb_s16(h(s), s1, d, 1, 0); },
        [&] { simd::unpack_cmb_s16(s, s1, d, 1, 0); },
        [&] { simd::max_array(f, h(f1)); },
        [&] { simd::max_array(h(d), d1); },
        [&] { simd::mult(f, h(f1), f); },
        [&] { simd::mult(f, f, h(f1)); },
        [&] { simd::mult(h(d), d1, d2); },
        [&] { simd::mix(h(d), d1, d2); },
        [&] { simd::mix(d, d1, d2); },
        [&] { simd::fft_abs(f, f1); },
        [&] { simd::fft_abs(d, d1); },
        [&] { simd::spec_log(f, h(f1), 0); },
        [&] { simd::spec_log(h(d), d1, 0); },
        [&] { simd::fir_step(f, f, h(f)); },
        [&] { simd::fir_step(d, h(d), d); },
        [&] { simd::fir_alt(s, d, pos, d1, h(d2), d3, 1, 0); },
        [&] { simd::fir_alt(s, d, pos, h(d1), d2, d3, 1, 0); },
        [&] { simd::fir_alt(f, d, pos, d1, d2, h(d3)); },
        [&] { simd::fir_alt(d.first(32), d1, pos, h(d2), d3, d.last(32)); },
        [&] { simd::fir_alt(f.first(63), h(d), pos, h(d1), h(d2), d3.first(63)); }, // half a sample
        [&] { simd::iir1(f, h(f1), 0.5F); },
        [&] { simd::iir1(h(d), d1, 0.5); },
        [&] { simd::vfilter(f, array<float>(2).first(3), h(f1)); },
        [&] { simd::vfilter(h(d), d2.first(3), d1); },
        [&] { simd::vfilter2_chunk(f, h(f1), 0); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_NE(said<simd::bad_argument>(calls[i]), "") << "call " << i;
    EXPECT_EQ(said<simd::bad_argument>([&] { simd::mult(f, h(f1), f); }),
              "simd::mult: a has 32 elements, wanted are 64");
}

TEST(CppArguments, element_alignment)
{
    install(avx2);
    const auto f = array<float>(), f1 = array<float>(1);
    const auto d = array<double>(), d1 = array<double>(1), d2 = array<double>(2);
    const auto s = array<int16_t>();
    const auto b = array<uint8_t>();
    const auto w = array<uint32_t>();
    std::int64_t pos = 0;
    const auto mf = moved<float>(2, 2);
    const auto md = moved<double>(4, 3);
    const auto ms = moved<int16_t>(1, 2);
    const auto mw = moved<uint32_t>(2, 2);
    const std::vector<std::function<void()>> calls = {
        [&] { simd::fill(mf, 1); },
        [&] { simd::memcpy_fast(mf, f); },
        [&] { simd::swap_words(mw, w); },
        [&] { simd::swap_words(w, mw); },
        [&] { simd::pack_u8(mf, b); },
        [&] { simd::pack_s16(d, ms); },
        [&] { simd::unpack_s16(ms, d, 1, 0); },
        [&] { simd::unpack_u8(b, md, 1, 0); },
        [&] { simd::unpack_alt_s16(ms, d.first(32), d1.first(32), 1, 0); },
        [&] { simd::unpack_alt_s16(s, d.first(32), md.first(32), 1, 0); },
        [&] { simd::unpack_cmb_s16(s.first(32), ms.first(32), d, 1, 0); },
        [&] { simd::min(mf); },
        [&] { simd::min(ms); },
        [&] { simd::max(md); },
        [&] { simd::minmax(mf); },
        [&] { simd::minmax(ms); },
        [&] { simd::minmaxmed(md); },
        [&] { simd::avg(mf); },
        [&] { simd::avg_lvl(md, 1); },
        [&] { simd::avg_abs(ms); },
        [&] { simd::max_array(f, mf); },
        [&] { simd::mult(d, d1, md); },
        [&] { simd::mult_add(mf, 1, 0); },
        [&] { simd::mix(d.first(32), d1.first(32), md); },
        [&] { simd::fft_abs(mf, f.first(32)); },
        [&] { simd::spec_log(f, mf, 0); },
        [&] { simd::fir_step(f, mf, f); },
        [&] { simd::fir_alt(ms, d, pos, d1, d2, array<double>(3), 1, 0); },
        [&] { simd::iir1(mf, f, 1); },
        [&] { simd::vfilter(f, mf.first(3), f1); },
        [&] { simd::vfilter2_chunk(f, mf, 1); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_NE(said<simd::bad_argument>(calls[i]).find("aligned"), std::string::npos)
            << "call " << i;
}

TEST(CppArguments, null_pointers)
{
    install(avx2);
    const std::span<float> null(static_cast<float*>(nullptr), 64);
    const auto f = array<float>();
    EXPECT_NE(said<simd::bad_argument>([&] { simd::min(null); }), "");
    EXPECT_NE(said<simd::bad_argument>([&] { simd::fill(null, 1); }), "");
    EXPECT_NE(said<simd::bad_argument>([&] { simd::mult(f, f, null); }), "");
    EXPECT_NE(said<simd::bad_argument>([&] { simd::pack_u8(null, array<uint8_t>()); }), "");
}

TEST(CppArguments, overlaps)
{
    install(avx2);
    const auto f = array<float>(), f1 = array<float>(1);
    const auto d = array<double>(), d1 = array<double>(1), d2 = array<double>(2),
               d3 = array<double>(3);
    const auto w = array<uint32_t>();
    const auto s = array<int16_t>();
    const auto low = [](auto a) { return a.first(40); };
    const auto high = [](auto a) { return a.last(40); };
    const auto bytes = std::span<uint8_t>(reinterpret_cast<uint8_t*>(f.data()), 64);
    const auto words = std::span<int16_t>(reinterpret_cast<int16_t*>(d.data()), 64);
    std::int64_t pos = 0;
    const std::vector<std::function<void()>> calls = {
        [&] { simd::memcpy_fast(low(f), high(f)); },
        [&] { simd::memcpy_fast(f, f); },
        [&] { simd::swap_words(low(w), high(w)); },
        [&] { simd::swap_words(high(w), low(w)); },
        [&] { simd::pack_u8(f, bytes); },
        [&] { simd::unpack_u8(bytes, f, 1, 0); },
        [&] { simd::unpack_alt_s16(words, d.first(32), d1.first(32), 1, 0); },
        [&] { simd::unpack_alt_s16(words, d1.first(32), d.first(32), 1, 0); },
        [&] { simd::unpack_alt_s16(s, d.first(32), d.subspan(31, 32), 1, 0); },
        [&] { simd::unpack_cmb_s16(words.first(32), s.first(32), d, 1, 0); },
        [&] { simd::unpack_cmb_s16(s.first(32), words.first(32), d, 1, 0); },
        [&] { simd::max_array(low(f), high(f)); },
        [&] { simd::mult(low(f), f1.first(40), high(f)); },
        [&] { simd::mult(high(f), low(f), high(f)); },
        [&] { simd::mix(d.first(32), d1.first(32), d); },
        [&] { simd::mix(d1.first(32), d.last(32), d); },
        [&] { simd::fft_abs(f, f.first(32)); },
        [&] { simd::spec_log(low(f), high(f), 0); },
        [&] { simd::iir1(f, f, 0.5F); },
        [&] { simd::iir1(low(d), high(d), 0.5); },
        [&] { simd::vfilter(f, f1.first(3), f); },
        [&] { simd::vfilter(f, f1.first(3), f1); },
        [&] { simd::fir_alt(d, d1, pos, d2, d3, d); },
        [&] { simd::fir_alt(words, d1, pos, d2, d3, d, 1, 0); },
        [&] { simd::fir_alt(f, d1, pos, d2, d3, d1); },
        [&] { simd::fir_alt(f, d1, pos, d2, d3, d2); },
        [&] { simd::fir_alt(f, d1, pos, d2, d3, d3); },
        [&] { simd::fir_alt(f, d1, pos, d2, d2, d3); },
        [&] { simd::fir_alt(f, d1, pos, d1, d2, d3); },
        [&] { simd::fir_alt(f, d1, pos, d2, d1, d3); },
        [&] { simd::fir_alt(d, d1, pos, d, d2, d3); },
        [&] { simd::fir_alt(d, d1, pos, d2, d, d3); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_NE(said<simd::bad_argument>(calls[i]).find("overlaps"), std::string::npos)
            << "call " << i;
    simd::mult(low(f), f.first(40), low(f)); // the same array, and neighbours
    simd::mult(f.first(32), f.last(32), f.last(32));
    simd::fir_alt(f.first(0), d1, pos, d2, d3, d2.subspan(5, 0));
}

TEST(CppArguments, taps_and_positions)
{
    install(avx2);
    const auto f = array<float>();
    const auto d = array<double>(), d1 = array<double>(1), d2 = array<double>(2),
               d3 = array<double>(3);
    for (const std::int64_t bad :
         {std::int64_t{-1}, std::int64_t{64}, std::numeric_limits<std::int64_t>::min(),
          std::numeric_limits<std::int64_t>::max()}) {
        std::int64_t pos = bad;
        EXPECT_NE(said<simd::bad_argument>([&] { simd::fir_alt(f, d, pos, d1, d2, d3); }), "")
            << bad;
        EXPECT_EQ(pos, bad);
    }
    std::int64_t pos = 0;
    const std::span<double> none;
    EXPECT_NE(said<simd::bad_argument>([&] { simd::fir_alt(f, none, pos, none, none, d3); }), "");
    pos = 63;
    simd::fir_alt(f, d, pos, d1, d2, d3);
    EXPECT_NE(said<simd::bad_argument>(
                  [&] { simd::vfilter(f, array<float>(1).first(2), array<float>(2)); }),
              "");
}

TEST(CppArguments, empty_arrays)
{
    for (const Level level : rig::all_levels) {
        install(level);
        const std::span<float> f;
        const std::span<double> d;
        const std::span<int16_t> s;
        const std::span<uint8_t> b;
        const std::span<uint16_t> u;
        const std::span<uint32_t> w;
        simd::fill(f, 1);
        simd::memcpy_fast(f, f);
        simd::swap_words(w, w);
        EXPECT_EQ(simd::pack_u8(f, b).step, 0);
        EXPECT_EQ(simd::pack_s16(f, s).offset, 0);
        EXPECT_EQ(simd::pack_u8(d, b).step, 0);
        EXPECT_EQ(simd::pack_s16(d, s).step, 0);
        EXPECT_EQ(simd::pack_u16(d, u).offset, 0);
        simd::unpack_u8(b, f, 1, 0);
        simd::unpack_u8(b, d, 1, 0);
        if (level >= sse2)
            simd::unpack_s16(s, f, 1, 0);
        simd::unpack_s16(s, d, 1, 0);
        simd::unpack_u16(u, d, 1, 0);
        simd::unpack_alt_s16(s, d, d, 1, 0);
        simd::unpack_cmb_s16(s, s, d, 1, 0);
        EXPECT_TRUE(std::isnan(simd::avg(f)) && std::isnan(simd::avg(d)));
        EXPECT_TRUE(rig::same_bits(simd::avg_lvl(f, 1), 0.0F) &&
                    rig::same_bits(simd::avg_lvl(d, 1), 0.0));
        EXPECT_EQ(simd::avg_abs(s), 0U);
        EXPECT_THROW(simd::min(b), simd::bad_argument);
        EXPECT_THROW(simd::max(s), simd::bad_argument);
        EXPECT_THROW(simd::minmax(s), simd::bad_argument);
        EXPECT_THROW(simd::minmaxmed(d), simd::bad_argument);
        simd::max_array(f, f);
        simd::max_array(d, d);
        simd::mult(f, f, f);
        simd::mult(d, d, d);
        simd::mult_add(f, 1, 0);
        simd::mix(d, d, d);
        simd::fft_abs(f, f);
        simd::fft_abs(d, d);
        simd::spec_log(f, f, 0);
        simd::spec_log(d, d, 0);
        EXPECT_TRUE(rig::same_bits(simd::fir_step(f, f, f).re, 0.0F));
        EXPECT_TRUE(rig::same_bits(simd::fir_step(d, d, d).im, 0.0));
        double one[1] = {1}, re[1] = {}, im[1] = {};
        std::int64_t pos = 0;
        simd::fir_alt(s, one, pos, re, im, d, 1, 0);
        simd::fir_alt(f, one, pos, re, im, d);
        simd::fir_alt(d, one, pos, re, im, d);
        simd::iir1(f, f, 1);
        simd::iir1(d, d, 1);
        simd::vfilter(f, f, f);
        simd::vfilter(d, d, d);
        simd::vfilter(d, std::array{0.25, 0.5, 0.25}, d);
        EXPECT_TRUE(std::isnan(simd::vfilter2_chunk(f, f, 1)));
    }
}

// --- What it needs of the processor ------------------------------------------------------------------

namespace d = simd::detail;

constexpr unsigned ymm = d::avx << d::runs;

TEST(CppProcessor, levels_are_those_that_the_library_installs)
{
    for (unsigned levels = 1; levels < 256; levels += 2)
        for (const std::uint32_t top : {0U, 1U, 6U, 7U, 20U}) {
            const rig::Processor processor = rig::Processor::with(levels, "ThirteenChar", top);
            const auto cpuid = [&](std::uint32_t leaf, std::uint32_t subleaf) {
                const auto out = processor.answer(leaf, subleaf);
                return d::cpuid_words{out.eax, out.ebx, out.ecx, out.edx};
            };
            const auto xcr0 = []() -> std::uint32_t {
                ADD_FAILURE() << "asked though the operating system does not say that it may be";
                return 7;
            };
            const unsigned want = top == 0 ? 1 : top < 7 ? levels & 127 : levels;
            const unsigned low = d::reported_levels(cpuid, xcr0);
            EXPECT_EQ(low, want | (want & (d::sse3 | d::sse41)) << d::runs) << top;
        }
    // The vendor's last letters are the sub-leaf of leaf 7; bit 5 of leaf 1's EBX counts without one.
    rig::Processor processor = rig::Processor::with(255);
    processor.leaves[7] = {};
    processor.by_subleaf[{7, processor.leaves[0].ecx}] = {0, 1U << 5, 0, 0};
    processor.leaves[1].ecx |= 1U << 27;
    std::uint32_t enabled = 7;
    const unsigned all_levels = 255U | (d::sse3 | d::sse41) << d::runs;
    const auto ask = [&] {
        return d::reported_levels(
            [&](std::uint32_t leaf, std::uint32_t subleaf) {
                const auto out = processor.answer(leaf, subleaf);
                return d::cpuid_words{out.eax, out.ebx, out.ecx, out.edx};
            },
            [&] { return enabled; });
    };
    EXPECT_EQ(ask(), all_levels | ymm);
    for (enabled = 0; enabled < 6; ++enabled)
        EXPECT_EQ(ask(), all_levels);
    enabled = 0xE7;
    processor.leaves[0].eax = 1;
    EXPECT_EQ(ask(), (all_levels & ~unsigned{d::avx2}) | ymm);
    processor.leaves[1].ebx = 1U << 5;
    EXPECT_EQ(ask(), all_levels | ymm);
}

TEST(CppProcessor, this_one_runs_what_the_library_installed)
{
    const unsigned here = d::reported_here();
    EXPECT_EQ(__builtin_cpu_supports("avx") != 0, (here & d::avx) != 0 && (here & ymm) != 0);
    EXPECT_EQ(__builtin_cpu_supports("sse4.1") != 0, (here & d::sse41) != 0);
}

/// A first use of an entry: the check is done again.
template <class Fn>
void forget(Fn*& entry, const std::function<void()>& call)
{
    Fn* const own = entry;
    entry = nullptr;
    EXPECT_NE(said<simd::unsupported>(call), "");
    entry = own;
}

struct Demand {
    const char* name;
    unsigned sse2_needs; // of a processor that reports no more than SSE2 (avg_abs: SSSE3)
    std::function<void()> call;
    std::function<void()> forget;
};

#define DEMAND(entry, needs, ...)                                                                  \
    {                                                                                              \
#entry, needs, [] { __VA_ARGS__; }, [] { forget(::entry, [] { __VA_ARGS__; }); }           \
    }

const std::vector<Demand> demands = {
    DEMAND(fill_f32, 0, simd::fill(array<float>(), 1)),
    DEMAND(memcpy_fast, d::sse41, simd::memcpy_fast(array<float>(), array<float>(1))),
    DEMAND(swap_words_u32, 0, simd::swap_words(array<uint32_t>(), array<uint32_t>(1))),
    DEMAND(pack_f32_u8, 0, simd::pack_u8(array<float>(), array<uint8_t>())),
    DEMAND(pack_f32_s16, 0, simd::pack_s16(array<float>(), array<int16_t>())),
    DEMAND(pack_f64_u8, d::sse3, simd::pack_u8(array<double>(), array<uint8_t>())),
    DEMAND(pack_f64_s16, d::sse3, simd::pack_s16(array<double>(), array<int16_t>())),
    DEMAND(pack_f64_u16, d::sse3, simd::pack_u16(array<double>(), array<uint16_t>())),
    DEMAND(unpack_u8_f32, d::sse41, simd::unpack_u8(array<uint8_t>(), array<float>(), 1, 0)),
    DEMAND(unpack_s16_f32, 0, simd::unpack_s16(array<int16_t>(), array<float>(), 1, 0)),
    DEMAND(unpack_u8_f64, d::sse3 | d::sse41,
           simd::unpack_u8(array<uint8_t>(), array<double>(), 1, 0)),
    DEMAND(unpack_s16_f64, d::sse3, simd::unpack_s16(array<int16_t>(), array<double>(), 1, 0)),
    DEMAND(unpack_u16_f64, d::sse3 | d::sse41,
           simd::unpack_u16(array<uint16_t>(), array<double>(), 1, 0)),
    DEMAND(unpack_alt_s16_f64, d::sse3,
           simd::unpack_alt_s16(array<int16_t>(), array<double>().first(32),
                                array<double>(1).first(32), 1, 0)),
    DEMAND(unpack_cmb_s16_f64, d::sse3,
           simd::unpack_cmb_s16(array<int16_t>().first(32), array<int16_t>(1).first(32),
                                array<double>(), 1, 0)),
    DEMAND(min_u8, 0, simd::min(array<uint8_t>())),
    DEMAND(max_u8, 0, simd::max(array<uint8_t>())),
    DEMAND(min_s16, 0, simd::min(array<int16_t>())),
    DEMAND(max_s16, 0, simd::max(array<int16_t>())),
    DEMAND(minmax_s16, 0, simd::minmax(array<int16_t>())),
    DEMAND(min_f32, 0, simd::min(array<float>())),
    DEMAND(max_f32, 0, simd::max(array<float>())),
    DEMAND(minmax_f32, 0, simd::minmax(array<float>())),
    DEMAND(min_f64, 0, simd::min(array<double>())),
    DEMAND(max_f64, 0, simd::max(array<double>())),
    DEMAND(minmax_f64, 0, simd::minmax(array<double>())),
    DEMAND(avg_f32, 0, simd::avg(array<float>())),
    DEMAND(avg_f64, d::sse3, simd::avg(array<double>())),
    DEMAND(avg_lvl_f32, 0, simd::avg_lvl(array<float>(), 1)),
    DEMAND(avg_lvl_f64, d::sse3 | d::sse41, simd::avg_lvl(array<double>(), 1)),
    DEMAND(avg_abs_s16, 0, simd::avg_abs(array<int16_t>())),
    DEMAND(minmaxmed_f32, 0, simd::minmaxmed(array<float>())),
    DEMAND(minmaxmed_f64, 0, simd::minmaxmed(array<double>())),
    DEMAND(max_array_f32, 0, simd::max_array(array<float>(), array<float>(1))),
    DEMAND(max_array_f64, 0, simd::max_array(array<double>(), array<double>(1))),
    DEMAND(mult_f32, 0, simd::mult(array<float>(), array<float>(1), array<float>(2))),
    DEMAND(mult_f64, 0, simd::mult(array<double>(), array<double>(1), array<double>(2))),
    DEMAND(mult_add_f32, 0, simd::mult_add(array<float>(), 1, 0)),
    DEMAND(mix_f64, 0,
           simd::mix(array<double>().first(32), array<double>(1).first(32), array<double>(2))),
    DEMAND(fft_abs_f32, 0, simd::fft_abs(array<float>(), array<float>(1).first(32))),
    DEMAND(fft_abs_f64, 0, simd::fft_abs(array<double>(), array<double>(1).first(32))),
    DEMAND(spec_log_f32, d::sse41, simd::spec_log(array<float>(), array<float>(1), 0)),
    DEMAND(spec_log_f64, 0, simd::spec_log(array<double>(), array<double>(1), 0)),
    DEMAND(fir_step_c32, 0, simd::fir_step(array<float>(), array<float>(), array<float>())),
    DEMAND(fir_step_c64, 0, simd::fir_step(array<double>(), array<double>(), array<double>())),
    DEMAND(iir1_f32, 0, simd::iir1(array<float>(), array<float>(1), 1)),
    DEMAND(iir1_f64, d::sse3, simd::iir1(array<double>(), array<double>(1), 1)),
    DEMAND(vfilter_f32, 0,
           simd::vfilter(array<float>(), array<float>(2).first(3), array<float>(1))),
    DEMAND(vfilter_f64, 0,
           simd::vfilter(array<double>(), array<double>(2).first(3), array<double>(1))),
    DEMAND(vfilter2_chunk, 0, simd::vfilter2_chunk(array<float>(), array<float>(1), 0)),
};

/// Which entries refuse on a processor that reports exactly these levels. Their code never runs.
std::set<std::string> refused(unsigned levels, bool registers_enabled = true)
{
    install(levels);
    d::reported =
        levels | (levels & (d::sse3 | d::sse41)) << d::runs | (registers_enabled ? ymm : 0U);
    std::set<std::string> names;
    for (const Demand& demand : demands) {
        if (std::string_view(demand.name) ==
            "spec_log_f64") // tells whose functions the entries hold
            continue;
        demand.forget();
        try {
            demand.call();
        } catch (const simd::unsupported& e) {
            EXPECT_TRUE(std::string(e.what()).starts_with("simd::")) << e.what();
            names.insert(demand.name);
        }
    }
    return names;
}

/// The same, from the table of demands: baseline and SSE2 of spec_log_f32, SSSE3 of avg_abs_s16.
std::set<std::string> expected(unsigned levels)
{
    std::set<std::string> names;
    for (const Demand& demand : demands) {
        const std::string name = demand.name;
        unsigned installed = 1;
        for (const Level level : rig::table().at(name))
            if ((levels >> static_cast<unsigned>(level) & 1) != 0)
                installed = 1U << static_cast<unsigned>(level);
        unsigned needs = installed == d::sse2 ? demand.sse2_needs : 0U;
        if (name == "spec_log_f32" && installed == d::base)
            needs = d::sse41;
        if (name == "avg_abs_s16" && installed == d::ssse3)
            needs = d::sse41;
        if ((needs & ~levels) != 0 ||
            (name == "unpack_s16_f32" && (levels & (d::sse2 | d::avx | d::avx2)) == 0))
            names.insert(name);
    }
    return names;
}

TEST(CppProcessor, every_set_of_levels_refuses_what_it_cannot_run)
{
    ASSERT_EQ(demands.size(), rig::entry_names().size());
    std::size_t refusals = 0;
    for (unsigned levels = 1; levels < 256; levels += 2) {
        const auto names = expected(levels);
        EXPECT_EQ(refused(levels), names) << levels;
        refusals += names.size();
    }
    EXPECT_GT(refusals, 200U);
    EXPECT_EQ(expected(7).size(), 14U);
}

TEST(CppProcessor, without_the_avx_registers_no_avx_variant_is_called)
{
    const auto names = refused(255, false);
    EXPECT_EQ(names.size(), 49U); // all but spec_log_f64
    const auto avx_only = refused(127, false);
    for (const std::string& name : rig::entry_names()) {
        const auto& levels = rig::table().at(name);
        EXPECT_EQ(avx_only.contains(name),
                  std::find(levels.begin(), levels.end(), avx) != levels.end())
            << name;
    }
    EXPECT_EQ(said<simd::unsupported>([] { simd::mult_add(array<float>(), 1, 0); }),
              "simd::mult_add: the operating system has not enabled the AVX registers");
    std::int64_t pos = 0;
    EXPECT_NE(said<simd::unsupported>([&] {
                  simd::fir_alt(array<float>(), array<double>(), pos, array<double>(1),
                                array<double>(2), array<double>(3));
              }),
              "");
}

TEST(CppProcessor, first_call_throws_and_so_does_every_other)
{
    install(sse);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(said<simd::unsupported>(
                      [] { simd::unpack_s16(array<int16_t>(), array<float>(), 1, 0); }),
                  "simd::unpack_s16: the library has no variant for this processor");
    install(sse2);
    simd::unpack_s16(array<int16_t>(), array<float>(), 1, 0);
}

TEST(CppProcessor, a_host_may_put_its_own_function_into_an_entry)
{
    install(sse2);
    d::reported = d::base | d::sse | d::sse2; // no SSE4.1
    const auto f = array<float>(), f1 = array<float>(1);
    const auto copy = [&] { simd::memcpy_fast(f, f1); };
    forget(memcpy_fast, copy);
    EXPECT_NE(said<simd::unsupported>(copy), "");
    // one that lies in another file than the library
    const auto own = memcpy_fast;
    memcpy_fast = reinterpret_cast<memcpy_fast_fn*>(
        reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "swab")));
    f1[0] = 0;
    copy();
    memcpy_fast = own;
    EXPECT_NE(said<simd::unsupported>(copy), "");
}

} // namespace
