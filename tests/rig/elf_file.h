// tests/rig/elf_file.h: the little of ELF that the rig and the binary checks read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace rig {

struct ElfSymbol {
    std::string name;
    std::uint64_t value, size;
    unsigned type, binding, visibility, section;
};

struct ElfSection {
    std::string name;
    std::uint32_t type;
    std::uint64_t flags, address, offset, size;
};

struct ElfFile {
    explicit ElfFile(const std::string& path);

    std::vector<char> bytes;
    std::vector<ElfSection> sections;
    std::vector<ElfSymbol> symbols; // the static table
    std::vector<ElfSymbol> dynamic; // the dynamic table
    std::vector<std::pair<std::int64_t, std::uint64_t>> dynamic_tags;
    std::vector<std::string> needed; // libraries
    std::string soname;

    const ElfSection* section(const std::string& name) const;
};

} // namespace rig
