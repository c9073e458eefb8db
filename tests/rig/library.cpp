#include "rig/library.h"

#include "rig/call.h"
#include "rig/elf_file.h"

#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <memory>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace rig {
namespace {

const ElfFile& file()
{
    static const ElfFile elf(shipped());
    return elf;
}

constexpr unsigned char cpuid_bytes[2] = {0x0f, 0xa2};
constexpr unsigned char ud2_bytes[2] = {0x0f, 0x0b};

int patched_copy()
{
    std::vector<char> bytes = file().bytes;
    for (const std::size_t site : cpuid_sites())
        std::memcpy(bytes.data() + site, ud2_bytes, sizeof ud2_bytes);
    const int fd = memfd_create("libsimd", 0);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("cannot copy the library into memory");
    return fd;
}

} // namespace

std::string unmangled(const std::string& symbol)
{
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), std::free);
    std::string whole = status == 0 ? text.get() : symbol;
    constexpr std::string_view unnamed = "(anonymous namespace)::";
    if (whole.starts_with(unnamed))
        whole.erase(0, unnamed.size());
    return whole.substr(0, whole.find('('));
}

const char* name(Level level)
{
    static const char* const names[] = {"base",  "sse",   "sse2", "sse3",
                                        "ssse3", "sse41", "avx",  "avx2"};
    return names[static_cast<int>(level)];
}

std::string shipped()
{
    const char* path = std::getenv("LIBSIMD_LIBRARY");
    return path != nullptr ? path : LIBSIMD_LIBRARY;
}

std::vector<std::size_t> cpuid_sites()
{
    std::vector<std::size_t> sites;
    for (const ElfSection& s : file().sections) {
        if (s.type != SHT_PROGBITS || (s.flags & SHF_EXECINSTR) == 0)
            continue;
        for (std::size_t at = s.offset; at + 1 < s.offset + s.size; ++at)
            if (std::memcmp(file().bytes.data() + at, cpuid_bytes, 2) == 0)
                sites.push_back(at);
    }
    return sites;
}

Processor Processor::at(Level level) { return with((2U << static_cast<unsigned>(level)) - 1); }

Processor Processor::with(unsigned level_set, const char* vendor, std::uint32_t max_basic)
{
    const auto has = [&](Level level, std::uint32_t bit) {
        return (level_set >> static_cast<unsigned>(level) & 1) != 0 ? bit : 0;
    };
    const auto letters = [&](int first) {
        std::uint32_t word;
        std::memcpy(&word, vendor + first, sizeof word);
        return word;
    };
    Processor p;
    p.leaves[0] = {max_basic, letters(0), letters(8), letters(4)};
    p.leaves[1] = {0, 0,
                   has(Level::sse3, ecx_sse3) | has(Level::ssse3, ecx_ssse3) |
                       has(Level::sse41, ecx_sse41) | has(Level::avx, ecx_avx),
                   has(Level::sse, edx_sse) | has(Level::sse2, edx_sse2)};
    p.leaves[7] = {0, has(Level::avx2, ebx_avx2), 0, 0};
    return p;
}

Library::Library(const Processor& processor) : processor_(processor)
{
    fd_ = patched_copy(); // open for life: the loader takes a file of the same name for the same
                          // library
    {
        const Answering answering(
            [this](const char* code_base, std::uint32_t leaf, std::uint32_t sub) {
                if (queries_.empty()) {
                    base_ = code_base;
                    for (const ElfSymbol& s : file().dynamic)
                        if (s.type == STT_OBJECT && s.section != SHN_UNDEF) {
                            const void* held;
                            std::memcpy(&held, base_ + s.value, sizeof held);
                            at_first_cpuid_[s.name] = name_of(held);
                        }
                }
                return answer(leaf, sub);
            });
        handle_ = dlopen(("/proc/self/fd/" + std::to_string(fd_)).c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    if (handle_ == nullptr)
        throw std::runtime_error(dlerror());
    const link_map* map = nullptr;
    dlinfo(handle_, RTLD_DI_LINKMAP, &map);
    base_ = reinterpret_cast<const char*>(map->l_addr);
}

Library::~Library()
{
    dlclose(handle_);
    close(fd_);
}

Words Library::answer(std::uint32_t leaf, std::uint32_t subleaf)
{
    queries_.push_back({leaf, subleaf});
    if (const auto it = processor_.by_subleaf.find({leaf, subleaf});
        it != processor_.by_subleaf.end())
        return it->second;
    const auto it = processor_.leaves.find(leaf);
    return it == processor_.leaves.end() ? Words{} : it->second;
}

void* Library::symbol(const char* exported) const
{
    void* address = dlsym(handle_, exported);
    if (address == nullptr)
        throw std::runtime_error(std::string("not exported: ") + exported);
    return address;
}

std::string Library::name_of(const void* address) const
{
    if (address == nullptr)
        return "";
    const auto value = static_cast<std::uint64_t>(static_cast<const char*>(address) - base_);
    for (const ElfSymbol& s : file().symbols)
        if (s.type == STT_FUNC && s.value == value)
            return unmangled(s.name);
    return "outside the library";
}

std::string Library::variant(const char* kernel) const
{
    return name_of(*static_cast<void**>(symbol(kernel)));
}

void* Library::internal(const char* function_name) const
{
    for (const ElfSymbol& s : file().symbols)
        if (s.type == STT_FUNC && unmangled(s.name) == function_name)
            return const_cast<char*>(base_ + s.value);
    throw std::runtime_error(std::string("no function ") + function_name);
}

void Library::intercept(const char* imported, void* replacement)
{
    bool found = false;
    for (const ElfRelocation& r : file().relocations) {
        if ((r.type != R_X86_64_JUMP_SLOT && r.type != R_X86_64_GLOB_DAT) || r.symbol != imported)
            continue;
        auto** slot = reinterpret_cast<void**>(const_cast<char*>(base_) + r.offset);
        const std::uintptr_t page = reinterpret_cast<std::uintptr_t>(slot) & ~std::uintptr_t{4095};
        mprotect(reinterpret_cast<void*>(page), 4096, PROT_READ | PROT_WRITE); // bound at load
        intercepted_.try_emplace(slot, *slot);
        *slot = replacement;
        found = true;
    }
    if (!found)
        throw std::runtime_error(std::string("the library does not import ") + imported);
}

void Library::release()
{
    for (const auto& [slot, original] : intercepted_)
        *slot = original;
    intercepted_.clear();
}

Library& at(Level level)
{
    static std::map<Level, std::unique_ptr<Library>> copies;
    auto& copy = copies[level];
    if (!copy)
        copy = std::make_unique<Library>(Processor::at(level));
    return *copy;
}

const std::map<std::string, std::vector<Level>>& table()
{
    using enum Level;
    static const std::map<std::string, std::vector<Level>> rows = {
        {"fill_f32", {base, sse, avx}},
        {"memcpy_fast", {base, sse2, avx2}},
        {"swap_words_u32", {base, sse2, ssse3, avx2}},
        {"pack_f32_u8", {base, sse2, avx, avx2}},
        {"pack_f32_s16", {base, sse2, avx, avx2}},
        {"pack_f64_u8", {base, sse2, avx}},
        {"pack_f64_s16", {base, sse2, avx}},
        {"pack_f64_u16", {base, sse2, ssse3, sse41, avx}},
        {"unpack_u8_f32", {base, sse2, avx, avx2}},
        {"unpack_s16_f32", {sse2, avx, avx2}},
        {"unpack_u8_f64", {base, sse2, avx}},
        {"unpack_s16_f64", {base, sse2, avx}},
        {"unpack_u16_f64", {base, sse2, avx}},
        {"unpack_alt_s16_f64", {base, sse2, ssse3, avx}},
        {"unpack_cmb_s16_f64", {base, sse2, avx}},
        {"min_u8", {base, sse2, avx2}},
        {"max_u8", {base, sse2, avx2}},
        {"min_s16", {base, sse2, avx2}},
        {"max_s16", {base, sse2, avx2}},
        {"minmax_s16", {base, sse2, avx2}},
        {"min_f32", {base, sse, avx}},
        {"max_f32", {base, sse, avx}},
        {"minmax_f32", {base, sse, avx}},
        {"min_f64", {base, sse2, avx}},
        {"max_f64", {base, sse2, avx}},
        {"minmax_f64", {base, sse2, avx}},
        {"avg_f32", {base, sse, avx}},
        {"avg_f64", {base, sse2, avx}},
        {"avg_lvl_f32", {base, sse2, avx, avx2}},
        {"avg_lvl_f64", {base, sse2, avx, avx2}},
        {"avg_abs_s16", {base, ssse3, avx2}},
        {"minmaxmed_f32", {base, sse, avx}},
        {"minmaxmed_f64", {base, sse2, avx}},
        {"max_array_f32", {base, sse, avx}},
        {"max_array_f64", {base, sse2, avx}},
        {"mult_f32", {base, sse, avx}},
        {"mult_f64", {base, sse2, avx}},
        {"mult_add_f32", {base, sse, avx}},
        {"mix_f64", {base, sse2, avx}},
        {"fft_abs_f32", {base, sse, avx}},
        {"fft_abs_f64", {base, sse2, sse3, avx}},
        {"spec_log_f32", {base, sse2, avx2}},
        {"spec_log_f64", {base}},
        {"fir_step_c32", {base, sse, avx}},
        {"fir_step_c64", {base, sse2, avx}},
        {"iir1_f32", {base, sse, avx}},
        {"iir1_f64", {base, sse2, avx}},
        {"vfilter_f32", {base, sse, avx}},
        {"vfilter_f64", {base, sse2, avx}},
        {"vfilter2_chunk", {base, sse2, avx2}},
    };
    return rows;
}

const std::vector<std::string>& entry_names()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const auto& row : table())
            list.push_back(row.first);
        return list;
    }();
    return names;
}

} // namespace rig
