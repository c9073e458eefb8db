// load_host.cpp: a host in C++ that loads the library at run time, with the header's types.
//
//     c++ -std=c++20 load_host.cpp $(pkg-config --cflags libsimd) -ldl
//     load_host [LIBRARY]
#include "libsimd.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

/// The library for as long as this object lives. Its entries must not be called afterwards.
class Simd {
public:
    explicit Simd(const char* path) : handle_(dlopen(path, RTLD_NOW), dlclose)
    {
        if (handle_ == nullptr)
            throw std::runtime_error(dlerror());
    }

    /// What an entry holds now; throws if that is null.
    template <class Kernel>
    Kernel& kernel(const char* name) const
    {
        Kernel* const held = *static_cast<Kernel**>(symbol(name));
        if (held == nullptr)
            throw std::runtime_error(std::string(name) + ": no variant for this processor");
        return *held;
    }

    void* symbol(const char* name) const
    {
        void* const address = dlsym(handle_.get(), name);
        if (address == nullptr)
            throw std::runtime_error(dlerror());
        return address;
    }

private:
    std::unique_ptr<void, int (*)(void*)> handle_;
};

/// Quantises a row to bytes and restores it; prints the largest error in steps.
void quantise(const Simd& simd)
{
    auto& pack = simd.kernel<pack_f32_u8_fn>("pack_f32_u8");
    auto& unpack = simd.kernel<unpack_u8_f32_fn>("unpack_u8_f32");
    alignas(32) std::array<float, 64> row;
    alignas(32) std::array<float, 64> restored;
    alignas(32) std::array<std::uint8_t, 64> pixels;
    for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = -100.0F + static_cast<float>(i * i % 97);

    float step = 0.0F;
    float min = 0.0F;
    pack(row.data(), row.size(), pixels.data(), &step, &min);
    unpack(pixels.data(), pixels.size(), restored.data(), step, min);
    int within = 0;
    for (std::size_t i = 0; i < row.size(); ++i)
        within += restored[i] - row[i] <= step && row[i] - restored[i] <= step ? 1 : 0;
    std::printf("from %.1f in steps of %.3f: %d of %zu within a step\n", static_cast<double>(min),
                static_cast<double>(step), within, row.size());
}

} // namespace

int main(int argc, char** argv)
{
    try {
        quantise(Simd(argc > 1 ? argv[1] : "libsimd.so"));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "load_host: %s\n", error.what());
        return 1;
    }
}
