// dispatch/probe.h: which levels a processor reports, asked once.
//
// The processor is passed in: the library passes the CPUID instruction (dispatch.cpp), a unit test
// a script. `install` is called once for each level that passed, in the order of precedence.
#ifndef LIBSIMD_DISPATCH_PROBE_H
#define LIBSIMD_DISPATCH_PROBE_H

#include <cstdint>
#include <cstring>

enum class Level { base, sse, sse2, sse3, ssse3, sse41, avx, avx2 };

namespace {

/// The four output registers of one CPUID.
struct CpuidWords {
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
};

struct ProbeState {
    CpuidWords words;          // a query that fails leaves these as they were
    std::uint32_t subleaf = 0; // ECX, the register: whatever the last CPUID left in it
    char vendor[13] = {};
};

constexpr std::uint32_t extended_range = 0x80000000;

/// One CPUID. ECX goes in as it last came out.
template <class Cpuid>
CpuidWords execute(Cpuid cpuid, ProbeState& state, std::uint32_t leaf)
{
    const CpuidWords out = cpuid(leaf, state.subleaf);
    state.subleaf = out.ecx;
    return out;
}

/// Asks for the range's maximum leaf, then for `leaf` if the range reaches it.
template <class Cpuid>
void query(Cpuid cpuid, ProbeState& state, std::uint32_t leaf)
{
    const std::uint32_t max = execute(cpuid, state, leaf & extended_range).eax;
    if (max == 0 || max < leaf)
        return;
    // Leaf 7 gets the last four vendor bytes as its sub-leaf here; kept, hosts depend on it: most
    // processors answer zeros, and AVX2 is then never installed.
    state.words = execute(cpuid, state, leaf);
}

constexpr bool bit(std::uint32_t word, unsigned n) { return ((word >> n) & 1U) != 0; }

template <class Cpuid, class Install>
void probe(Cpuid cpuid, Install install)
{
    ProbeState state;
    const CpuidWords& words = state.words;

    install(Level::base); // before the first CPUID: every later step only overrides

    query(cpuid, state, 0);
    __builtin_memcpy(state.vendor + 0, &words.ebx, 4);
    __builtin_memcpy(state.vendor + 4, &words.edx, 4);
    __builtin_memcpy(state.vendor + 8, &words.ecx, 4);

    query(cpuid, state, 1);
    if (bit(words.edx, 25)) // SSE
        install(Level::sse);
    if (bit(words.edx, 26)) // SSE2
        install(Level::sse2);
    if (bit(words.ecx, 0)) // SSE3
        install(Level::sse3);
    if (bit(words.ecx, 9)) // SSSE3
        install(Level::ssse3);
    if (bit(words.ecx, 19)) // SSE4.1
        install(Level::sse41);
    if (bit(words.ecx, 28)) // AVX; the operating system's word (OSXSAVE, XCR0) is not asked for
        install(Level::avx);

    query(cpuid, state, 7);
    if (bit(words.ebx, 5)) // AVX2, or bit 5 of leaf 1's EBX where the query failed; kept
        install(Level::avx2);

    // The extended leaves are asked for and change nothing.
    if (std::strcmp(state.vendor, "AuthenticAMD") == 0) {
        query(cpuid, state, extended_range);
        if (words.eax > extended_range)
            query(cpuid, state, extended_range + 1);
    }
}

} // namespace

#endif
