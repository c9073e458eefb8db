// tests/rig/copy.h: a private copy of a libsimd.so, loaded while a script answers its CPUID.
//
// The copy lies in memory; its CPUID instructions (0f a2) are replaced by ud2 (0f 0b), and the
// resulting signal is answered. Works on a stripped file, and needs no test framework.
#pragma once

#include "rig/elf_file.h"
#include "rig/signals.h"

#include <cstddef>
#include <string>
#include <vector>

namespace rig {

/// File offsets of the bytes 0f a2 in the library's function cpuid, or in all code of a stripped file.
std::vector<std::size_t> cpuid_sites(const ElfFile& file);

/// One loaded copy. Copies are independent: each has its own entries, as long as the program itself
/// does not link the library. If it does, pass RTLD_DEEPBIND: without it the copy's initialiser
/// would find, and fill, the program's entries.
class ScriptedCopy {
public:
    ScriptedCopy(const ElfFile& file, const Answering::Answer& answer, int dlopen_flags = 0);
    ~ScriptedCopy();
    ScriptedCopy(const ScriptedCopy&) = delete;
    ScriptedCopy& operator=(const ScriptedCopy&) = delete;

    void* symbol(const char* exported) const; // throws if there is none
    const char* base() const { return base_; }

private:
    int fd_ = -1;
    void* handle_ = nullptr;
    const char* base_ = nullptr;
};

} // namespace rig
