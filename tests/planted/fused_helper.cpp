// A fused product outside the variants.
extern "C" void fused_helper();
[[gnu::naked]] void fused_helper() { asm("vfmadd231ss %xmm0, %xmm1, %xmm2\n\tret"); }
