#include "rig/copy.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace rig {
namespace {

constexpr unsigned char cpuid_bytes[2] = {0x0f, 0xa2};
constexpr unsigned char ud2_bytes[2] = {0x0f, 0x0b};

int patched_copy(const ElfFile& file)
{
    // One query holds both, some bytes apart; a library of before has one.
    const std::vector<std::size_t> sites = cpuid_sites(file);
    if (sites.empty() || sites.size() > 2 || sites.back() - sites.front() > 32)
        throw std::runtime_error("cannot tell which bytes are the library's CPUID");
    std::vector<char> bytes = file.bytes;
    for (const std::size_t site : sites)
        std::memcpy(bytes.data() + site, ud2_bytes, sizeof ud2_bytes);
    const int fd = memfd_create("libsimd", MFD_CLOEXEC);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("cannot copy the library into memory");
    return fd;
}

} // namespace

// The bytes may stand in another instruction's operand by chance: where the file has its symbols, only
// the function that holds the instructions is searched.
std::vector<std::size_t> cpuid_sites(const ElfFile& file)
{
    const auto is_cpuid = [](const ElfSymbol& symbol) {
        return symbol.type == STT_FUNC &&
               (symbol.name.find("11cpuid_query") != std::string::npos ||
                symbol.name.find("5cpuidE") != std::string::npos); // of a library of before
    };
    const auto function = std::find_if(file.symbols.begin(), file.symbols.end(), is_cpuid);
    std::vector<std::size_t> sites;
    for (const ElfSection& s : file.sections) {
        if (s.type != SHT_PROGBITS || (s.flags & SHF_EXECINSTR) == 0)
            continue;
        for (std::size_t at = s.offset; at + 1 < s.offset + s.size; ++at) {
            const std::uint64_t address = at - s.offset + s.address;
            const bool elsewhere =
                function != file.symbols.end() &&
                (address < function->value || address >= function->value + function->size);
            if (!elsewhere && std::memcmp(file.bytes.data() + at, cpuid_bytes, 2) == 0)
                sites.push_back(at);
        }
    }
    return sites;
}

// The file stays open for life: the loader takes a file of the same name for the same library.
ScriptedCopy::ScriptedCopy(const ElfFile& file, const Answering::Answer& answer, int dlopen_flags)
    : fd_(patched_copy(file))
{
    {
        const Answering answering(answer);
        handle_ = dlopen(("/proc/self/fd/" + std::to_string(fd_)).c_str(),
                         RTLD_NOW | RTLD_LOCAL | dlopen_flags);
    }
    if (handle_ == nullptr) {
        close(fd_);
        throw std::runtime_error(dlerror());
    }
    const link_map* map = nullptr;
    dlinfo(handle_, RTLD_DI_LINKMAP, &map);
    base_ = reinterpret_cast<const char*>(map->l_addr);
}

ScriptedCopy::~ScriptedCopy()
{
    dlclose(handle_);
    close(fd_);
}

void* ScriptedCopy::symbol(const char* exported) const
{
    void* address = dlsym(handle_, exported);
    if (address == nullptr)
        throw std::runtime_error(std::string("not exported: ") + exported);
    return address;
}

} // namespace rig
