/* tests/info/other_library.c: a libsimd.so that chooses otherwise, so that it shows whether simd-info
 * says what the loaded library does or what it believes to know.
 *
 * It asks leaf 7 with sub-leaf 0. fill_f32 has a variant for AVX2, mult_f64 one for SSE3, avg_f32 one
 * for SSSE3 that gives way to the baseline where SSE4.1 is reported, min_u8 one that only AMD's
 * processors get; unpack_s16_f32 is always null, and everything else has a baseline. */
#include "info/names.h"

#include <stdint.h>

typedef void kernel_fn(void);

static volatile int calls;

/* clang-format off */
#define ENTRY(name)                                                                                \
    static void name##_base(void) { calls += 1; }                                                  \
    extern kernel_fn* name;                                                                        \
    kernel_fn* name;
INFO_ENTRIES(ENTRY)

#define FUNCTION(name)                                                                             \
    void name(void);                                                                               \
    void name(void) { calls += 2; }
INFO_FUNCTIONS(FUNCTION)
/* clang-format on */

static void fill_f32_avx2(void) { calls += 3; }
static void mult_f64_sse3(void) { calls += 4; }
static void avg_f32_ssse3(void) { calls += 6; }
static void min_u8_amd(void) { calls += 5; }

__attribute__((noinline)) static void cpuid(uint32_t leaf, uint32_t words[4])
{
    __asm__ volatile("cpuid"
                     : "=a"(words[0]), "=b"(words[1]), "=c"(words[2]), "=d"(words[3])
                     : "0"(leaf), "2"(0));
}

__attribute__((constructor)) static void choose(void)
{
    uint32_t words[4];
#define BASE(name) name = name##_base;
    INFO_ENTRIES(BASE)
    unpack_s16_f32 = 0;
    cpuid(0, words);
    const int amd = words[2] == 0x444d4163;
    cpuid(1, words);
    if ((words[2] & 1) != 0)
        mult_f64 = mult_f64_sse3;
    if ((words[2] & 1 << 9) != 0 && (words[2] & 1 << 19) == 0)
        avg_f32 = avg_f32_ssse3;
    cpuid(7, words);
    if ((words[1] & 1U << 5) != 0) {
        fill_f32 = fill_f32_avx2;
        if (amd)
            min_u8 = min_u8_amd;
    }
}
