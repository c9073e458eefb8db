#include "rig/elf_file.h"

#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace rig {
namespace {

template <class T>
T at(const std::vector<char>& bytes, std::uint64_t offset)
{
    if (offset + sizeof(T) > bytes.size())
        throw std::runtime_error("ELF file is cut short");
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::string text(const std::vector<char>& bytes, std::uint64_t offset)
{
    return {bytes.data() + offset};
}

} // namespace

ElfFile::ElfFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    bytes.assign(std::istreambuf_iterator<char>(in), {});
    const auto header = at<Elf64_Ehdr>(bytes, 0);
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
        throw std::runtime_error(path + " is not an ELF file");

    std::vector<Elf64_Shdr> raw;
    for (unsigned i = 0; i < header.e_shnum; ++i)
        raw.push_back(at<Elf64_Shdr>(bytes, header.e_shoff + i * sizeof(Elf64_Shdr)));
    const std::uint64_t names = raw.at(header.e_shstrndx).sh_offset;
    for (const Elf64_Shdr& s : raw)
        sections.push_back({text(bytes, names + s.sh_name), s.sh_type, s.sh_flags, s.sh_addr,
                            s.sh_offset, s.sh_size});

    for (const Elf64_Shdr& s : raw) {
        if (s.sh_type != SHT_SYMTAB && s.sh_type != SHT_DYNSYM)
            continue;
        const std::uint64_t strings = raw.at(s.sh_link).sh_offset;
        auto& list = s.sh_type == SHT_SYMTAB ? symbols : dynamic;
        for (std::uint64_t o = sizeof(Elf64_Sym); o < s.sh_size; o += sizeof(Elf64_Sym)) {
            const auto sym = at<Elf64_Sym>(bytes, s.sh_offset + o);
            list.push_back({text(bytes, strings + sym.st_name), sym.st_value, sym.st_size,
                            static_cast<unsigned>(ELF64_ST_TYPE(sym.st_info)),
                            static_cast<unsigned>(ELF64_ST_BIND(sym.st_info)),
                            static_cast<unsigned>(ELF64_ST_VISIBILITY(sym.st_other)),
                            sym.st_shndx});
        }
    }
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        const auto p = at<Elf64_Phdr>(bytes, header.e_phoff + i * sizeof(Elf64_Phdr));
        segments.push_back({p.p_type, p.p_flags, p.p_vaddr, p.p_memsz});
    }
    for (const Elf64_Shdr& s : raw) {
        if (s.sh_type != SHT_RELA || header.e_type == ET_REL)
            continue;
        for (std::uint64_t o = 0; o < s.sh_size; o += sizeof(Elf64_Rela)) {
            const auto r = at<Elf64_Rela>(bytes, s.sh_offset + o);
            const std::size_t index = ELF64_R_SYM(r.r_info);
            relocations.push_back({r.r_offset, static_cast<std::uint32_t>(ELF64_R_TYPE(r.r_info)),
                                   index == 0 ? "" : dynamic.at(index - 1).name, r.r_addend});
        }
    }
    for (const Elf64_Shdr& s : raw) {
        if (s.sh_type != SHT_DYNAMIC)
            continue;
        const std::uint64_t strings = raw.at(s.sh_link).sh_offset;
        for (std::uint64_t o = 0; o < s.sh_size; o += sizeof(Elf64_Dyn)) {
            const auto dyn = at<Elf64_Dyn>(bytes, s.sh_offset + o);
            if (dyn.d_tag == DT_NULL)
                break;
            dynamic_tags.emplace_back(dyn.d_tag, dyn.d_un.d_val);
            if (dyn.d_tag == DT_NEEDED)
                needed.push_back(text(bytes, strings + dyn.d_un.d_val));
            if (dyn.d_tag == DT_SONAME)
                soname = text(bytes, strings + dyn.d_un.d_val);
        }
    }
}

std::uint64_t ElfFile::tag(std::int64_t wanted) const
{
    for (const auto& [tag, value] : dynamic_tags)
        if (tag == wanted)
            return value;
    return 0;
}

bool ElfFile::has_tag(std::int64_t wanted) const
{
    for (const auto& [tag, value] : dynamic_tags)
        if (tag == wanted)
            return true;
    return false;
}

const ElfSection* ElfFile::section(const std::string& wanted) const
{
    for (const ElfSection& s : sections)
        if (s.name == wanted)
            return &s;
    return nullptr;
}

const char* ElfFile::bytes_at(std::uint64_t address, std::uint64_t count) const
{
    for (const ElfSection& s : sections)
        if (s.type == SHT_PROGBITS && s.address != 0 && s.address <= address &&
            address + count <= s.address + s.size)
            return bytes.data() + s.offset + (address - s.address);
    return nullptr;
}

} // namespace rig
