// tests/fuzz/corpus_test.cpp: what the fuzzers have found worth keeping, once more, with any
// compiler. A corpus is a text file: one input in each line, in hexadecimal.
#include "fuzz/kernels.h"
#include "fuzz/probe.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>

namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<Bytes> corpus(const std::string& family)
{
    std::ifstream file(LIBSIMD_CORPUS "/" + family + ".txt");
    std::vector<Bytes> inputs;
    for (std::string line; std::getline(file, line);) {
        Bytes bytes;
        for (std::size_t i = 0; i + 1 < line.size(); i += 2)
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(line.substr(i, 2), nullptr, 16)));
        inputs.push_back(bytes);
    }
    return inputs;
}

void replay(const std::string& family, const std::vector<proof::Kernel>& kernels)
{
    const std::vector<Bytes> inputs = corpus(family);
    ASSERT_GE(inputs.size(), 10U) << "no corpus";
    std::size_t made = 0;
    for (const Bytes& bytes : inputs) {
        const fuzz::Input input = fuzz::decode(kernels, bytes.data(), bytes.size());
        const proof::Verdict verdict = proof::check(*input.kernel, input.level, input.given);
        EXPECT_EQ(verdict.failure, "");
        made += verdict.made ? 1U : 0U;
    }
    EXPECT_GE(made, inputs.size() / 2); // the others are calls that the contract leaves open
}

} // namespace

TEST(corpus, memory) { replay("memory", proof::memory_kernels()); }
TEST(corpus, convert) { replay("convert", proof::convert_kernels()); }
TEST(corpus, stats) { replay("stats", proof::stats_kernels()); }
TEST(corpus, spectrum) { replay("spectrum", proof::spectrum_kernels()); }
TEST(corpus, filter) { replay("filter", proof::filter_kernels()); }

TEST(corpus, probe)
{
    const std::vector<Bytes> inputs = corpus("probe");
    ASSERT_GE(inputs.size(), 10U) << "no corpus";
    for (const Bytes& bytes : inputs)
        EXPECT_EQ(fuzz::probe_difference(fuzz::processor(bytes.data(), bytes.size())), "");
}
