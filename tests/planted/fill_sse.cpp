// fill_f32 at SSE with one instruction that does not belong there.
#include "memory/fill.h"

[[gnu::naked]] void fill_f32_sse(float*, size_t, float)
{
#if defined PLANTED_AVX
    asm("vxorps %xmm1, %xmm1, %xmm1\n\tret");
#elif defined PLANTED_FENCE
    asm("sfence\n\tret");
#elif defined PLANTED_PREFETCH
    asm("prefetcht0 (%rdi)\n\tret");
#elif defined PLANTED_STREAM
    asm("movntps %xmm0, (%rdi)\n\tret");
#else
    asm("pxor %xmm1, %xmm1\n\tret");
#endif
}
