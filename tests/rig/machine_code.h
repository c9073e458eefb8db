// tests/rig/machine_code.h: the shipped library's machine code, function by function, decoded.
#pragma once

#include "rig/elf_file.h"
#include "rig/library.h"

#include <Zydis/Zydis.h>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace rig {

struct Instruction {
    std::uint64_t address;
    ZydisDecodedInstruction decoded;
    ZydisDecodedOperand operands[ZYDIS_MAX_OPERAND_COUNT];

    std::uint64_t next() const { return address + decoded.length; }
    std::string mnemonic() const { return ZydisMnemonicGetString(decoded.mnemonic); }
    /// Target of a direct jump or call, 0 for none.
    std::uint64_t target() const;
    bool writes_ymm() const;
    bool is_vex() const { return decoded.encoding != ZYDIS_INSTRUCTION_ENCODING_LEGACY; }
};

struct Function {
    std::string name;
    std::uint64_t begin, end;
    std::vector<Instruction> code;
};

class MachineCode {
public:
    explicit MachineCode(const std::string& path);

    const Function* named(const std::string& name) const;
    /// The function that starts at, or contains, an address.
    const Function* around(std::uint64_t address) const;
    const std::map<std::uint64_t, Function>& functions() const;
    /// Rows of eight equal words on 32 bytes that a function names, by the word: their addresses.
    std::map<std::uint32_t, std::set<std::uint64_t>> rows_named_in(const Function& f) const;
    std::uint64_t begin() const { return text_.address; }
    std::uint64_t end() const { return text_.address + text_.size; }
    const ElfFile& file() const { return elf_; }

    /// What compilers and linkers put between functions: nop, xchg ax, ax, int3, zeros.
    bool is_padding(std::uint64_t from, std::uint64_t to) const;

private:
    char byte(std::uint64_t at) const { return elf_.bytes[text_.offset + (at - text_.address)]; }
    bool decode_one(Instruction& i, std::uint64_t at, std::uint64_t end) const;
    const Function& decoded(Function& f) const;

    ElfFile elf_;
    ElfSection text_;
    ZydisDecoder decoder_;
    mutable std::map<std::uint64_t, Function> functions_; // decoded when first asked for
};

/// The code of the library under test.
const MachineCode& shipped_code();

/// "fill_f32_avx" is a variant's name; helpers that the compiler left as functions are not. With them
/// stands the exponential of four floats.
const std::map<std::string, Level>& variant_levels();

/// A variant with the local helpers that it calls, but without other variants; empty if it is not
/// there.
std::vector<const Function*> body_of(const std::string& variant);

} // namespace rig
