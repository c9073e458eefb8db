// An address in the code, filled in at load.
extern "C" [[gnu::naked]] void text_relocation();
extern "C" void text_relocation() { asm("movabs $fill_f32, %rax\n\tret"); }
