#include "rig/processor.h"

#include <cstring>

namespace rig {

const char* name(Level level)
{
    static const char* const names[] = {"base",  "sse",   "sse2", "sse3",
                                        "ssse3", "sse41", "avx",  "avx2"};
    return names[static_cast<int>(level)];
}

Words Processor::answer(std::uint32_t leaf, std::uint32_t subleaf) const
{
    if (const auto it = by_subleaf.find({leaf, subleaf}); it != by_subleaf.end())
        return it->second;
    const auto it = leaves.find(leaf);
    return it == leaves.end() ? Words{} : it->second;
}

Processor Processor::at(Level level) { return with((2U << static_cast<unsigned>(level)) - 1); }

Processor Processor::with(unsigned level_set, const char* vendor, std::uint32_t max_basic)
{
    const auto has = [&](Level level, std::uint32_t bit) {
        return (level_set >> static_cast<unsigned>(level) & 1) != 0 ? bit : 0;
    };
    const auto letters = [&](int first) {
        std::uint32_t word;
        std::memcpy(&word, vendor + first, sizeof word);
        return word;
    };
    Processor p;
    p.leaves[0] = {max_basic, letters(0), letters(8), letters(4)};
    p.leaves[1] = {0, 0,
                   has(Level::sse3, ecx_sse3) | has(Level::ssse3, ecx_ssse3) |
                       has(Level::sse41, ecx_sse41) | has(Level::avx, ecx_avx),
                   has(Level::sse, edx_sse) | has(Level::sse2, edx_sse2)};
    p.leaves[7] = {0, has(Level::avx2, ebx_avx2), 0, 0};
    return p;
}

} // namespace rig
