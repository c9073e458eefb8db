// tests/fuzz/spectrum_fuzz.cpp: every kernel of spectrum/ at every level, against its model.
#include "fuzz/kernels.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    return fuzz::compare(proof::spectrum_kernels(), bytes, size);
}
