// What no result shows of a variant's blocks: which instruction makes the step that its level names,
// with which mask, how often, and into how many accumulators.
#include "structure/kernels.h"

#include <algorithm>
#include <cstring>

namespace structure {
namespace {

using enum Level;
using Lanes = rig::Lanes;
using Bytes = std::vector<int>;

template <class T>
std::vector<T> lanes_of(const Lanes& lanes, std::size_t bytes)
{
    std::vector<T> list(bytes / sizeof(T));
    std::memcpy(list.data(), lanes.data(), bytes);
    return list;
}

/// A call on whole blocks at aligned addresses, with these instructions watched.
Called blocks_of(const std::string& name, Level level, std::size_t n,
                 std::vector<const char*> mnemonics = {}, bool scattered = false)
{
    Kernel k = kernel(name);
    k.scattered = scattered;
    return run(k, level, n, std::vector<std::size_t>(k.arrays.size()),
               [mnemonics = std::move(mnemonics)](const rig::Instruction& in) {
                   const std::string plain = rig::plain_mnemonic(in);
                   return std::find(mnemonics.begin(), mnemonics.end(), plain) != mnemonics.end();
               });
}

std::size_t width_of(Level level) { return level >= avx ? 32 : 16; }

// --- one byte shuffle ----------------------------------------------------------------------

/// Every 16 bytes of a block go through one pshufb with this mask (negative: a zero).
void one_byte_shuffle(const std::string& name, Level level, std::size_t n, std::size_t shuffles,
                      const Bytes& mask, std::size_t width)
{
    const Called r = blocks_of(name, level, n, {"pshufb"});
    EXPECT_EQ(r.trace.watched.size(), shuffles) << "byte shuffles for " << n << " elements";
    for (const rig::Watched& w : r.trace.watched)
        for (std::size_t i = 0; i < width; ++i) {
            const int byte = w.before.back()[i];
            const int stated = mask[i % 16];
            ASSERT_TRUE(stated < 0 ? byte >= 128 : byte == stated)
                << "byte " << i << " of the mask";
        }
}

const Bytes halves = {2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13};
const Bytes low_words = {0, 1, 4, 5, 8, 9, 12, 13, -1, -1, -1, -1, -1, -1, -1, -1};
const Bytes channels = {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};

// --- counted instructions ------------------------------------------------------------------

struct Counted {
    std::string kernel;
    Level level;
    const char* name;
    std::size_t n;
    std::vector<const char*> mnemonics; // one of each
    std::size_t times;                  // 0: none at all; executed for n elements on whole blocks
};

const std::vector<Counted>& counted()
{
    static const std::vector<Counted> list = {
        {"swap_words_u32", sse2, "shifts", 64, {"pslld", "psrld", "por"}, 16},
        {"fft_abs_f64", sse3, "horizontal_adds", 64, {"haddpd"}, 32},
        {"fft_abs_f64", sse3, "squares", 64, {"mulpd"}, 64},
        {"pack_f32_u8", sse2, "narrowing", 64, {"packssdw"}, 8},
        {"pack_f32_u8", sse2, "clamping", 64, {"packuswb"}, 4},
        {"pack_f32_u8", avx, "narrowing", 64, {"packssdw"}, 8},
        {"pack_f32_u8", avx, "clamping", 64, {"packuswb"}, 4},
        {"pack_f32_u8", avx2, "narrowing", 64, {"packssdw"}, 4},
        {"pack_f32_u8", avx2, "clamping", 64, {"packuswb"}, 2},
        {"pack_f64_u8", sse2, "narrowing", 64, {"packssdw"}, 8},
        {"pack_f64_u8", sse2, "clamping", 64, {"packuswb"}, 4},
        {"pack_f64_u8", avx, "narrowing", 64, {"packssdw"}, 8},
        {"pack_f64_u8", avx, "clamping", 64, {"packuswb"}, 4},
        {"pack_f32_s16", sse2, "narrowing", 64, {"packssdw"}, 8},
        {"pack_f32_s16", avx, "narrowing", 64, {"packssdw"}, 8},
        {"pack_f32_s16", avx2, "narrowing", 64, {"packssdw"}, 4},
        {"pack_f64_s16", sse2, "narrowing", 64, {"packssdw"}, 8},
        {"pack_f64_s16", avx, "narrowing", 64, {"packssdw"}, 8},
        {"pack_f64_u16", sse41, "narrowing", 64, {"packusdw"}, 8},
        {"pack_f64_u16", avx, "narrowing", 64, {"packusdw"}, 8},
    };
    return list;
}

void count(const Counted& c)
{
    const Called r = blocks_of(c.kernel, c.level, c.n);
    for (const char* mnemonic : c.mnemonics)
        EXPECT_EQ(r.trace.executed({mnemonic}), c.times) << mnemonic << " for " << c.n;
}

// --- permutations of 256 bits --------------------------------------------------------------

/// One vpermd with this order, or one vpermq, for each 32 bytes of integers.
void one_permutation(const std::string& name, std::size_t n, std::size_t times,
                     const std::vector<std::uint32_t>& order)
{
    const Called r = blocks_of(name, avx2, n, {"permd", "permq"});
    ASSERT_EQ(r.trace.watched.size(), times) << "permutations for " << n << " elements";
    for (const rig::Watched& w : r.trace.watched) {
        if (order.empty()) { // 64-bit order 0, 2, 1, 3
            ASSERT_EQ(rig::plain_mnemonic(*w.step.in), "permq");
            EXPECT_EQ(w.step.in->operands[2].imm.value.u, 0xD8U);
        } else {
            ASSERT_EQ(rig::plain_mnemonic(*w.step.in), "permd");
            EXPECT_EQ(lanes_of<std::uint32_t>(w.before.at(1), 32), order);
        }
    }
}

// --- squares: gathered first, or added across ----------------------------------------------

/// Whether the products of a block are {re0^2, re1^2} and {im0^2, im1^2}, or a pair's both.
void squares(Level level, bool gathered)
{
    const Called r = blocks_of("fft_abs_f64", level, 64, {"mulpd"});
    ASSERT_EQ(r.trace.watched.size(), 64U) << "two products for each two outputs";
    const auto* in = reinterpret_cast<const double*>(r.arrays[0]);
    std::vector<std::vector<double>> want;
    for (std::size_t k = 0; k < 128; k += 4) {
        const auto square = [&](std::size_t i) { return in[k + i] * in[k + i]; };
        want.push_back({square(0), square(gathered ? 2 : 1)});
        want.push_back({square(gathered ? 1 : 2), square(3)});
    }
    std::vector<std::vector<double>> got;
    for (const rig::Watched& w : r.trace.watched)
        got.push_back(lanes_of<double>(w.after, 16));
    std::sort(want.begin(), want.end());
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, want);
}

// --- widening ------------------------------------------------------------------------------

void signed_widening(const std::string& name, Level level)
{
    const Called r = blocks_of(name, level, 64);
    EXPECT_GE(r.trace.executed({"pcmpgtw"}), 8U) << "sign words by comparison with zero";
    EXPECT_GE(r.trace.executed({"punpcklwd"}), 8U);
    EXPECT_GE(r.trace.executed({"punpckhwd"}), 8U);
    EXPECT_EQ(r.trace.executed({"psrad", "psraw", "pmovsxwd"}), 0U);
}

void unsigned_widening(const std::string& name, Level level)
{
    const Called r = blocks_of(name, level, 64);
    EXPECT_EQ(r.trace.executed({"pcmpgtw", "pcmpgtb", "psrad", "psraw"}), 0U);
    EXPECT_GE(r.trace.executed({"punpcklbw", "punpckhbw", "punpcklwd", "punpckhwd"}), 4U)
        << "interleaved with zero";
}

// --- accumulators --------------------------------------------------------------------------

template <class T>
T minimum(T a, T b)
{
    return a < b ? a : b;
}
template <class T>
T maximum(T a, T b)
{
    return a > b ? a : b;
}
template <class T>
T sum(T a, T b)
{
    return a + b;
}

/// The results of an instruction that joins block after block are what one accumulator holds.
template <class T>
void one_accumulator(const std::string& name, Level level, const char* mnemonic, T (*join)(T, T),
                     bool from_zero = false)
{
    constexpr std::size_t n = 96;
    const Called r = blocks_of(name, level, n, {mnemonic}, true);
    const std::size_t lanes = width_of(level) / sizeof(T);
    const auto* p = reinterpret_cast<const T*>(r.arrays[0]);
    std::vector<T> held(p, p + lanes);
    const std::size_t first = from_zero ? 0 : 1;
    ASSERT_GE(r.trace.watched.size(), n / lanes - first);
    if (from_zero) {
        ASSERT_EQ(lanes_of<T>(r.trace.watched[0].after, width_of(level)), held) << "block 0";
    }
    for (std::size_t block = 1; block < n / lanes; ++block) {
        for (std::size_t j = 0; j < lanes; ++j)
            held[j] = join(held[j], p[block * lanes + j]);
        ASSERT_EQ(lanes_of<T>(r.trace.watched[block - first].after, width_of(level)), held)
            << mnemonic << " of block " << block;
    }
}

// --- broadcast once ------------------------------------------------------------------------

/// Twice as many blocks execute no more instructions that spread a value over the lanes.
void broadcasts_once(const std::string& name, Level level)
{
    const auto spreads = [&](std::size_t n) {
        return blocks_of(name, level, n)
            .trace.executed({"shufps", "shufpd", "unpcklps", "unpcklpd", "movddup", "broadcastss",
                             "broadcastsd", "pshufd", "insertf128", "movlhps", "permilps",
                             "permilpd"});
    };
    EXPECT_EQ(spreads(64), spreads(128));
    EXPECT_GE(spreads(64), 1U);
}

// --- the list ------------------------------------------------------------------------------

const bool added = [] {
    const auto shuffle = [](const char* kernel, Level level, std::size_t shuffles,
                            const Bytes& mask, std::size_t width = 16) {
        add_case(kernel, level, "one_byte_shuffle",
                 [=] { one_byte_shuffle(kernel, level, 64, shuffles, mask, width); });
    };
    shuffle("swap_words_u32", ssse3, 16, halves);
    shuffle("swap_words_u32", avx2, 8, halves, 32);
    shuffle("pack_f64_u16", ssse3, 16, low_words);
    shuffle("unpack_alt_s16_f64", ssse3, 16, channels);
    shuffle("unpack_alt_s16_f64", avx, 16, channels);

    for (const Counted& c : counted())
        add_case(c.kernel, c.level, c.name, [&c] { count(c); });
    add_case("pack_f64_u16", sse2, "narrowing", [] {
        const Called r = blocks_of("pack_f64_u16", sse2, 64);
        EXPECT_GE(r.trace.executed({"pshuflw", "pshufhw"}), 16U) << "word shuffles";
        EXPECT_GE(r.trace.executed({"pshufd", "shufps"}), 8U) << "doubleword shuffles";
        EXPECT_EQ(r.trace.executed({"packssdw", "packuswb"}), 0U);
    });

    const auto permutation = [](const char* kernel, std::size_t times,
                                const std::vector<std::uint32_t>& order) {
        add_case(kernel, avx2, "one_permutation",
                 [=] { one_permutation(kernel, 64, times, order); });
    };
    permutation("pack_f32_u8", 2, {0, 4, 1, 5, 2, 6, 3, 7});
    permutation("pack_f32_s16", 4, {});
    permutation("unpack_u8_f32", 2, {0, 2, 4, 6, 1, 3, 5, 7});
    permutation("unpack_s16_f32", 4, {});

    add_case("fft_abs_f64", sse2, "gathers_parts", [] { squares(sse2, true); });
    add_case("fft_abs_f64", sse3, "squares_pairs", [] { squares(sse3, false); });

    for (const char* kernel : {"unpack_s16_f32", "unpack_s16_f64"})
        for (const Level level : {sse2, avx})
            add_case(kernel, level, "widening", [=] { signed_widening(kernel, level); });
    for (const char* kernel : {"unpack_u8_f32", "unpack_u8_f64", "unpack_u16_f64"})
        for (const Level level : {sse2, avx})
            add_case(kernel, level, "widening", [=] { unsigned_widening(kernel, level); });
    add_case("unpack_alt_s16_f64", sse2, "interleaving", [] {
        const Called r = blocks_of("unpack_alt_s16_f64", sse2, 64);
        EXPECT_GE(r.trace.executed({"punpcklwd", "punpckhwd"}), 32U) << "word interleaving";
        EXPECT_GE(r.trace.executed({"punpcklqdq", "punpckhqdq"}), 16U) << "quadword interleaving";
    });
    for (const Level level : {sse2, avx})
        add_case("unpack_cmb_s16_f64", level, "interleaving", [level] {
            const Called r = blocks_of("unpack_cmb_s16_f64", level, 64);
            // One of each to interleave a block, two to widen it.
            EXPECT_EQ(r.trace.executed({"punpcklwd"}), 24U);
            EXPECT_EQ(r.trace.executed({"punpckhwd"}), 24U);
        });

#define ACCUMULATES(kernel, level, T, minmax, Mnemonic)                                            \
    add_case(kernel, level, "one_" #minmax,                                                        \
             [] { one_accumulator<T>(kernel, level, Mnemonic, minmax<T>); })
#define FOR_BOTH(type, T, narrow, wide, low, high)                                                 \
    ACCUMULATES("min_" type, narrow, T, minimum, low);                                             \
    ACCUMULATES("min_" type, wide, T, minimum, low);                                               \
    ACCUMULATES("max_" type, narrow, T, maximum, high);                                            \
    ACCUMULATES("max_" type, wide, T, maximum, high)
#define FOR_PAIR(kernel, T, narrow, wide, low, high)                                               \
    ACCUMULATES(kernel, narrow, T, minimum, low);                                                  \
    ACCUMULATES(kernel, wide, T, minimum, low);                                                    \
    ACCUMULATES(kernel, narrow, T, maximum, high);                                                 \
    ACCUMULATES(kernel, wide, T, maximum, high)
    FOR_BOTH("u8", std::uint8_t, sse2, avx2, "pminub", "pmaxub");
    FOR_BOTH("s16", std::int16_t, sse2, avx2, "pminsw", "pmaxsw");
    FOR_BOTH("f32", float, sse, avx, "minps", "maxps");
    FOR_BOTH("f64", double, sse2, avx, "minpd", "maxpd");
    FOR_PAIR("minmax_s16", std::int16_t, sse2, avx2, "pminsw", "pmaxsw");
    FOR_PAIR("minmax_f32", float, sse, avx, "minps", "maxps");
    FOR_PAIR("minmax_f64", double, sse2, avx, "minpd", "maxpd");
    FOR_PAIR("minmaxmed_f32", float, sse, avx, "minps", "maxps");
    FOR_PAIR("minmaxmed_f64", double, sse2, avx, "minpd", "maxpd");
    ACCUMULATES("minmaxmed_f32", sse, float, sum, "addps");
    ACCUMULATES("minmaxmed_f32", avx, float, sum, "addps");
    ACCUMULATES("minmaxmed_f64", sse2, double, sum, "addpd");
    ACCUMULATES("minmaxmed_f64", avx, double, sum, "addpd");
#define SUMS(kernel, level, T, Mnemonic)                                                           \
    add_case(kernel, level, "one_sum",                                                             \
             [] { one_accumulator<T>(kernel, level, Mnemonic, sum<T>, true); })
    SUMS("avg_f32", sse, float, "addps");
    SUMS("avg_f32", avx, float, "addps");
    SUMS("avg_f64", sse2, double, "addpd");
    SUMS("avg_f64", avx, double, "addpd");

    for (const char* kernel : {"iir1_f32", "iir1_f64", "mult_add_f32"})
        for (const Level level : above_baseline(kernel))
            add_case(kernel, level, "broadcasts_once", [=] { broadcasts_once(kernel, level); });
    return true;
}();

} // namespace
} // namespace structure
