// tools/info/library.h: the library that this program is linked with, and what it says by itself.
//
// A private copy of its file is loaded once per level, with CPUID answered as a processor of that
// level alone would: what an entry then holds, counted from the start of the library, is that
// level's variant. So no symbol table is needed, and nothing is taken from a list.
#ifndef INFO_LIBRARY_H
#define INFO_LIBRARY_H

#include "info/cpu.h"
#include "rig/elf_file.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace info {

using Offset = std::ptrdiff_t;

/// What each entry holds; nothing for a null entry.
using Held = std::map<std::string, std::optional<Offset>>;

struct Asked {
    std::uint32_t leaf, subleaf;
    rig::Words answer;
};

/// What loading the library on a processor did.
struct Load {
    Held held;
    std::vector<Asked> asked;
};

class Library {
public:
    Library(); // throws BadLibrary

    const std::string& path() const { return path_; }
    /// Levels at which an entry has a variant.
    std::vector<Level> levels(const std::string& entry) const;
    /// The level whose variant stands there; nothing if none does.
    std::optional<Level> level_at(const std::string& entry, std::optional<Offset> offset) const;

    /// What this process's own entries hold.
    const Held& own() const { return own_; }
    /// Loads a private copy.
    Load load_on(const Cpu& cpu) const;

private:
    std::string path_;
    Held own_;
    std::optional<rig::ElfFile> file_;
    std::map<std::string, std::map<Level, Offset>> variants_;
};

/// Names of the 50 entries and of the 3 plain functions, in the header's order.
const std::vector<std::string>& entry_names();
const std::vector<std::string>& function_names();

} // namespace info

#endif // INFO_LIBRARY_H
