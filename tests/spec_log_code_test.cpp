// tests/spec_log_code_test.cpp: what no result of spec_log_f32 shows: the steps of the block path
// that have no effect but are kept.
#include "rig/machine_code.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

/// A variant's code, reduced to what is asked here.
struct Code {
    struct Step {
        std::string name;        // without the v of its wide form
        std::uint64_t predicate; // of a comparison
    };
    std::vector<Step> steps;

    long count(const std::string& name) const
    {
        return std::count_if(steps.begin(), steps.end(),
                             [&](const Step& s) { return s.name == name; });
    }
    long compares(std::uint64_t predicate) const
    {
        return std::count_if(steps.begin(), steps.end(), [&](const Step& s) {
            return s.name == "cmpps" && s.predicate % 16 == predicate;
        });
    }
};

Code code_of(const std::string& variant)
{
    Code code;
    for (const rig::Function* f : rig::body_of(variant))
        for (const rig::Instruction& in : f->code) {
            std::string name = in.mnemonic();
            if (name.starts_with('v'))
                name.erase(0, 1);
            std::uint64_t predicate = 0;
            for (int i = 0; i < in.decoded.operand_count; ++i)
                if (in.operands[i].type == ZYDIS_OPERAND_TYPE_IMMEDIATE)
                    predicate = in.operands[i].imm.value.u;
            code.steps.push_back({name, predicate});
        }
    if (code.steps.empty())
        throw std::runtime_error("not in the library: " + variant);
    return code;
}

constexpr std::uint64_t less = 1;
constexpr std::uint64_t less_or_equal = 2;

class BlockPath : public testing::TestWithParam<std::string> {
protected:
    const Code code = code_of(GetParam());
    /// The quotients count the copies of the block's code.
    const long copies = code.count("divps");
};

TEST_P(BlockPath, divides)
{
    EXPECT_GE(copies, 1);
    EXPECT_EQ(code.count("rcpps"), 0);
    EXPECT_GE(code.count("mulps"), 14 * copies) << "the block was not seen";
}

TEST_P(BlockPath, clamps_twice) { EXPECT_GE(code.count("maxps"), 2 * copies); }

/// The guard of the logarithm: a comparison with zero, and its mask over the result.
TEST_P(BlockPath, guards_its_argument)
{
    EXPECT_EQ(code.compares(less_or_equal), copies);
    EXPECT_EQ(code.compares(less), copies);
    EXPECT_EQ(code.count("orps") + code.count("por"), 2 * copies);
}

INSTANTIATE_TEST_SUITE_P(spec_log_code, BlockPath,
                         testing::Values("spec_log_f32_sse2", "spec_log_f32_avx2"),
                         [](const auto& variant) { return variant.param; });

/// The baseline and the SSE2 variant take the blend of SSE4.1; the AVX2 variant has a wide one.
TEST(spec_log_code, base_and_sse2_blend)
{
    EXPECT_GE(code_of("spec_log_f32_base").count("blendvps"), 1);
    EXPECT_GE(code_of("spec_log_f32_sse2").count("blendvps"), 1);
}

} // namespace
