// tests/fuzz/stats_fuzz.cpp: every kernel of stats/ at every level, against its model.
#include "fuzz/kernels.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    return fuzz::compare(proof::stats_kernels(), bytes, size);
}
