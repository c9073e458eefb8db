// dispatch/dispatch.cpp: which variant each level puts into each entry, and the load-time
// initialiser.
#include "dispatch/probe.h"
#include "memory/fill.h"
#include "memory/memcpy.h"
#include "memory/swap_words.h"

namespace {

void set_base_variants()
{
    fill_f32 = fill_f32_base;
    memcpy_fast = memcpy_fast_base;
    swap_words_u32 = swap_words_u32_base;
    // unpack_s16_f32 has no baseline variant: null on a processor without SSE2, AVX and AVX2
}

void set_sse_variants() { fill_f32 = fill_f32_sse; }

void set_sse2_variants()
{
    memcpy_fast = memcpy_fast_sse2;
    swap_words_u32 = swap_words_u32_sse2;
}

void set_sse3_variants() {}

void set_ssse3_variants() { swap_words_u32 = swap_words_u32_ssse3; }

void set_sse41_variants() {}

void set_avx_variants() { fill_f32 = fill_f32_avx; }

void set_avx2_variants()
{
    memcpy_fast = memcpy_fast_avx2;
    swap_words_u32 = swap_words_u32_avx2;
}

void install(Level level)
{
    switch (level) {
    case Level::base:
        return set_base_variants();
    case Level::sse:
        return set_sse_variants();
    case Level::sse2:
        return set_sse2_variants();
    case Level::sse3:
        return set_sse3_variants();
    case Level::ssse3:
        return set_ssse3_variants();
    case Level::sse41:
        return set_sse41_variants();
    case Level::avx:
        return set_avx_variants();
    case Level::avx2:
        return set_avx2_variants();
    }
}

// The only CPUID of the library: volatile and with a memory clobber, so that the baseline's stores
// stand before it in the machine code too, and never inlined, so that it is one place.
[[gnu::noinline]] CpuidWords cpuid(std::uint32_t leaf, std::uint32_t subleaf)
{
    CpuidWords out;
    asm volatile("cpuid"
                 : "=a"(out.eax), "=b"(out.ebx), "=c"(out.ecx), "=d"(out.edx)
                 : "0"(leaf), "2"(subleaf)
                 : "memory");
    return out;
}

// The one word of the library's initialiser array.
[[gnu::constructor]] void init_dispatch() { probe(cpuid, install); }

} // namespace
