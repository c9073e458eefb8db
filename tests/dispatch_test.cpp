// The probe: which CPUID leaves it asks for, with which sub-leaf, and what it puts into the table.
//
// Two ways: the shipped library under a scripted processor, and dispatch/probe.h alone, without
// loading anything.
#include "dispatch/probe.h"

#include "models/probe.h"
#include "rig/data.h"
#include "rig/library.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>

namespace {

using namespace probing;

constexpr std::uint32_t all_edx = rig::edx_sse | rig::edx_sse2;
constexpr std::uint32_t all_ecx = rig::ecx_sse3 | rig::ecx_ssse3 | rig::ecx_sse41 | rig::ecx_avx;

std::uint32_t letters(const char* four)
{
    std::uint32_t word;
    std::memcpy(&word, four, sizeof word);
    return word;
}

/// The highest level of an entry among those that passed, by the table; "" if there is none.
std::string expected_variant(const std::string& entry, unsigned passed)
{
    std::string variant;
    for (const rig::Level level : rig::table().at(entry))
        if (level == rig::Level::base || (passed >> static_cast<unsigned>(level) & 1) != 0)
            variant = entry + "_" + rig::name(level);
    return variant;
}

void expect_table(const rig::Library& library, unsigned passed)
{
    for (const std::string& entry : rig::entry_names())
        EXPECT_EQ(library.variant(entry.c_str()), expected_variant(entry, passed)) << entry;
}

/// What the first query found in ECX: the library does not set it.
std::uint32_t first_ecx(const rig::Library& library) { return library.queries().at(0).subleaf; }

unsigned levels_below_avx() { return bit_of(rig::Level::avx) - 1; }

/// dispatch/probe.h run on a script.
ModelRun probe_run(const Processor& processor)
{
    ModelRun run;
    run.passed = 0;
    Machine machine(processor, 0, run.queries);
    const auto query = [&](std::uint32_t leaf, CpuidWords& words) {
        if (Words w{}; machine.query(leaf, w))
            words = {w.eax, w.ebx, w.ecx, w.edx};
    };
    probe(query, [&](Level level) {
        EXPECT_EQ(level == Level::base, run.queries.empty())
            << "baseline comes before the first CPUID";
        EXPECT_LT(run.passed, 1U << static_cast<unsigned>(level)) << "order of precedence";
        run.passed |= 1U << static_cast<unsigned>(level);
    });
    return run;
}

void expect_rule(const Processor& processor)
{
    const rig::Library library(processor);
    const ModelRun want = model_run(processor, first_ecx(library));
    EXPECT_EQ(library.queries(), want.queries);
    expect_table(library, want.passed);
}

/// A processor with everything, of the given vendor.
Processor everything(const char* vendor = "GenuineIntel", std::uint32_t max_basic = 7)
{
    return Processor::with(0xFF, vendor, max_basic);
}

Processor random_processor(rig::Random& random)
{
    const auto word = [&]() -> std::uint32_t {
        switch (random.below(4)) {
        case 0:
            return 0;
        case 1:
            return 0xFFFFFFFF;
        default:
            return static_cast<std::uint32_t>(random.bits());
        }
    };
    static constexpr std::uint32_t maxima[] = {0, 1,  2,          6,          7,
                                               8, 13, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    static constexpr std::uint32_t ext[] = {0,          1,          0x7FFFFFFF, 0x80000000,
                                            0x80000001, 0x80000008, 0xFFFFFFFF};
    static const char* const vendors[] = {"GenuineIntel", "AuthenticAMD", "AuthenticAMd",
                                          "\0uthenticAMD", "HygonGenuine"};
    Processor p = Processor::with(static_cast<unsigned>(random.below(256)), "GenuineIntel");
    const char* vendor = vendors[random.below(std::size(vendors))];
    p.leaves[0] = {maxima[random.below(std::size(maxima))], letters(vendor), letters(vendor + 8),
                   letters(vendor + 4)};
    if (random.below(2) != 0)
        p.leaves[1] = {word(), word(), word(), word()};
    if (random.below(2) != 0)
        p.leaves[7] = {word(), word(), word(), word()};
    if (random.below(2) != 0)
        p.by_subleaf[{7, p.leaves[0].ecx}] = {word(), word(), word(), word()};
    p.leaves[0x80000000] = {ext[random.below(std::size(ext))], word(), word(), word()};
    p.leaves[0x80000001] = {word(), word(), word(), word()};
    return p;
}

} // namespace

TEST(probe, baseline_is_in_every_entry_before_the_first_cpuid)
{
    const rig::Library library(everything());
    const auto& then = library.at_first_cpuid();
    ASSERT_EQ(then.size(), 50U);
    for (const std::string& entry : rig::entry_names())
        EXPECT_EQ(then.at(entry), expected_variant(entry, 1)) << entry;
}

TEST(probe, cpuid_is_twice_in_the_code) { EXPECT_EQ(rig::cpuid_sites().size(), 2U); }

TEST(probe, asks_each_range_for_its_maximum_and_carries_ecx_over)
{
    const Processor p = everything("GenuineIntel");
    const std::uint32_t tail = letters("ntel");
    const rig::Library library(p);
    EXPECT_EQ(
        library.queries(),
        (std::vector<Query>{
            {0, first_ecx(library)}, {0, tail}, {0, tail}, {1, tail}, {0, all_ecx}, {7, tail}}));
}

TEST(probe, amd_asks_the_extended_leaves_too)
{
    Processor p = everything("AuthenticAMD");
    p.leaves[extended] = {0x80000008, 1, 2, 3};
    p.leaves[extended + 1] = {4, 5, 6, 7};
    const std::uint32_t tail = letters("cAMD");
    const rig::Library library(p);
    EXPECT_EQ(library.queries(), (std::vector<Query>{{0, first_ecx(library)},
                                                     {0, tail},
                                                     {0, tail},
                                                     {1, tail},
                                                     {0, all_ecx},
                                                     {7, tail},
                                                     {extended, 0},
                                                     {extended, 2},
                                                     {extended, 2},
                                                     {extended + 1, 2}}));
    expect_table(library, 0xFF);
}

TEST(probe, amd_with_no_leaf_above_the_extended_maximum)
{
    Processor p = everything("AuthenticAMD");
    p.leaves[extended] = {0x80000000, 0, 9, 0};
    EXPECT_EQ(rig::Library(p).queries().size(), 8U);
    p.leaves[extended] = {0, 0, 9, 0}; // the query fails; leaf 7's EAX is what is compared
    EXPECT_EQ(rig::Library(p).queries().size(), 7U);
    p.leaves[7].eax = 0x80000001; // stale, and above: the next query is made, and fails
    EXPECT_EQ(rig::Library(p).queries().size(), 8U);
}

TEST(probe, vendor_makes_no_difference_to_the_table)
{
    for (const char* vendor : {"GenuineIntel", "AuthenticAMD", "            "})
        for (const unsigned set : {0x01U, 0x07U, 0x3FU, 0x7FU, 0xFFU})
            expect_table(rig::Library(Processor::with(set, vendor)), set);
}

TEST(probe, maximum_leaf_0_leaves_the_baseline_and_a_null_entry)
{
    const rig::Library library(everything("AuthenticAMD", 0));
    expect_table(library, 1);
    EXPECT_EQ(library.variant("unpack_s16_f32"), "");
    // one maximum query each for leaves 0, 1 and 7; the vendor is empty, so no extended leaf
    EXPECT_EQ(library.queries().size(), 3U);
}

TEST(probe, maximum_leaf_1_and_6_never_ask_leaf_7)
{
    for (const std::uint32_t max : {1U, 6U}) {
        const rig::Library library(everything("GenuineIntel", max));
        expect_table(library, 0x7F);
        for (const Query& q : library.queries())
            EXPECT_NE(q.leaf, 7U);
    }
}

TEST(probe, maximum_leaf_7_asks_it) { expect_table(rig::Library(everything()), 0xFF); }

TEST(probe, failed_leaf_7_tests_bit_5_of_leaf_1_ebx)
{
    for (const bool set : {false, true}) {
        Processor p = everything("GenuineIntel", 6);
        p.leaves[1].ebx = set ? rig::ebx_avx2 : ~rig::ebx_avx2;
        expect_table(rig::Library(p), set ? 0xFFU : 0x7FU);
    }
}

TEST(probe, failed_leaf_1_tests_the_words_of_leaf_0)
{
    // A processor that answers its maximum leaf as 1 once and as 0 from then on: ECX carried over
    // from the first answer tells the queries apart.
    Processor p;
    p.leaves[0] = {1, 0, 77, 0};                                  // maximum for leaf 0
    p.by_subleaf[{0, 77}] = {1, rig::ebx_avx2, all_ecx, all_edx}; // leaf 0 itself
    p.by_subleaf[{0, all_ecx}] = {0, 0, all_ecx, 0};              // maximum for leaves 1 and 7
    const rig::Library library(p);
    ASSERT_EQ(library.queries().size(), 4U);
    EXPECT_EQ(library.queries().back(), (Query{0, all_ecx}));
    expect_table(library, 0xFF);
}

TEST(probe, leaf_7_with_a_sub_leaf_that_answers_zeros_never_gives_avx2)
{
    Processor p = everything();
    p.leaves.erase(7);
    p.by_subleaf[{7, 0}] = {0, rig::ebx_avx2, 0, 0}; // only sub-leaf 0 has the bit
    expect_table(rig::Library(p), 0x7F);
}

TEST(probe, each_of_the_128_feature_combinations)
{
    for (unsigned set = 0; set < 128; ++set) {
        const unsigned passed = set << 1 | 1; // any of the seven levels above the baseline
        SCOPED_TRACE(passed);
        expect_table(rig::Library(Processor::with(passed)), passed);
    }
}

TEST(probe, sse_and_sse2_only)
{
    const rig::Library library(Processor::at(rig::Level::sse2));
    EXPECT_EQ(library.variant("fill_f32"), "fill_f32_sse");
    EXPECT_EQ(library.variant("memcpy_fast"), "memcpy_fast_sse2");
    EXPECT_EQ(library.variant("spec_log_f32"), "spec_log_f32_sse2");
    EXPECT_EQ(library.variant("spec_log_f64"), "spec_log_f64_base");
}

TEST(probe, fft_abs_f64_at_sse3_and_avx)
{
    EXPECT_EQ(rig::at(rig::Level::sse3).variant("fft_abs_f64"), "fft_abs_f64_sse3");
    EXPECT_EQ(rig::at(rig::Level::sse41).variant("fft_abs_f64"), "fft_abs_f64_sse3");
    EXPECT_EQ(rig::at(rig::Level::avx).variant("fft_abs_f64"), "fft_abs_f64_avx");
}

TEST(probe, pack_f64_u16_at_sse41_and_avx)
{
    EXPECT_EQ(rig::at(rig::Level::sse41).variant("pack_f64_u16"), "pack_f64_u16_sse41");
    EXPECT_EQ(rig::at(rig::Level::avx2).variant("pack_f64_u16"), "pack_f64_u16_avx");
}

TEST(probe, avx2_does_not_ask_for_avx)
{
    const unsigned set = levels_below_avx() | bit_of(rig::Level::avx2);
    expect_table(rig::Library(Processor::with(set)), set);
}

TEST(probe, random_answers_follow_the_rule)
{
    rig::Random random(1);
    for (int i = 0; i < 1500; ++i) {
        const Processor p = random_processor(random);
        SCOPED_TRACE(i);
        expect_rule(p);
        if (HasFailure())
            return;
    }
}

TEST(probe, random_answers_alone_follow_the_rule)
{
    rig::Random random(2);
    for (int i = 0; i < 20000; ++i) {
        const Processor p = random_processor(random);
        const ModelRun want = model_run(p, 0);
        const ModelRun got = probe_run(p);
        ASSERT_EQ(got.passed, want.passed) << i;
        ASSERT_EQ(got.queries, want.queries) << i;
    }
}

TEST(table, counts_of_variants_per_level)
{
    std::map<rig::Level, int> counts;
    for (const auto& [entry, levels] : rig::table())
        for (const rig::Level level : levels)
            ++counts[level];
    EXPECT_EQ(rig::table().size(), 50U);
    const std::map<rig::Level, int> want = {{rig::Level::base, 49}, {rig::Level::sse, 13},
                                            {rig::Level::sse2, 35}, {rig::Level::sse3, 1},
                                            {rig::Level::ssse3, 4}, {rig::Level::sse41, 1},
                                            {rig::Level::avx, 39},  {rig::Level::avx2, 16}};
    EXPECT_EQ(counts, want);
}
