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

struct ElfSegment {
    std::uint32_t type, flags;
    std::uint64_t address, size;
};

/// One relocation: where, of what kind, against which dynamic symbol ("" for none).
struct ElfRelocation {
    std::uint64_t offset;
    std::uint32_t type;
    std::string symbol;
    std::int64_t addend;
};

struct ElfFile {
    explicit ElfFile(const std::string& path);

    std::vector<char> bytes;
    std::vector<ElfSection> sections;
    std::vector<ElfSegment> segments;
    std::vector<ElfRelocation> relocations; // of a linked file
    std::vector<ElfSymbol> symbols;         // the static table
    std::vector<ElfSymbol> dynamic;         // the dynamic table
    std::vector<std::pair<std::int64_t, std::uint64_t>> dynamic_tags;
    std::vector<std::string> needed; // libraries
    std::string soname;

    const ElfSection* section(const std::string& name) const;
    /// The bytes at an address of the image, null unless one section of the file holds them all.
    const char* bytes_at(std::uint64_t address, std::uint64_t count) const;
    /// The value of a dynamic tag; 0 if it is absent.
    std::uint64_t tag(std::int64_t wanted) const;
    bool has_tag(std::int64_t wanted) const;
};

} // namespace rig
