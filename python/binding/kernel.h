// python/binding/kernel.h: the 53 kernels of the loaded library, with what is known of the variant
// that each one holds on this processor.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace binding {

enum class Level : std::uint8_t { base, sse, sse2, sse3, ssse3, sse41, avx, avx2 };
inline constexpr const char* level_names[] = {"base",  "sse",   "sse2", "sse3",
                                              "ssse3", "sse41", "avx",  "avx2"};

struct Variant {
    Level level;
    std::vector<Level> demands; // what it uses beyond its level
};

struct Kernel {
    const char* name;
    const char* prototype;
    const char* contract; // as the header states it
    bool function;        // a plain function, not an entry
    std::vector<Variant> variants;

    void* symbol = nullptr;    // of the entry, or the function itself
    Level level = Level::base; // of the variant that is installed
    std::string unavailable{}; // why a call would be a signal; empty: it would not

    void* address() const { return function ? symbol : *static_cast<void* const*>(symbol); }
};

/// All kernels in the header's order; made from the header.
std::vector<Kernel>& kernels();
Kernel& kernel(const std::string& name);

/// Loads the library, by its path or (empty) as the system finds it, and asks the processor as the
/// library does. Throws std::runtime_error.
void load(const std::string& path);
/// Where the library was found.
const std::string& library_path();
bool reported(Level level);
bool wide_registers_enabled();

} // namespace binding
