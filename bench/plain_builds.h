// bench/plain_builds.h: the plain loops by each compiler, with and without -ffast-math, for each
// instruction set.
#pragma once

#include "bench/plain.h"
#include "rig/processor.h"

#include <string>
#include <vector>

namespace bench {

struct PlainBuild {
    const char* compiler; ///< "g++" or "clang++"
    bool fast;            ///< -ffast-math
    rig::Level level;     ///< the instruction set
    const PlainLoops* loops;
    std::string name() const { return compiler + std::string(fast ? " fast-math" : ""); }
};

const std::vector<PlainBuild>& plain_builds();

/// The instruction set that a level's variants stand beside: every x86-64 compiler assumes SSE2.
inline rig::Level set_of(rig::Level level)
{
    return level < rig::Level::sse2 ? rig::Level::sse2 : level;
}

/// What results are checked against: SSE2, without -ffast-math.
const PlainLoops& plain_reference();

} // namespace bench
