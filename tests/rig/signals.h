// tests/rig/signals.h: the signals behind the rig: an answer to a ud2 that stands for CPUID, and a
// landing for calls that fault. Needs no test framework.
#pragma once

#include "rig/processor.h"

#include <csetjmp>
#include <functional>

namespace rig {

/// While one lives, a ud2 that stands for CPUID is answered by `answer(image base, leaf,
/// sub-leaf)`.
class Answering {
public:
    using Answer =
        std::function<Words(const char* base, std::uint32_t leaf, std::uint32_t subleaf)>;
    explicit Answering(Answer answer);
    ~Answering();
    Answering(const Answering&) = delete;
    Answering& operator=(const Answering&) = delete;
};

/// Where every other SIGILL, SIGSEGV, SIGBUS and SIGFPE continues, with the signal's number; null:
/// it ends the program. Returns what was set before.
sigjmp_buf* land_at(sigjmp_buf* place);

} // namespace rig
