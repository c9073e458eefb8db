// tests/fuzz/convert_fuzz.cpp: every kernel of convert/ at every level, against its model.
#include "fuzz/kernels.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    return fuzz::compare(proof::convert_kernels(), bytes, size);
}
