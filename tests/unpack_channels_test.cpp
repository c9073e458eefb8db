// tests/unpack_channels_test.cpp: every variant of unpack_alt_s16_f64 and unpack_cmb_s16_f64
// against its model, bit for bit, and the faults of buffers that miss their preconditions.
#include "models/unpack_channels.h"
#include "rig/call.h"
#include "rig/data.h"
#include "vector_access.h"

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace {

using namespace unpack_channels;
using rig::Edge;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

constexpr std::size_t most = 200; // pairs
std::size_t compared = 0;

double nan_of(std::uint64_t payload, bool quiet)
{
    using F = model::Format<double>;
    return model::from_bits<double>(F::exponent | (quiet ? F::quiet : 0) | payload);
}

/// Scales and offsets for which order, rounding or payload matters.
std::vector<std::array<double, 2>> special_scales()
{
    const double infinity = std::numeric_limits<double>::infinity();
    return {{1.0, 0.0},
            {0.0, -0.0},
            {0.1, -25.5},
            {nan_of(0x11, false), nan_of(0x22, true)}, // the product's NaN leads
            {nan_of(0x33, true), nan_of(0x44, false)},
            {2.0, nan_of(0x55, false)},
            {nan_of(0x66, true), 1.0},
            {infinity, 1.0}, // sample 0: 0 * infinity
            {infinity, nan_of(0x77, true)},
            {std::numeric_limits<double>::max(), 0.0}};
}

std::uintptr_t address(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }

// --- Alternate -----------------------------------------------------------------------------------

class Alt {
public:
    const Level level;
    unpack_alt_s16_f64_fn* const kernel;
    rig::Buffer<std::int16_t> src{2 * most};
    rig::Buffer<double> dst0{most}, dst1{most};
    std::vector<std::int16_t> samples = std::vector<std::int16_t>(2 * most);
    std::vector<double> want0 = std::vector<double>(most), want1 = std::vector<double>(most);
    rig::Random random{101};

    explicit Alt(Level at_level)
        : level(at_level), kernel(KERNEL(rig::at(at_level), unpack_alt_s16_f64))
    {
        EXPECT_EQ(rig::at(level).variant("unpack_alt_s16_f64"),
                  std::string("unpack_alt_s16_f64_") + rig::name(level));
    }
    ~Alt() { testing::Test::RecordProperty("compared", std::to_string(compared)); }

    struct Places {
        std::size_t src, dst0, dst1;
    };

    AssertionResult unpacks(std::size_t n, Places at, Edge edge, double scale, double offset)
    {
        const std::int16_t* const s = src.place(2 * n, at.src, edge);
        double* const d0 = dst0.place(n, at.dst0, edge);
        double* const d1 = dst1.place(n, at.dst1, edge);
        if (n != 0)
            std::memcpy(src.data(), samples.data(), src.bytes());
        const Plan where = alt_plan(level, address(s), address(d0), address(d1), n);
        for (std::size_t i = 0; i < n; ++i) {
            want0[i] = converted(samples[2 * i], scale, offset);
            want1[i] = converted(samples[2 * i + 1], scale, offset);
            for (auto [dst, want] : {std::pair{&dst0, &want0[i]}, {&dst1, &want1[i]}}) {
                const double unlike = model::from_bits<double>(~rig::bits_of(*want));
                dst->set(i, unlike); // what is not written shows
                if (where.faults && i >= where.singles)
                    *want = unlike;
            }
        }

        ++compared;
        const auto call = [&] { kernel(s, n, d0, d1, scale, offset); };
        if (where.faults) {
            if (!rig::faults(call))
                return AssertionFailure() << "no fault";
        } else if (AssertionResult fine = rig::armed(level, call); !fine) {
            return fine;
        }

        // A block that faults may have stored to the destination that it reached first.
        if (AssertionResult same =
                rig::same_bits(want0.data(), d0, where.faults ? where.singles : n);
            !same)
            return same << " (channel 0, " << where.singles << " singly)";
        if (AssertionResult same =
                rig::same_bits(want1.data(), d1, where.faults ? where.singles : n);
            !same)
            return same << " (channel 1, " << where.singles << " singly)";
        if (n != 0 && std::memcmp(s, samples.data(), src.bytes()) != 0)
            return AssertionFailure() << "src changed";
        for (const AssertionResult& whole : {src.intact(), dst0.intact(), dst1.intact()})
            if (!whole)
                return whole;
        return AssertionSuccess();
    }

    std::string where(std::size_t n, Places at, Edge edge) const
    {
        return std::string(" at ") + rig::name(level) + ", n = " + std::to_string(n) + ", src at " +
               std::to_string(at.src) + ", dst0 at " + std::to_string(at.dst0) + ", dst1 at " +
               std::to_string(at.dst1) + (edge == Edge::start ? ", start" : ", end");
    }

    bool planned_fault(std::size_t n, Places at) const
    {
        return alt_plan(level, at.src, at.dst0, at.dst1, n).faults;
    }
};

void alt_every_count(Level level)
{
    Alt alt(level);
    const auto scales = special_scales();
    std::size_t turn = 0;
    constexpr Alt::Places places[] = {{0, 0, 0},    {2, 0, 0},  {6, 8, 8},   {32, 0, 32},
                                      {16, 16, 48}, {8, 8, 40}, {4, 24, 56}, {0, 0, 8},
                                      {62, 56, 24}, {4, 32, 0}};
    for (std::size_t n = 0; n <= 48; ++n)
        for (const Alt::Places& at : places)
            for (const rig::Kind kind : rig::all_kinds)
                for (const Edge edge : rig::both_edges) {
                    rig::fill(alt.samples.data(), 2 * n, alt.random, kind);
                    const auto& given = scales[turn++ % scales.size()];
                    const double scale = rig::make<double>(alt.random, rig::Kind::ordinary);
                    const double offset = rig::make<double>(alt.random, rig::Kind::ordinary);
                    const bool plain = turn % 2 == 0;
                    ASSERT_TRUE(alt.unpacks(n, at, edge, plain ? scale : given[0],
                                            plain ? offset : given[1]))
                        << alt.where(n, at, edge);
                }
}

void alt_every_place(Level level)
{
    Alt alt(level);
    std::size_t turn = 0;
    for (std::size_t src_at = 0; src_at < 64; src_at += 2)
        for (std::size_t dst0_at = 0; dst0_at < 64; dst0_at += 8)
            for (std::size_t dst1_at = 0; dst1_at < 64; dst1_at += 8)
                for (const std::size_t n : {3U, 4U, 8U, 11U, 13U, 30U}) {
                    const Alt::Places at = {src_at, dst0_at, dst1_at};
                    const Edge edge = rig::both_edges[turn++ % 2];
                    rig::fill(alt.samples.data(), 2 * n, alt.random,
                              rig::all_kinds[turn % std::size(rig::all_kinds)]);
                    const double scale = rig::make<double>(alt.random, rig::Kind::mixed);
                    const double offset = rig::make<double>(alt.random, rig::Kind::mixed);
                    ASSERT_TRUE(alt.unpacks(n, at, edge, scale, offset)) << alt.where(n, at, edge);
                }
}

void alt_count_zero(Level level)
{
    Alt alt(level);
    for (const std::size_t at : {0U, 8U, 16U})
        for (const Edge edge : rig::both_edges)
            EXPECT_TRUE(alt.unpacks(0, {at, 0, at}, edge, 2.0, 3.0));
    EXPECT_TRUE(rig::armed(level, [&] { alt.kernel(nullptr, 0, nullptr, nullptr, 2.0, 3.0); }));
}

void alt_one_pair_of_limits(Level level)
{
    Alt alt(level);
    alt.samples[0] = -32768;
    alt.samples[1] = 32767;
    ASSERT_TRUE(alt.unpacks(1, {0, 0, 0}, Edge::end, 1.0 / 32768, 0.0));
    EXPECT_EQ(alt.dst0.get(0), -1.0);
    EXPECT_EQ(alt.dst1.get(0), 32767.0 / 32768);
}

// No word is lost to another channel, place or sign.
void alt_all_samples(Level level)
{
    Alt alt(level);
    for (int first = -32768; first < 32768; first += 2 * 128) {
        for (int i = 0; i < 2 * 128; ++i)
            alt.samples[static_cast<std::size_t>(i)] = static_cast<std::int16_t>(first + i);
        ASSERT_TRUE(alt.unpacks(128, {2, 0, 0}, Edge::end, 1.0, 0.0));
        for (int i = 0; i < 128; ++i) {
            ASSERT_EQ(alt.dst0.get(static_cast<std::size_t>(i)), first + 2 * i);
            ASSERT_EQ(alt.dst1.get(static_cast<std::size_t>(i)), first + 2 * i + 1);
        }
        ASSERT_TRUE(alt.unpacks(128, {32, 0, 0}, Edge::end, 0.1, -0.3));
    }
}

// Destinations that are never on a boundary together: pair by pair, the same results, no fault
// whatever src is.
void alt_destinations_apart(Level level)
{
    Alt alt(level);
    rig::fill(alt.samples.data(), 2 * most, alt.random, rig::Kind::ordinary);
    for (std::size_t src_at = 0; src_at < 64; src_at += 2)
        for (std::size_t dst_at = 0; dst_at < 64; dst_at += 8) {
            const Alt::Places at = {src_at, dst_at, (dst_at + 8) % 64};
            EXPECT_FALSE(alt.planned_fault(40, at));
            ASSERT_TRUE(alt.unpacks(40, at, Edge::end, 0.7, -11.0)) << alt.where(40, at, Edge::end);
        }
}

void alt_nan_payloads(Level level)
{
    Alt alt(level);
    rig::fill(alt.samples.data(), 2 * most, alt.random, rig::Kind::special);
    for (const bool quiet : {false, true})
        for (const Alt::Places& at : {Alt::Places{0, 0, 0}, {2, 0, 0}, {6, 24, 24}, {0, 8, 0}}) {
            const double scale = nan_of(0x51, quiet);
            const double offset = nan_of(0x0F, !quiet);
            ASSERT_TRUE(alt.unpacks(43, at, Edge::end, scale, offset));
            for (std::size_t i = 0; i < 43; ++i) {
                ASSERT_TRUE(rig::same_bits(nan_of(0x51, true), alt.dst0.get(i)));
                ASSERT_TRUE(rig::same_bits(nan_of(0x51, true), alt.dst1.get(i)));
            }
            ASSERT_TRUE(alt.unpacks(43, at, Edge::end, 3.0, offset));
            for (std::size_t i = 0; i < 43; ++i)
                ASSERT_TRUE(rig::same_bits(nan_of(0x0F, true), alt.dst1.get(i)));
        }
}

void alt_product_rounded(Level level)
{
    Alt alt(level);
    const double product = model::mul(7.0, 0.1);
    ASSERT_NE(std::fma(7.0, 0.1, -product), 0.0);
    alt.samples.assign(2 * most, 7);
    ASSERT_TRUE(alt.unpacks(43, {0, 0, 0}, Edge::end, 0.1, -product));
    for (std::size_t i = 0; i < 43; ++i) {
        ASSERT_TRUE(rig::same_bits(0.0, alt.dst0.get(i)));
        ASSERT_TRUE(rig::same_bits(0.0, alt.dst1.get(i)));
    }
}

/// Loads are aligned after the walk of src, and only then; stores always.
void alt_aligned_accesses(Level level)
{
    Alt alt(level);
    const AltRow row = alt_row(level);
    rig::fill(alt.samples.data(), 2 * most, alt.random, rig::Kind::ordinary);
    for (const std::size_t src_at : {0U, 16U, 2U, 6U, 12U, 20U}) {
        const std::size_t n = 24;
        if (alt.planned_fault(n, {src_at, 0, 0}))
            continue;
        ASSERT_TRUE(alt.unpacks(n, {src_at, 0, 0}, Edge::end, 0.1, 1.0));
        const auto call = [&] {
            alt.kernel(alt.src.data(), n, alt.dst0.data(), alt.dst1.data(), 0.1, 1.0);
        };
        for (const auto* dst : {&alt.dst0, &alt.dst1})
            EXPECT_EQ(rig::unaligned_accesses(rig::Access::store, dst->data(), dst->bytes(), call),
                      0U)
                << src_at;
        const std::size_t unaligned =
            rig::unaligned_accesses(rig::Access::load, alt.src.data(), alt.src.bytes(), call);
        EXPECT_EQ(unaligned != 0, src_at % row.walk_if != 0) << src_at << ": " << unaligned;
    }
}

// --- Combined ------------------------------------------------------------------------------------

class Cmb {
public:
    const Level level;
    unpack_cmb_s16_f64_fn* const kernel;
    rig::Buffer<std::int16_t> src0{most}, src1{most};
    rig::Buffer<double> dst{2 * most};
    std::vector<std::int16_t> samples0 = std::vector<std::int16_t>(most);
    std::vector<std::int16_t> samples1 = std::vector<std::int16_t>(most);
    std::vector<double> want = std::vector<double>(2 * most);
    rig::Random random{102};

    explicit Cmb(Level at_level)
        : level(at_level), kernel(KERNEL(rig::at(at_level), unpack_cmb_s16_f64))
    {
        EXPECT_EQ(rig::at(level).variant("unpack_cmb_s16_f64"),
                  std::string("unpack_cmb_s16_f64_") + rig::name(level));
    }
    ~Cmb() { testing::Test::RecordProperty("compared", std::to_string(compared)); }

    struct Places {
        std::size_t src0, src1, dst;
    };

    void generate(std::size_t n, rig::Kind kind)
    {
        rig::fill(samples0.data(), n, random, kind);
        rig::fill(samples1.data(), n, random, kind);
    }

    AssertionResult unpacks(std::size_t n, Places at, Edge edge, double scale, double offset)
    {
        const std::int16_t* const s0 = src0.place(n, at.src0, edge);
        const std::int16_t* const s1 = src1.place(n, at.src1, edge);
        double* const d = dst.place(2 * n, at.dst, edge);
        if (n != 0) {
            std::memcpy(src0.data(), samples0.data(), src0.bytes());
            std::memcpy(src1.data(), samples1.data(), src1.bytes());
        }
        const Plan where = cmb_plan(level, address(s0), address(s1), address(d), n);
        for (std::size_t i = 0; i < 2 * n; ++i) {
            want[i] = converted(i % 2 == 0 ? samples0[i / 2] : samples1[i / 2], scale, offset);
            const double unlike = model::from_bits<double>(~rig::bits_of(want[i]));
            dst.set(i, unlike); // what is not written shows
            if (where.faults && i >= 2 * where.singles)
                want[i] = unlike;
        }

        ++compared;
        const auto call = [&] { kernel(s0, s1, n, d, scale, offset); };
        if (where.faults) {
            if (!rig::faults(call))
                return AssertionFailure() << "no fault";
        } else if (AssertionResult fine = rig::armed(level, call); !fine) {
            return fine;
        }

        if (AssertionResult same = rig::same_bits(want.data(), d, 2 * n); !same)
            return same << " (" << where.singles << " pairs singly)";
        if (n != 0 && (std::memcmp(s0, samples0.data(), src0.bytes()) != 0 ||
                       std::memcmp(s1, samples1.data(), src1.bytes()) != 0))
            return AssertionFailure() << "a source changed";
        for (const AssertionResult& whole : {src0.intact(), src1.intact(), dst.intact()})
            if (!whole)
                return whole;
        return AssertionSuccess();
    }

    std::string where(std::size_t n, Places at, Edge edge) const
    {
        return std::string(" at ") + rig::name(level) + ", n = " + std::to_string(n) +
               ", src0 at " + std::to_string(at.src0) + ", src1 at " + std::to_string(at.src1) +
               ", dst at " + std::to_string(at.dst) + (edge == Edge::start ? ", start" : ", end");
    }

    bool planned_fault(std::size_t n, Places at) const
    {
        return cmb_plan(level, at.src0, at.src1, at.dst, n).faults;
    }
};

void cmb_every_count(Level level)
{
    Cmb cmb(level);
    const auto scales = special_scales();
    std::size_t turn = 0;
    constexpr Cmb::Places places[] = {{0, 0, 0},  {2, 2, 8},  {0, 16, 0},  {16, 48, 16},
                                      {4, 36, 0}, {2, 2, 32}, {6, 10, 24}, {62, 30, 56},
                                      {2, 18, 0}, {8, 8, 0}};
    for (std::size_t n = 0; n <= 60; ++n)
        for (const Cmb::Places& at : places)
            for (const rig::Kind kind : rig::all_kinds)
                for (const Edge edge : rig::both_edges) {
                    cmb.generate(n, kind);
                    const auto& given = scales[turn++ % scales.size()];
                    const double scale = rig::make<double>(cmb.random, rig::Kind::ordinary);
                    const double offset = rig::make<double>(cmb.random, rig::Kind::ordinary);
                    const bool plain = turn % 2 == 0;
                    ASSERT_TRUE(cmb.unpacks(n, at, edge, plain ? scale : given[0],
                                            plain ? offset : given[1]))
                        << cmb.where(n, at, edge);
                }
}

void cmb_every_place(Level level)
{
    Cmb cmb(level);
    std::size_t turn = 0;
    for (std::size_t src0_at = 0; src0_at < 64; src0_at += 2)
        for (std::size_t src1_at = 0; src1_at < 64; src1_at += 2)
            for (std::size_t dst_at = 0; dst_at < 64; dst_at += 8)
                for (const std::size_t n : {7U, 8U, 19U, 42U}) {
                    const Cmb::Places at = {src0_at, src1_at, dst_at};
                    const Edge edge = rig::both_edges[turn++ % 2];
                    cmb.generate(n, rig::all_kinds[turn % std::size(rig::all_kinds)]);
                    const double scale = rig::make<double>(cmb.random, rig::Kind::mixed);
                    const double offset = rig::make<double>(cmb.random, rig::Kind::mixed);
                    ASSERT_TRUE(cmb.unpacks(n, at, edge, scale, offset)) << cmb.where(n, at, edge);
                }
}

void cmb_count_zero(Level level)
{
    Cmb cmb(level);
    for (const std::size_t at : {0U, 8U, 16U})
        for (const Edge edge : rig::both_edges)
            EXPECT_TRUE(cmb.unpacks(0, {at, 0, at}, edge, 2.0, 3.0));
    EXPECT_TRUE(rig::armed(level, [&] { cmb.kernel(nullptr, nullptr, 0, nullptr, 2.0, 3.0); }));
}

void cmb_two_pairs(Level level)
{
    Cmb cmb(level);
    cmb.samples0 = {1, 2};
    cmb.samples1 = {3, 4};
    ASSERT_TRUE(cmb.unpacks(2, {0, 0, 0}, Edge::end, 1.0, 0.5));
    const double want[] = {1.5, 3.5, 2.5, 4.5};
    EXPECT_TRUE(rig::same_bits(want, cmb.dst.data(), 4));
}

void cmb_all_samples(Level level)
{
    Cmb cmb(level);
    for (int first = -32768; first < 32768; first += 128) {
        for (int i = 0; i < 128; ++i) {
            cmb.samples0[static_cast<std::size_t>(i)] = static_cast<std::int16_t>(first + i);
            cmb.samples1[static_cast<std::size_t>(i)] = static_cast<std::int16_t>(-first - i - 1);
        }
        ASSERT_TRUE(cmb.unpacks(128, {0, 0, 0}, Edge::end, 1.0, 0.0));
        for (int i = 0; i < 128; ++i) {
            ASSERT_EQ(cmb.dst.get(static_cast<std::size_t>(2 * i)), first + i);
            ASSERT_EQ(cmb.dst.get(static_cast<std::size_t>(2 * i + 1)), -first - i - 1);
        }
        ASSERT_TRUE(cmb.unpacks(128, {2, 0, 8}, Edge::end, 0.1, -0.3));
    }
}

void cmb_nan_payloads(Level level)
{
    Cmb cmb(level);
    cmb.generate(most, rig::Kind::special);
    for (const bool quiet : {false, true})
        for (const Cmb::Places& at : {Cmb::Places{0, 0, 0}, {4, 4, 8}, {0, 2, 0}, {0, 2, 8}}) {
            const double scale = nan_of(0x51, quiet);
            const double offset = nan_of(0x0F, !quiet);
            ASSERT_TRUE(cmb.unpacks(45, at, Edge::end, scale, offset));
            for (std::size_t i = 0; i < 90; ++i)
                ASSERT_TRUE(rig::same_bits(nan_of(0x51, true), cmb.dst.get(i)));
            ASSERT_TRUE(cmb.unpacks(45, at, Edge::end, 3.0, offset));
            for (std::size_t i = 0; i < 90; ++i)
                ASSERT_TRUE(rig::same_bits(nan_of(0x0F, true), cmb.dst.get(i)));
        }
}

void cmb_product_rounded(Level level)
{
    Cmb cmb(level);
    const double product = model::mul(7.0, 0.1);
    ASSERT_NE(std::fma(7.0, 0.1, -product), 0.0);
    cmb.samples0.assign(most, 7);
    cmb.samples1.assign(most, 7);
    ASSERT_TRUE(cmb.unpacks(45, {0, 0, 0}, Edge::end, 0.1, -product));
    for (std::size_t i = 0; i < 90; ++i)
        ASSERT_TRUE(rig::same_bits(0.0, cmb.dst.get(i)));
}

/// Loads are aligned where the sources agree modulo the width, stores where dst is aligned at
/// entry.
void cmb_aligned_accesses(Level level)
{
    Cmb cmb(level);
    const std::size_t width = cmb_width(level);
    cmb.generate(most, rig::Kind::ordinary);
    constexpr Cmb::Places places[] = {{0, 0, 0},  {0, 2, 0},  {4, 4, 0},   {4, 4, 8},
                                      {0, 16, 0}, {0, 16, 8}, {16, 16, 0}, {16, 16, 16},
                                      {2, 18, 8}, {0, 32, 40}};
    for (const Cmb::Places& at : places) {
        const std::size_t n = 32;
        ASSERT_FALSE(cmb.planned_fault(n, at));
        ASSERT_TRUE(cmb.unpacks(n, at, Edge::end, 0.1, 1.0));
        const auto call = [&] {
            cmb.kernel(cmb.src0.data(), cmb.src1.data(), n, cmb.dst.data(), 0.1, 1.0);
        };
        const std::string where = cmb.where(n, at, Edge::end);
        const std::size_t stores =
            rig::unaligned_accesses(rig::Access::store, cmb.dst.data(), cmb.dst.bytes(), call);
        EXPECT_EQ(stores != 0, at.dst % width != 0) << where;
        for (const auto* src : {&cmb.src0, &cmb.src1}) {
            const std::size_t loads =
                rig::unaligned_accesses(rig::Access::load, src->data(), src->bytes(), call);
            EXPECT_EQ(loads != 0, at.src0 % width != at.src1 % width) << where;
        }
    }
}

#define ALT_VARIANT(at)                                                                            \
    TEST(unpack_alt_s16_f64, at##_every_count) { alt_every_count(Level::at); }                     \
    TEST(unpack_alt_s16_f64, at##_every_place) { alt_every_place(Level::at); }                     \
    TEST(unpack_alt_s16_f64, at##_count_zero) { alt_count_zero(Level::at); }                       \
    TEST(unpack_alt_s16_f64, at##_one_pair_of_limits) { alt_one_pair_of_limits(Level::at); }       \
    TEST(unpack_alt_s16_f64, at##_all_samples) { alt_all_samples(Level::at); }                     \
    TEST(unpack_alt_s16_f64, at##_destinations_apart) { alt_destinations_apart(Level::at); }       \
    TEST(unpack_alt_s16_f64, at##_nan_payloads) { alt_nan_payloads(Level::at); }                   \
    TEST(unpack_alt_s16_f64, at##_product_rounded) { alt_product_rounded(Level::at); }
#define CMB_VARIANT(at)                                                                            \
    TEST(unpack_cmb_s16_f64, at##_every_count) { cmb_every_count(Level::at); }                     \
    TEST(unpack_cmb_s16_f64, at##_every_place) { cmb_every_place(Level::at); }                     \
    TEST(unpack_cmb_s16_f64, at##_count_zero) { cmb_count_zero(Level::at); }                       \
    TEST(unpack_cmb_s16_f64, at##_two_pairs) { cmb_two_pairs(Level::at); }                         \
    TEST(unpack_cmb_s16_f64, at##_all_samples) { cmb_all_samples(Level::at); }                     \
    TEST(unpack_cmb_s16_f64, at##_nan_payloads) { cmb_nan_payloads(Level::at); }                   \
    TEST(unpack_cmb_s16_f64, at##_product_rounded) { cmb_product_rounded(Level::at); }

#define ALT_VECTOR_VARIANT(at)                                                                     \
    ALT_VARIANT(at)                                                                                \
    TEST(unpack_alt_s16_f64, at##_aligned_accesses) { alt_aligned_accesses(Level::at); }
#define CMB_VECTOR_VARIANT(at)                                                                     \
    CMB_VARIANT(at)                                                                                \
    TEST(unpack_cmb_s16_f64, at##_aligned_accesses) { cmb_aligned_accesses(Level::at); }

ALT_VARIANT(base)
ALT_VECTOR_VARIANT(sse2)
ALT_VECTOR_VARIANT(ssse3)
ALT_VECTOR_VARIANT(avx)
CMB_VARIANT(base)
CMB_VECTOR_VARIANT(sse2)
CMB_VECTOR_VARIANT(avx)

// --- Preconditions -------------------------------------------------------------------------------

constexpr Level alt_levels[] = {Level::base, Level::sse2, Level::ssse3, Level::avx};
constexpr Level cmb_levels[] = {Level::base, Level::sse2, Level::avx};

/// Whether a call of n pairs at these places faults; compared either way.
template <class Kernel>
bool compared_and_faults(Level level, std::size_t n, typename Kernel::Places at)
{
    Kernel kernel(level);
    if constexpr (std::is_same_v<Kernel, Cmb>)
        kernel.generate(n, rig::Kind::ordinary);
    else
        rig::fill(kernel.samples.data(), 2 * n, kernel.random, rig::Kind::ordinary);
    EXPECT_TRUE(kernel.unpacks(n, at, Edge::end, 0.5, 0.1)) << kernel.where(n, at, Edge::end);
    return rig::faults([&] {
        if constexpr (std::is_same_v<Kernel, Cmb>)
            kernel.kernel(kernel.src0.data(), kernel.src1.data(), n, kernel.dst.data(), 0.5, 0.1);
        else
            kernel.kernel(kernel.src.data(), n, kernel.dst0.data(), kernel.dst1.data(), 0.5, 0.1);
    });
}

// Both destinations aligned, src a multiple of 4 (AVX: 8) that is 4 or 12 modulo 16 (8 or 24
// modulo 32): the walk is an odd number of pairs (AVX: not of four), the stores trap.
TEST(unpack_alt_s16_f64, source_at_a_walk_of_part_of_a_block_faults)
{
    for (const Level level : alt_levels)
        for (std::size_t src_at = 0; src_at < 64; src_at += 2) {
            bool want = false;
            if (level == Level::sse2 || level == Level::ssse3)
                want = src_at % 16 == 4 || src_at % 16 == 12;
            else if (level == Level::avx)
                want = src_at % 32 == 8 || src_at % 32 == 24;
            EXPECT_EQ(compared_and_faults<Alt>(level, 40, {src_at, 0, 32}), want)
                << rig::name(level) << " " << src_at;
        }
}

// The fault needs a whole block after the walk: up to three pairs more are converted singly.
TEST(unpack_alt_s16_f64, source_at_a_walk_of_part_of_a_block_is_fine_below_a_block)
{
    for (const Level level : {Level::sse2, Level::ssse3}) {
        EXPECT_FALSE(compared_and_faults<Alt>(level, 4, {12, 0, 0})); // walks 1
        EXPECT_TRUE(compared_and_faults<Alt>(level, 5, {12, 0, 0}));
        EXPECT_FALSE(compared_and_faults<Alt>(level, 6, {4, 0, 0})); // walks 3
        EXPECT_TRUE(compared_and_faults<Alt>(level, 7, {4, 0, 0}));
    }
    EXPECT_FALSE(compared_and_faults<Alt>(Level::avx, 5, {24, 0, 0})); // walks 2
    EXPECT_TRUE(compared_and_faults<Alt>(Level::avx, 6, {24, 0, 0}));
    EXPECT_FALSE(compared_and_faults<Alt>(Level::avx, 9, {8, 0, 0})); // walks 6
    EXPECT_TRUE(compared_and_faults<Alt>(Level::avx, 10, {8, 0, 0}));
}

TEST(unpack_alt_s16_f64, buffers_on_32_byte_boundaries_suit_every_level)
{
    for (const Level level : alt_levels)
        for (const std::size_t src_at : {0U, 32U})
            for (const std::size_t dst_at : {0U, 32U})
                EXPECT_FALSE(compared_and_faults<Alt>(level, 50, {src_at, dst_at, 0}));
}

// AVX alone: dst on a 32-byte boundary, sources alike modulo 32 and an odd number of pairs away
// from theirs.
TEST(unpack_cmb_s16_f64, avx_faults_after_an_odd_walk_from_an_aligned_destination)
{
    for (const Level level : cmb_levels)
        for (std::size_t src_at = 0; src_at < 64; src_at += 2) {
            const bool want = level == Level::avx && src_at % 4 != 0;
            EXPECT_EQ(compared_and_faults<Cmb>(level, 40, {src_at, (src_at + 32) % 64, 32}), want)
                << rig::name(level) << " " << src_at;
            EXPECT_FALSE(compared_and_faults<Cmb>(level, 40, {src_at, src_at, 16}));
            EXPECT_FALSE(compared_and_faults<Cmb>(level, 40, {src_at, src_at, 8}));
            EXPECT_FALSE(compared_and_faults<Cmb>(level, 40, {src_at, (src_at + 16) % 64, 0}) &&
                         level == Level::avx);
        }
    EXPECT_FALSE(compared_and_faults<Cmb>(Level::avx, 8, {30, 30, 0})); // walks 1
    EXPECT_TRUE(compared_and_faults<Cmb>(Level::avx, 9, {30, 30, 0}));
}

// --- All levels alike ----------------------------------------------------------------------------

TEST(unpack_alt_s16_f64, levels_agree_bit_for_bit)
{
    for (std::size_t n = 0; n <= 70; ++n) {
        std::vector<double> first[2];
        for (const Level level : alt_levels) {
            Alt alt(level);
            rig::fill(alt.samples.data(), 2 * n, alt.random, rig::Kind::ordinary);
            ASSERT_TRUE(alt.unpacks(n, {0, 0, 0}, Edge::end, 0.123, -4.56));
            if (level == Level::base) {
                first[0].assign(alt.dst0.data(), alt.dst0.data() + n);
                first[1].assign(alt.dst1.data(), alt.dst1.data() + n);
            }
            EXPECT_TRUE(rig::same_bits(first[0].data(), alt.dst0.data(), n));
            EXPECT_TRUE(rig::same_bits(first[1].data(), alt.dst1.data(), n));
        }
    }
}

TEST(unpack_cmb_s16_f64, levels_agree_bit_for_bit)
{
    for (std::size_t n = 0; n <= 70; ++n) {
        std::vector<double> first;
        for (const Level level : cmb_levels) {
            Cmb cmb(level);
            cmb.generate(n, rig::Kind::ordinary);
            ASSERT_TRUE(cmb.unpacks(n, {0, 0, 0}, Edge::end, 0.123, -4.56));
            if (level == Level::base)
                first.assign(cmb.dst.data(), cmb.dst.data() + 2 * n);
            EXPECT_TRUE(rig::same_bits(first.data(), cmb.dst.data(), 2 * n));
        }
    }
}

} // namespace
