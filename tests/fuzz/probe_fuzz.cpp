// tests/fuzz/probe_fuzz.cpp: the probe and the table, for any answers a processor may give.
#include "fuzz/probe.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const rig::Processor processor = fuzz::processor(bytes, size);
    const std::string difference = fuzz::probe_difference(processor);
    if (!difference.empty()) {
        std::fprintf(stderr, "DIFFERENCE: %s\n", difference.c_str());
        for (const auto& [leaf, w] : processor.leaves)
            std::fprintf(stderr, "  leaf %x: %08x %08x %08x %08x\n", leaf, w.eax, w.ebx, w.ecx,
                         w.edx);
        for (const auto& [query, w] : processor.by_subleaf)
            std::fprintf(stderr, "  leaf %x sub-leaf %x: %08x %08x %08x %08x\n", query.first,
                         query.second, w.eax, w.ebx, w.ecx, w.edx);
        std::abort();
    }
    return 0;
}
