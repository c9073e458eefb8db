// tools/info/models.cpp: well-known processors by their CPUID words, as an operating system shows
// them that has enabled whatever they have.
#include "info/cpu.h"
#include "info/error.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>

namespace info {
namespace {

struct Model {
    const char* name;
    const char* vendor;
    std::uint32_t highest_leaf;
    std::uint32_t leaf1_ecx, leaf1_edx;
    std::uint32_t leaf7_ebx; // of sub-leaf 0; every other sub-leaf answers zeros
    const char* about;
};

constexpr const char* intel = "GenuineIntel";
constexpr const char* amd = "AuthenticAMD";

constexpr std::array models = {
    Model{"opteron", amd, 0x1, 0x00000000, 0x078BFBFF, 0, "AMD K8, 2003: SSE2"},
    Model{"nocona", intel, 0x5, 0x0000641D, 0xBFEBFBFF, 0, "Intel Xeon, Pentium 4, 2004: SSE3"},
    Model{"k10", amd, 0x5, 0x00802009, 0x178BFBFF, 0, "AMD Barcelona, Phenom, 2007: SSE3"},
    Model{"core2", intel, 0xA, 0x0000E3BD, 0xBFEBFBFF, 0, "Intel Merom, Conroe, 2006: SSSE3"},
    Model{"merom", intel, 0xA, 0x0000E3BD, 0xBFEBFBFF, 0, "the same as core2"},
    Model{"bonnell", intel, 0xA, 0x0040C39D, 0xBFE9FBFF, 0, "Intel Atom, 2008: SSSE3"},
    Model{"penryn", intel, 0xA, 0x0008E3FD, 0xBFEBFBFF, 0, "Intel Core 2, 2007: SSE4.1"},
    Model{"nehalem", intel, 0xB, 0x0098E3BD, 0xBFEBFBFF, 0, "Intel Core i7, 2008: SSE4.1"},
    Model{"sandybridge", intel, 0xD, 0x1FBAE3FF, 0xBFEBFBFF, 0, "Intel Core, 2011: AVX"},
    Model{"ivybridge", intel, 0xD, 0x7FBAE3FF, 0xBFEBFBFF, 0x00000281, "Intel Core, 2012: AVX"},
    Model{"bulldozer", amd, 0xD, 0x1E98220B, 0x178BFBFF, 0, "AMD FX, 2011: AVX"},
    Model{"haswell", intel, 0xD, 0x7FFAFBFF, 0xBFEBFBFF, 0x000027AB, "Intel Core, 2013: AVX2"},
    Model{"skylake", intel, 0x16, 0x7FFAFBFF, 0xBFEBFBFF, 0x029C6FBF, "Intel Core, 2015: AVX2"},
    Model{"icelake", intel, 0x1B, 0x7FFAFBBF, 0xBFEBFBFF, 0xF2BF27EF, "Intel Core, 2019: AVX2"},
    Model{"zen", amd, 0xD, 0x7ED8320B, 0x178BFBFF, 0x209C01A9, "AMD Ryzen, 2017: AVX2"},
    Model{"zen2", amd, 0x10, 0x7ED8320B, 0x178BFBFF, 0x219C91A9, "AMD Ryzen, 2019: AVX2"},
    Model{"zen4", amd, 0x10, 0x7EF8320B, 0x178BFBFF, 0xF1BF97A9, "AMD Ryzen, 2022: AVX2"},
};

rig::Words answer(const Model& model, std::uint32_t leaf, std::uint32_t subleaf)
{
    const auto letters = [&](int first) {
        std::uint32_t word;
        std::memcpy(&word, model.vendor + first, sizeof word);
        return word;
    };
    constexpr std::uint32_t cache_line = 8U << 8; // leaf 1's EBX: 64 bytes, and no brand number
    if (leaf == 0)
        return {model.highest_leaf, letters(0), letters(8), letters(4)};
    if (leaf == 1)
        return {0, cache_line, model.leaf1_ecx, model.leaf1_edx};
    if (leaf == 7 && subleaf == 0)
        return {0, model.leaf7_ebx, 0, 0};
    if (leaf == 0x80000000)
        return {0x80000008, 0, 0, 0};
    return {0, 0, 0, 0};
}

} // namespace

Cpu model(const std::string& name)
{
    const auto* found =
        std::find_if(models.begin(), models.end(), [&](const Model& m) { return m.name == name; });
    if (found == models.end())
        throw BadRequest(
            fmt::format("--cpu '{}': no such processor; --list shows those there are", name));
    return {found->name, found->about,
            [found](std::uint32_t leaf, std::uint32_t subleaf) {
                return answer(*found, leaf, subleaf);
            },
            (found->leaf1_ecx & rig::ecx_avx) != 0};
}

std::string list_models()
{
    std::string text;
    for (const Model& m : models)
        text += fmt::format("  {:<16} {}\n", m.name, m.about);
    return text;
}

} // namespace info
