// bench/library.h: the measured libsimd.so, loaded once per level as a processor of that level would
// load it, so that all variants run in one process.
#pragma once

#include "rig/copy.h"
#include "rig/processor.h"

#include <map>
#include <memory>
#include <string>

namespace bench {

using rig::Level;

class Library {
public:
    /// Without a path: the file in LIBSIMD_LIBRARY, or the library that this program is linked with.
    explicit Library(const std::string& path);

    const std::string& path() const { return path_; }
    /// Whether a level has a variant of its own, and this processor can run it.
    bool has(const std::string& kernel, Level level);
    /// The variant, as the entry's type; a plain function as it is exported.
    template <class Fn>
    Fn* variant(const std::string& kernel, Level level)
    {
        return *static_cast<Fn**>(at(level).symbol(kernel.c_str()));
    }
    template <class Fn>
    Fn* function(const std::string& name, Level level)
    {
        return reinterpret_cast<Fn*>(at(level).symbol(name.c_str()));
    }

private:
    rig::ScriptedCopy& at(Level level);
    std::ptrdiff_t offset(const std::string& kernel, Level level);

    std::string path_;
    std::unique_ptr<rig::ElfFile> file_;
    std::map<Level, std::unique_ptr<rig::ScriptedCopy>> copies_;
};

/// Whether the processor at hand can run a level.
bool runs_here(Level level);

} // namespace bench
