// The dispatch file with a CPUID before the baseline is stored.
#define init_dispatch prompt_dispatch
#define constructor unused
#include "dispatch/dispatch.cpp" // NOLINT
#undef init_dispatch
#undef constructor

namespace {
[[gnu::constructor]] void init_dispatch()
{
    cpuid(0, 0);
    probe(cpuid, install);
}
} // namespace
