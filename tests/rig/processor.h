// tests/rig/processor.h: a processor as CPUID shows it, and the levels that it reports.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <utility>

namespace rig {

enum class Level { base, sse, sse2, sse3, ssse3, sse41, avx, avx2 };
inline constexpr std::array all_levels = {Level::base,  Level::sse,   Level::sse2, Level::sse3,
                                          Level::ssse3, Level::sse41, Level::avx,  Level::avx2};
const char* name(Level level);

struct Words {
    std::uint32_t eax, ebx, ecx, edx;
    bool operator==(const Words&) const = default;
};

/// One executed CPUID.
struct Query {
    std::uint32_t leaf, subleaf;
    bool operator==(const Query&) const = default;
};

/// What a scripted processor answers, by leaf; a leaf that is not listed answers zeros.
/// `by_subleaf` is asked first.
struct Processor {
    std::map<std::uint32_t, Words> leaves;
    std::map<std::pair<std::uint32_t, std::uint32_t>, Words> by_subleaf;

    Words answer(std::uint32_t leaf, std::uint32_t subleaf) const;

    /// A processor that reports exactly the levels up to `level`.
    static Processor at(Level level);
    /// The same from any set of levels (bit i: all_levels[i]), with a vendor of 12 letters.
    static Processor with(unsigned level_set, const char* vendor = "GenuineIntel",
                          std::uint32_t max_basic = 7);
};

/// Bits of leaf 1 (and 7) that the probe tests.
inline constexpr std::uint32_t edx_sse = 1U << 25, edx_sse2 = 1U << 26, ecx_sse3 = 1U << 0,
                               ecx_ssse3 = 1U << 9, ecx_sse41 = 1U << 19, ecx_avx = 1U << 28,
                               ebx_avx2 = 1U << 5;

} // namespace rig
