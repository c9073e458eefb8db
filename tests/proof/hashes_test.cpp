// tests/proof/hashes_test.cpp: the library at hand, whatever compiler and optimisation made it,
// does to the bit what was recorded in hashes.txt.
#include "proof/hashes.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>

namespace proof {

/// What GoogleTest calls a kernel in the lists of tests.
static void PrintTo(const Kernel* kernel, std::ostream* list) { *list << kernel->name; }

} // namespace proof

namespace {

using Recorded = std::map<std::string, std::uint64_t>; // by "entry level"

const Recorded& recorded()
{
    static const Recorded all = [] {
        Recorded lines;
        std::ifstream file(LIBSIMD_HASHES);
        std::string entry;
        std::string level;
        std::uint64_t hash = 0;
        while (file >> entry >> level >> std::hex >> hash)
            lines[entry + " " + level] = hash;
        return lines;
    }();
    return all;
}

class Hashes : public testing::TestWithParam<const proof::Kernel*> {};

TEST_P(Hashes, as_recorded)
{
    for (const rig::Level level : GetParam()->levels()) {
        const std::string variant = std::string(GetParam()->name) + " " + rig::name(level);
        ASSERT_TRUE(recorded().contains(variant)) << variant;
        EXPECT_EQ(recorded().at(variant), proof::hash_of(*GetParam(), level)) << variant;
    }
}

INSTANTIATE_TEST_SUITE_P(proof, Hashes, testing::ValuesIn(proof::all_kernels()),
                         [](const auto& tested) { return std::string(tested.param->name); });

} // namespace

TEST(hashes, one_for_every_variant_and_no_other)
{
    std::size_t variants = 0;
    for (const proof::Kernel* kernel : proof::all_kernels())
        variants += kernel->levels().size();
    EXPECT_EQ(variants, 158U + 3 * 8);
    EXPECT_EQ(recorded().size(), variants);
}
