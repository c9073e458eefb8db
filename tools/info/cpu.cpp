#include "info/cpu.h"

#include "info/error.h"

#include <algorithm>
#include <array>
#include <cpuid.h>
#include <fmt/format.h>
#include <string_view>

namespace info {
namespace {

using rig::Words;

constexpr std::uint32_t ecx_osxsave = 1U << 27;
constexpr std::uint64_t xcr0_wide = 6; // the XMM and the upper YMM state

Words execute_cpuid(std::uint32_t leaf, std::uint32_t subleaf)
{
    Words out{};
    __cpuid_count(leaf, subleaf, out.eax, out.ebx, out.ecx, out.edx);
    return out;
}

std::uint64_t execute_xgetbv()
{
    std::uint32_t low;
    std::uint32_t high;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return static_cast<std::uint64_t>(high) << 32 | low;
}

// --- features that can be given and taken ------------------------------------------------------

enum class Place { leaf1_ecx, leaf1_edx, leaf7_ebx, leaf7_everywhere, xcr0 };

struct Feature {
    const char* name;
    Place place;
    std::uint32_t bit;
    const char* about;
};

constexpr std::array features = {
    Feature{"sse", Place::leaf1_edx, rig::edx_sse, "SSE"},
    Feature{"sse2", Place::leaf1_edx, rig::edx_sse2, "SSE2; every x86-64 processor has it"},
    Feature{"sse3", Place::leaf1_ecx, rig::ecx_sse3, "SSE3"},
    Feature{"ssse3", Place::leaf1_ecx, rig::ecx_ssse3, "SSSE3"},
    Feature{"sse41", Place::leaf1_ecx, rig::ecx_sse41, "SSE4.1"},
    Feature{"avx", Place::leaf1_ecx, rig::ecx_avx, "AVX"},
    Feature{"avx2", Place::leaf7_ebx, rig::ebx_avx2,
            "AVX2, where real processors report it: leaf 7, sub-leaf 0"},
    Feature{"avx2-everywhere", Place::leaf7_everywhere, rig::ebx_avx2,
            "AVX2, reported in every sub-leaf of leaf 7, as some emulators do"},
    Feature{"osxsave", Place::leaf1_ecx, ecx_osxsave, "the operating system manages wide state"},
    Feature{"ymm", Place::xcr0, 0, "the operating system has enabled the 32-byte registers"},
};

void change_bit(std::uint32_t& word, std::uint32_t bit, bool on)
{
    word = on ? word | bit : word & ~bit;
}

void change_words(const Feature& feature, bool on, std::uint32_t leaf, std::uint32_t subleaf,
                  Words& words)
{
    const bool in_leaf7 =
        feature.place == Place::leaf7_ebx || feature.place == Place::leaf7_everywhere;
    if (leaf == 0 && in_leaf7 && on)
        words.eax = std::max(words.eax, 7U); // or nobody could see it
    if (leaf == 1 && feature.place == Place::leaf1_ecx)
        change_bit(words.ecx, feature.bit, on);
    if (leaf == 1 && feature.place == Place::leaf1_edx)
        change_bit(words.edx, feature.bit, on);
    if (leaf == 7 && in_leaf7 && (subleaf == 0 || feature.place == Place::leaf7_everywhere))
        change_bit(words.ebx, feature.bit, on);
}

} // namespace

std::string Cpu::vendor() const
{
    const Words words = cpuid(0, 0);
    std::string text;
    for (const std::uint32_t word : {words.ebx, words.edx, words.ecx})
        for (unsigned shift = 0; shift < 32; shift += 8)
            if (const char c = static_cast<char>(word >> shift & 0x7F); c >= ' ')
                text += c;
    return text;
}

bool Cpu::has(Level level) const
{
    const auto leaf1 = [&] { return highest_leaf() >= 1 ? cpuid(1, 0) : Words{}; };
    switch (level) {
    case Level::base:
        return true;
    case Level::sse:
        return (leaf1().edx & rig::edx_sse) != 0;
    case Level::sse2:
        return (leaf1().edx & rig::edx_sse2) != 0;
    case Level::sse3:
        return (leaf1().ecx & rig::ecx_sse3) != 0;
    case Level::ssse3:
        return (leaf1().ecx & rig::ecx_ssse3) != 0;
    case Level::sse41:
        return (leaf1().ecx & rig::ecx_sse41) != 0;
    case Level::avx:
        return (leaf1().ecx & rig::ecx_avx) != 0;
    case Level::avx2:
        return highest_leaf() >= 7 && (cpuid(7, 0).ebx & rig::ebx_avx2) != 0;
    }
    return false;
}

bool Cpu::wide_registers_enabled() const
{
    return highest_leaf() >= 1 && (cpuid(1, 0).ecx & ecx_osxsave) != 0 && wide_state;
}

Cpu this_cpu()
{
    Cpu cpu{"this", "this processor", execute_cpuid, false};
    const bool may_ask = (execute_cpuid(1, 0).ecx & ecx_osxsave) != 0;
    cpu.wide_state = may_ask && (execute_xgetbv() & xcr0_wide) == xcr0_wide;
    return cpu;
}

void apply(Cpu& cpu, const std::string& change)
{
    const std::string_view name = std::string_view(change).substr(change.empty() ? 0 : 1);
    const auto* feature = std::find_if(features.begin(), features.end(),
                                       [&](const Feature& f) { return f.name == name; });
    if (change.empty() || (change[0] != '+' && change[0] != '-'))
        throw BadRequest(fmt::format("--feature '{}': a name with + or - before it is wanted, "
                                     "such as +sse3 or -avx",
                                     change));
    if (feature == features.end())
        throw BadRequest(
            fmt::format("--feature '{}': no such feature; --list shows those there are", change));
    const bool on = change[0] == '+';
    if (feature->place == Place::xcr0) {
        cpu.wide_state = on;
        return;
    }
    cpu.cpuid = [before = cpu.cpuid, feature, on](std::uint32_t leaf, std::uint32_t subleaf) {
        Words words = before(leaf, subleaf);
        change_words(*feature, on, leaf, subleaf, words);
        return words;
    };
}

std::string list_features()
{
    std::string text;
    for (const Feature& f : features)
        text += fmt::format("  {:<16} {}\n", f.name, f.about);
    return text;
}

const char* title(Level level)
{
    static constexpr std::array titles = {"baseline", "SSE",    "SSE2", "SSE3",
                                          "SSSE3",    "SSE4.1", "AVX",  "AVX2"};
    return titles.at(static_cast<std::size_t>(level));
}

} // namespace info
