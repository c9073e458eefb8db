// fill_f32 at AVX with one thing wrong: dirty on return, before a tail jump, or by a late call; fused;
// or of AVX2.
#include "memory/fill.h"

#if defined PLANTED_DIRTY_CALL
extern "C" void fill_dirty();
[[gnu::naked]] void fill_dirty() { asm("vxorps %ymm1, %ymm1, %ymm1\n\tret"); }
#endif

[[gnu::naked]] void fill_f32_avx(float*, size_t, float)
{
#if defined PLANTED_DIRTY_RETURN
    asm("test %rsi, %rsi\n\tje 1f\n\tvxorps %ymm1, %ymm1, %ymm1\n\tvzeroupper\n1:\tret");
#elif defined PLANTED_DIRTY_JUMP
    asm("vxorps %ymm1, %ymm1, %ymm1\n\tjmp memcpy@PLT");
#elif defined PLANTED_DIRTY_CALL
    asm("vzeroupper\n\tcall fill_dirty\n\tret");
#elif defined PLANTED_FUSED
    asm("vfmadd231ps %ymm0, %ymm1, %ymm2\n\tvzeroupper\n\tret");
#else
    asm("vpxor %ymm0, %ymm1, %ymm2\n\tvzeroupper\n\tret");
#endif
}
