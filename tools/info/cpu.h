// tools/info/cpu.h: a processor, and the operating system on it, as far as the kernels care.
#ifndef INFO_CPU_H
#define INFO_CPU_H

#include "rig/processor.h"

#include <functional>
#include <string>
#include <vector>

namespace info {

using rig::Level;

struct Cpu {
    std::string name;  // "haswell", or "this" for the one that runs the program
    std::string about; // for people
    std::function<rig::Words(std::uint32_t leaf, std::uint32_t subleaf)> cpuid;
    bool wide_state = false; // XCR0: the operating system saves the 32-byte registers

    bool is_this() const { return name == "this"; }
    std::string vendor() const;
    std::uint32_t highest_leaf() const { return cpuid(0, 0).eax; }
    /// Whether it has what the level is named after; AVX2 is looked up where it stands, in sub-leaf
    /// 0 of leaf 7.
    bool has(Level level) const;
    /// OSXSAVE and XCR0: 32-byte registers may be used.
    bool wide_registers_enabled() const;
};

Cpu this_cpu();
/// Throws BadRequest for an unknown name.
Cpu model(const std::string& name);

/// Gives or takes a feature: "+sse3", "-avx". Throws BadRequest.
void apply(Cpu& cpu, const std::string& change);

/// "opteron    AMD Opteron, 2003: ...", a line for each model.
std::string list_models();
/// The same for the names that apply() takes.
std::string list_features();

/// "baseline", "SSE4.1".
const char* title(Level level);

} // namespace info

#endif // INFO_CPU_H
