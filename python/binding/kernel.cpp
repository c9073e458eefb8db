// python/binding/kernel.cpp: the library is opened at run time, so that `import` can say what is missing.
#include "binding/kernel.h"

#include "dispatch/probe.h" // its own questions, so that the answers are the same

#include <cpuid.h>
#include <dlfcn.h>
#include <link.h>

#include <array>
#include <stdexcept>

namespace binding {
namespace {

std::array<bool, std::size(level_names)> levels_reported{};
bool wide_registers = false;
std::string path_found;

CpuidWords cpuid(std::uint32_t leaf, std::uint32_t subleaf)
{
    CpuidWords out;
    __cpuid_count(leaf, subleaf, out.eax, out.ebx, out.ecx, out.edx);
    return out;
}

/// Asks as the library does, with what each CPUID left in ECX as the sub-leaf of the next.
void ask_processor()
{
    std::uint32_t ecx = 0;
    const auto query = [&ecx](std::uint32_t leaf, CpuidWords& words) {
        const CpuidWords range = cpuid(leaf & extended_range, ecx);
        ecx = range.ecx;
        if (range.eax == 0 || range.eax < leaf)
            return;
        words = cpuid(leaf, ecx);
        ecx = words.ecx;
    };
    ::probe(query,
            [](::Level level) { levels_reported.at(static_cast<std::size_t>(level)) = true; });
}

bool wide_registers_now()
{
    const auto words = cpuid(1, 0);
    if (!bit(words.ecx, 27)) // OSXSAVE
        return false;
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (low & 6U) == 6;
}

const char* spoken(Level level)
{
    static constexpr const char* names[] = {"the baseline", "SSE",    "SSE2", "SSE3",
                                            "SSSE3",        "SSE4.1", "AVX",  "AVX2"};
    return names[static_cast<std::size_t>(level)];
}

void choose_variant(Kernel& k)
{
    k.unavailable.clear();
    if (k.function)
        return;
    const Variant* installed = nullptr;
    for (const Variant& variant : k.variants)
        if (reported(variant.level))
            installed = &variant;
    if (installed == nullptr) {
        k.unavailable = "this processor reports no level that the kernel has a variant for";
        return;
    }
    k.level = installed->level;
    for (const Level demand : installed->demands)
        if (!reported(demand))
            k.unavailable = std::string("its variant for ") + spoken(k.level) + " also uses " +
                            spoken(demand) + ", which this processor lacks";
    if (k.level >= Level::avx && !wide_registers)
        k.unavailable = std::string("its variant for ") + spoken(k.level) +
                        " uses registers that the operating system has not enabled";
}

/// A kernel that calls another one through its entry fails with it.
void inherit(const char* from, std::initializer_list<const char*> callers)
{
    const std::string& why = kernel(from).unavailable;
    for (const char* caller : callers)
        if (!why.empty() && kernel(caller).unavailable.empty())
            kernel(caller).unavailable = std::string("it calls ") + from + ": " + why;
}

} // namespace

std::vector<Kernel>& kernels()
{
    static std::vector<Kernel> all = {
#include "kernel_table.inc"
    };
    return all;
}

Kernel& kernel(const std::string& name)
{
    for (Kernel& k : kernels())
        if (name == k.name)
            return k;
    throw std::logic_error("no kernel " + name);
}

bool reported(Level level) { return levels_reported.at(static_cast<std::size_t>(level)); }
bool wide_registers_enabled() { return wide_registers; }
const std::string& library_path() { return path_found; }

void load(const std::string& path)
{
    void* const library = dlopen(path.empty() ? "libsimd.so" : path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw std::runtime_error(dlerror()); // NOLINT(concurrency-mt-unsafe): imports are serial
    for (Kernel& k : kernels()) {
        k.symbol = dlsym(library, k.name);
        if (k.symbol == nullptr)
            throw std::runtime_error((path.empty() ? "libsimd.so" : path) + " has no " + k.name);
    }
    const link_map* map = nullptr;
    if (dlinfo(library, RTLD_DI_LINKMAP, &map) == 0)
        path_found = map->l_name;

    ask_processor();
    wide_registers = wide_registers_now();
    for (Kernel& k : kernels())
        choose_variant(k);
    inherit("minmax_f32", {"pack_f32_u8", "pack_f32_s16"});
    inherit("minmax_f64", {"pack_f64_u8", "pack_f64_s16", "pack_f64_u16"});
    inherit("fir_step_c64", {"fir_c16_alt", "fir_c32_alt", "fir_c64_alt"});
}

} // namespace binding
