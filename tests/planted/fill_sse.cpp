// fill_f32 at SSE with one AVX, or one SSE2, instruction.
#include "memory/fill.h"

[[gnu::naked]] void fill_f32_sse(float*, size_t, float)
{
#ifdef PLANTED_AVX
    asm("vxorps %xmm1, %xmm1, %xmm1\n\tret");
#else
    asm("pxor %xmm1, %xmm1\n\tret");
#endif
}
