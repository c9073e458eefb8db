// tests/fuzz/memory_fuzz.cpp: every kernel of memory/ at every level, against its model.
#include "fuzz/kernels.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    return fuzz::compare(proof::memory_kernels(), bytes, size);
}
