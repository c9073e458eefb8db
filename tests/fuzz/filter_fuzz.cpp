// tests/fuzz/filter_fuzz.cpp: every kernel of filter/ at every level, against its model.
#include "fuzz/kernels.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    return fuzz::compare(proof::filter_kernels(), bytes, size);
}
