#include "bench/library.h"

#include "libsimd.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <stdexcept>

namespace bench {
namespace {

std::string linked_library()
{
    if (const char* path = std::getenv("LIBSIMD_LIBRARY"))
        return path;
    Dl_info image{};
    if (dladdr(reinterpret_cast<const void*>(fill_f32), &image) == 0 || image.dli_fname == nullptr)
        throw std::runtime_error("libsimd.so: cannot tell which file was loaded");
    return image.dli_fname;
}

} // namespace

Library::Library(const std::string& path) : path_(path.empty() ? linked_library() : path)
{
    file_ = std::make_unique<rig::ElfFile>(path_);
    if (rig::cpuid_sites(*file_).empty())
        throw std::runtime_error(path_ + ": asks no CPUID: this is not libsimd.so");
}

rig::ScriptedCopy& Library::at(Level level)
{
    auto& copy = copies_[level];
    if (!copy) {
        const auto processor = rig::Processor::at(level);
        copy = std::make_unique<rig::ScriptedCopy>(
            *file_,
            [processor](const char*, std::uint32_t leaf, std::uint32_t subleaf) {
                return processor.answer(leaf, subleaf);
            },
            RTLD_DEEPBIND); // not this program's own entries
    }
    return *copy;
}

std::ptrdiff_t Library::offset(const std::string& kernel, Level level)
{
    const char* held;
    std::memcpy(&held, at(level).symbol(kernel.c_str()), sizeof held);
    return held == nullptr ? 0 : held - at(level).base();
}

bool Library::has(const std::string& kernel, Level level)
{
    if (!runs_here(level) || offset(kernel, level) == 0)
        return false;
    if (level == Level::base)
        return true;
    const auto below = static_cast<Level>(static_cast<int>(level) - 1);
    return offset(kernel, level) != offset(kernel, below);
}

bool runs_here(Level level)
{
    switch (level) {
    case Level::sse3:
        return __builtin_cpu_supports("sse3") != 0;
    case Level::ssse3:
        return __builtin_cpu_supports("ssse3") != 0;
    case Level::sse41:
        return __builtin_cpu_supports("sse4.1") != 0;
    case Level::avx:
        return __builtin_cpu_supports("avx") != 0;
    case Level::avx2:
        return __builtin_cpu_supports("avx2") != 0;
    default:
        return true;
    }
}

} // namespace bench
