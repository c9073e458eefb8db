#include "rig/library.h"

#include "rig/copy.h"
#include "rig/elf_file.h"
#include "rig/gate.h"

#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <elf.h>
#include <memory>
#include <stdexcept>
#include <sys/mman.h>

namespace rig {
namespace {

const ElfFile& file()
{
    static const ElfFile elf(shipped());
    return elf;
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
    if (whole.find("::{lambda") != std::string::npos) // within a function, at -O0 one by itself
        return whole;
    return whole.substr(0, whole.find('('));
}

std::string shipped()
{
    const char* path = std::getenv("LIBSIMD_LIBRARY");
    return path != nullptr ? path : LIBSIMD_LIBRARY;
}

std::vector<std::size_t> cpuid_sites() { return cpuid_sites(file()); }

Library::Library(const Processor& processor) : processor_(processor)
{
    copy_ = std::make_unique<ScriptedCopy>(
        file(), [this](const char* code_base, std::uint32_t leaf, std::uint32_t subleaf) {
            if (queries_.empty()) {
                base_ = code_base;
                note_entries();
            }
            queries_.push_back({leaf, subleaf});
            return processor_.answer(leaf, subleaf);
        });
    base_ = copy_->base();
}

Library::~Library() = default;

void Library::note_entries()
{
    for (const ElfSymbol& s : file().dynamic)
        if (s.type == STT_OBJECT && s.section != SHN_UNDEF) {
            const void* held;
            std::memcpy(&held, base_ + s.value, sizeof held);
            at_first_cpuid_[s.name] = name_of(held);
        }
}

void* Library::symbol(const char* exported) const { return copy_->symbol(exported); }

std::string Library::name_of(const void* address) const
{
    if (address == nullptr)
        return "";
    address = behind_gate(address);
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

std::vector<std::string> Library::changed_entries() const
{
    std::vector<std::string> names;
    for (const auto& [name, held] : loaded_)
        if (const void* now = *static_cast<void**>(symbol(name.c_str())); behind_gate(now) != held)
            names.push_back(name);
    return names;
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

void Library::gate_entries()
{
    for (const std::string& name : entry_names())
        if (auto** const entry = static_cast<void**>(symbol(name.c_str())); *entry != nullptr) {
            loaded_[name] = *entry;
            *entry = gate_to(*entry);
        }
}

static std::map<Level, std::unique_ptr<Library>>& shared_copies()
{
    static std::map<Level, std::unique_ptr<Library>> copies;
    return copies;
}

std::vector<std::string> changed_entries()
{
    std::vector<std::string> list;
    for (const auto& [level, copy] : shared_copies())
        for (const std::string& entry : copy->changed_entries())
            list.push_back(std::string(name(level)) + ": " + entry);
    return list;
}

Library& at(Level level)
{
    auto& copy = shared_copies()[level];
    if (!copy) {
        copy = std::make_unique<Library>(Processor::at(level));
        if (gates_at_entries)
            copy->gate_entries();
    }
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
