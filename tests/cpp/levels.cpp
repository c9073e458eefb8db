// tests/cpp/levels.cpp: the entries of this program, filled by the library's own probe.
#define constructor unused       // the objects have the one that the loader calls
#include "dispatch/dispatch.cpp" // NOLINT
#undef constructor

#include "cpp/places.h"

namespace {

rig::Processor scripted_processor;

void scripted(std::uint32_t leaf, CpuidWords& words)
{
    const rig::Words answer = scripted_processor.answer(leaf, 0);
    words = {answer.eax, answer.ebx, answer.ecx, answer.edx};
}

} // namespace

void cpp::install(unsigned levels)
{
    unpack_s16_f32 = nullptr; // has no baseline
    scripted_processor = rig::Processor::with(levels);
    probe(scripted, ::install);
    using namespace simd::detail;
    reported = levels | base | (sse3 | sse41 | avx) << runs; // this machine runs all of them
}

void cpp::install(rig::Level level) { install((2U << static_cast<unsigned>(level)) - 1); }
