// The dispatch file with a CPUID before the baseline is stored.
#define init_dispatch prompt_dispatch
#define constructor unused
#include "dispatch/dispatch.cpp" // NOLINT
#undef init_dispatch
#undef constructor

namespace {
[[gnu::constructor]] void init_dispatch()
{
    std::uint32_t ecx = 0;
    CpuidWords words;
    cpuid_query(0, words, ecx);
    probe([&](std::uint32_t leaf, CpuidWords& into) { cpuid_query(leaf, into, ecx); }, install);
}
} // namespace
