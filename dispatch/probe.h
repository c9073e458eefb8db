// dispatch/probe.h: which levels a processor reports, asked once.
//
// The processor is passed in: `query(leaf, words)` puts the four registers of a leaf into the words,
// and leaves these alone if the leaf lies above the highest of its range. The library passes the
// CPUID instruction (dispatch.cpp), a unit test a script. `install` is called once for each level
// that passed, in the order of precedence.
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

constexpr std::uint32_t extended_range = 0x80000000;

constexpr bool bit(std::uint32_t word, unsigned n) { return ((word >> n) & 1U) != 0; }

template <class Query, class Install>
void probe(Query query, Install install)
{
    CpuidWords words; // a query that fails leaves these as they were
    char vendor[13];

    install(Level::base); // before the first CPUID: every later step only overrides

    query(0, words);
    __builtin_memcpy(vendor + 0, &words.ebx, 4);
    __builtin_memcpy(vendor + 4, &words.edx, 4);
    __builtin_memcpy(vendor + 8, &words.ecx, 4);
    vendor[12] = '\0';

    query(1, words);
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

    query(7, words);
    if (bit(words.ebx, 5)) // AVX2, or bit 5 of leaf 1's EBX where the query failed; kept
        install(Level::avx2);

    // The extended leaves are asked for and change nothing.
    if (std::strcmp(vendor, "AuthenticAMD") == 0) {
        query(extended_range, words);
        if (words.eax > extended_range)
            query(extended_range + 1, words);
    }
}

} // namespace

#endif
