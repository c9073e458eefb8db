// tests/proof/print_hashes.cpp: prints what tests/proof/hashes.txt holds.
#include "proof/hashes.h"

#include <cstdio>

int main()
{
    for (const proof::Kernel* kernel : proof::all_kernels())
        for (const rig::Level level : kernel->levels())
            std::printf("%s %s %016lx\n", kernel->name, rig::name(level),
                        proof::hash_of(*kernel, level));
}
