// A second CPUID instruction.
extern "C" void second_cpuid();
[[gnu::naked]] void second_cpuid() { asm("push %rbx\n\tcpuid\n\tpop %rbx\n\tret"); }
