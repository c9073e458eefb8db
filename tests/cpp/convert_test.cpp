// tests/cpp/convert_test.cpp: the conversions of libsimd.hpp. Where the kernel works and is regular, its
// bits; elsewhere what the header promises, by plain loops.
#include "cpp/places.h"
#include "models/pack.h"

#include <algorithm>

namespace {

using namespace cpp;
using enum Level;

// --- Packing -----------------------------------------------------------------------------------------

template <class S, class D>
auto pack_codes(S src, D codes)
{
    using Code = typename D::value_type;
    if constexpr (std::is_same_v<Code, std::uint8_t>)
        return simd::pack_u8(src, codes);
    else if constexpr (std::is_same_v<Code, std::int16_t>)
        return simd::pack_s16(src, codes);
    else
        return simd::pack_u16(src, codes);
}

/// Whether the kernel takes this call, and takes every sample into its range.
template <class K>
bool regular(const pack::Row& row, std::span<const typename K::Sample> src,
             const typename K::Code* dst)
{
    using T = typename K::Sample;
    if (pack::plan(row, address(src.data()), sizeof(T), address(dst), sizeof(typename K::Code),
                   src.size())
            .faults)
        return false;
    const bool parity = std::is_same_v<T, double> && row.width == 16;
    return !parity || src.size() <= 15 || src.size() % 2 != 0 || address(src.data()) % 16 == 0;
}

template <class K>
void pack_everywhere(typename K::Fn*& raw, std::initializer_list<Level> levels, bool some_irregular)
{
    using T = typename K::Sample;
    using U = typename K::Code;
    Place<T> src;
    Place<U> dst;
    std::size_t irregular = 0;
    for (const Kind kind : {Kind::ordinary, Kind::mixed, Kind::constant, Kind::ties})
        everywhere<T, U>(
            levels,
            [&](Level level, std::size_t n, Edge edge, std::size_t from, std::size_t to) {
                const auto s = src.at(n, from, edge);
                const auto d = dst.at(n, to, edge);
                take(s, values<T>(kind));
                std::fill(d.begin(), d.end(), U{77});
                const pack::Row row = pack::row_at<K>(level);
                std::vector<U> want(n);
                T step = 0, offset = 0;
                if (n != 0 && regular<K>(row, s, d.data())) {
                    raw(s.data(), n, d.data(), &step, &offset);
                    want = dst.copy();
                    std::fill(d.begin(), d.end(), U{77});
                } else if (n != 0) {
                    ++irregular;
                    const auto [low, high] = simd::minmax(s); // has a test of its own
                    pack::Quantiser<K> quantiser(row, low, high);
                    quantiser.narrow = pack::Narrow::clamp;
                    step = quantiser.step;
                    offset = quantiser.offset;
                    for (std::size_t i = 0; i < n; ++i)
                        want[i] = quantiser.block(s[i]);
                }
                const auto got = pack_codes(s, d);
                ASSERT_TRUE(rig::same_bits(step, got.step) && rig::same_bits(offset, got.offset))
                    << where(level, n, from, to) << ": " << got.step << ", " << got.offset;
                ASSERT_TRUE(same<U>(want, d) && src.intact() && dst.intact())
                    << where(level, n, from, to);
                for (std::size_t i = 0; i < n && kind == Kind::ordinary;
                     ++i) { // what the codes are for
                    const T away = static_cast<T>(d[i]) * got.step + got.offset - s[i];
                    ASSERT_LE(std::abs(away), got.step * T(1.01))
                        << where(level, n, from, to) << ", " << i;
                }
            },
            kind == Kind::ordinary ? longest : 80);
    EXPECT_EQ(irregular > 100, some_irregular);
}

TEST(Cpp, pack_f32_u8) { pack_everywhere<pack::F32U8>(pack_f32_u8, {base, sse2, avx, avx2}, true); }
TEST(Cpp, pack_f32_s16)
{
    pack_everywhere<pack::F32S16>(pack_f32_s16, {base, sse2, avx, avx2}, false);
}
TEST(Cpp, pack_f64_u8) { pack_everywhere<pack::F64U8>(pack_f64_u8, {base, sse2, avx}, true); }
TEST(Cpp, pack_f64_s16) { pack_everywhere<pack::F64S16>(pack_f64_s16, {base, sse2, avx}, true); }
TEST(Cpp, pack_f64_u16)
{
    pack_everywhere<pack::F64U16>(pack_f64_u16, {base, sse2, ssse3, sse41, avx}, true);
}

// --- Unpacking: one formula at every level ---------------------------------------------------------

template <class T, class U>
T restored(U code, T step, T offset)
{
    return model::add(model::mul(static_cast<T>(code), step), offset);
}

template <class U, class T>
void unpack_everywhere(std::initializer_list<Level> levels)
{
    Place<U> src;
    Place<T> dst;
    const T step = T(0.37), offset = T(-12.3);
    everywhere<U, T>(levels, [&](Level level, std::size_t n, Edge edge, std::size_t from,
                                 std::size_t to) {
        const auto s = src.at(n, from, edge);
        const auto d = dst.at(n, to, edge);
        take(s, values<U>(Kind::ordinary));
        std::fill(d.begin(), d.end(), T(77));
        std::vector<T> want(n);
        for (std::size_t i = 0; i < n; ++i)
            want[i] = restored(s[i], step, offset);
        if constexpr (std::is_same_v<U, std::uint8_t>)
            simd::unpack_u8(s, d, step, offset);
        else if constexpr (std::is_same_v<U, std::int16_t>)
            simd::unpack_s16(s, d, step, offset);
        else
            simd::unpack_u16(s, d, step, offset);
        ASSERT_TRUE(same<T>(want, d) && src.intact() && dst.intact()) << where(level, n, from, to);
    });
}

TEST(Cpp, unpack_u8_f32) { unpack_everywhere<std::uint8_t, float>({base, sse2, avx, avx2}); }
TEST(Cpp, unpack_s16_f32) { unpack_everywhere<std::int16_t, float>({sse2, avx, avx2}); }
TEST(Cpp, unpack_u8_f64) { unpack_everywhere<std::uint8_t, double>({base, sse2, avx}); }
TEST(Cpp, unpack_s16_f64) { unpack_everywhere<std::int16_t, double>({base, sse2, avx}); }
TEST(Cpp, unpack_u16_f64) { unpack_everywhere<std::uint16_t, double>({base, sse2, avx}); }

TEST(Cpp, unpack_longer_than_a_buffer) // where the codes pass through one
{
    install(sse2);
    alignas(32) static std::uint8_t codes[5000];
    alignas(32) static float out[5000];
    for (std::size_t i = 0; i < 5000; ++i)
        codes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    for (std::size_t at = 0; at < 4; ++at) {
        const auto to = std::span(out).subspan(at, 4990);
        simd::unpack_u8(std::span(codes).subspan(2, 4990), to, 0.5F, 1);
        for (std::size_t i = 0; i < to.size(); ++i)
            ASSERT_EQ(to[i], restored(codes[i + 2], 0.5F, 1.0F)) << at << ", " << i;
    }
}

// --- Two channels ------------------------------------------------------------------------------------

TEST(Cpp, unpack_alt_s16)
{
    using S = std::int16_t;
    Place<S> src;
    Place<double> even, odd;
    const auto& from = values<S>(Kind::ordinary);
    everywhere<S, double, double>({base, sse2, ssse3, avx}, [&](Level level, std::size_t n,
                                                                Edge edge, std::size_t at,
                                                                std::size_t at0, std::size_t at1) {
        const auto s = src.at(2 * n, at, edge);
        const auto d0 = even.at(n, at0, edge), d1 = odd.at(n, at1, edge);
        take(s, from);
        std::vector<double> want0(n), want1(n);
        for (std::size_t i = 0; i < n; ++i) {
            want0[i] = restored(s[2 * i], 0.3, 0.1);
            want1[i] = restored(s[2 * i + 1], 0.3, 0.1);
            d0[i] = d1[i] = 77;
        }
        simd::unpack_alt_s16(s, d0, d1, 0.3, 0.1);
        ASSERT_TRUE(same<double>(want0, d0) && same<double>(want1, d1) && src.intact() &&
                    even.intact() && odd.intact())
            << where(level, n, at, at0, at1);
    });
}

TEST(Cpp, unpack_alt_longer_than_a_buffer)
{
    for (const Level level : {sse2, ssse3, avx}) {
        install(level);
        simd::aligned_vector<std::int16_t> codes(4000);
        for (std::size_t i = 0; i < codes.size(); ++i)
            codes[i] = static_cast<std::int16_t>(i * 31);
        simd::aligned_vector<double> even(1990), odd(1990);
        for (std::size_t at = 0; at < 16; ++at) {
            simd::unpack_alt_s16(std::span(codes).subspan(at, 3980), even, odd, 2, 1);
            for (std::size_t i = 0; i < even.size(); ++i)
                ASSERT_TRUE(even[i] == codes[at + 2 * i] * 2.0 + 1 &&
                            odd[i] == codes[at + 2 * i + 1] * 2.0 + 1)
                    << at << ", " << i;
        }
    }
}

TEST(Cpp, unpack_cmb_s16)
{
    using S = std::int16_t;
    Place<S> src0, src1;
    Place<double> dst;
    const auto &from0 = values<S>(Kind::ordinary), &from1 = values<S>(Kind::ordinary, 2);
    everywhere<S, S, double>(
        {base, sse2, avx},
        [&](Level level, std::size_t n, Edge edge, std::size_t at0, std::size_t at1,
            std::size_t to) {
            const auto s0 = src0.at(n, at0, edge), s1 = src1.at(n, at1, edge);
            const auto d = dst.at(2 * n, to, edge);
            take(s0, from0);
            take(s1, from1);
            std::vector<double> want(2 * n);
            for (std::size_t i = 0; i < n; ++i) {
                want[2 * i] = restored(s0[i], 0.3, 0.1);
                want[2 * i + 1] = restored(s1[i], 0.3, 0.1);
            }
            std::fill(d.begin(), d.end(), 77.0);
            simd::unpack_cmb_s16(s0, s1, d, 0.3, 0.1);
            ASSERT_TRUE(same<double>(want, d) && src0.intact() && src1.intact() && dst.intact())
                << where(level, n, at0, at1, to);
        },
        140); // three blocks behind a head of 15
}

} // namespace
