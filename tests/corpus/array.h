// tests/corpus/array.h: arrays on the heap with nothing after them, and what they are filled with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

#if defined __SANITIZE_ADDRESS__
#define CORPUS_ADDRESS 1
#elif defined __has_feature
#if __has_feature(address_sanitizer)
#define CORPUS_ADDRESS 1
#endif
#endif
#ifdef CORPUS_ADDRESS
#include <sanitizer/asan_interface.h>
#endif
#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else
#define VALGRIND_MAKE_MEM_UNDEFINED(at, bytes) 0
#define VALGRIND_MAKE_MEM_DEFINED(at, bytes) 0
#endif

namespace corpus {

/// splitmix64.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint64_t bits()
    {
        std::uint64_t z = state_ += 0x9E3779B97F4A7C15U;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }

private:
    std::uint64_t state_;
};

template <class T>
T value(Random& random, bool special)
{
    const std::uint64_t bits = random.bits();
    if constexpr (std::is_floating_point_v<T>) {
        using L = std::numeric_limits<T>;
        static constexpr T few[] = {L::quiet_NaN(),  L::infinity(), -L::infinity(), T(0), -T(0),
                                    L::denorm_min(), L::min(),      L::max(),       T(1), T(1e9)};
        if (special && bits % 7 == 0)
            return few[bits / 7 % 10];
        return static_cast<T>(static_cast<double>(bits >> 11) * 0x1p-52 - 1.0);
    } else {
        return static_cast<T>(bits);
    }
}

/// n elements at an address that is `offset` modulo 64; freed with everything before them.
template <class T>
class Array {
public:
    Array(std::size_t n, std::size_t offset) : n_(n), bytes_(offset + n * sizeof(T))
    {
        block_ = static_cast<char*>(operator new (bytes_, std::align_val_t{64}));
        data_ = reinterpret_cast<T*>(block_ + offset);
#ifdef CORPUS_ADDRESS
        __asan_poison_memory_region(block_, offset / 8 * 8);
#endif
        std::memset(static_cast<void*>(data_), 0, n * sizeof(T));
        static_cast<void>(VALGRIND_MAKE_MEM_UNDEFINED(data_, n * sizeof(T)));
    }
    Array(std::size_t n, std::size_t offset, Random& random, bool special) : Array(n, offset)
    {
        for (std::size_t i = 0; i < n; ++i) {
            const T v = value<T>(random, special);
            std::memcpy(reinterpret_cast<char*>(data_) + i * sizeof v, &v, sizeof v);
        }
    }
    ~Array()
    {
#ifdef CORPUS_ADDRESS
        __asan_unpoison_memory_region(block_, bytes_);
#endif
        operator delete (block_, std::align_val_t{64});
    }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    operator T*() const { return data_; } // NOLINT
    std::size_t size() const { return n_; }

private:
    std::size_t n_, bytes_;
    char* block_;
    T* data_;
};

/// FNV-1a over values, NaNs as one.
class Hash {
public:
    template <class T>
    void add(T v)
    {
        if constexpr (std::is_floating_point_v<T>)
            if (v != v) // NOLINT
                v = std::numeric_limits<T>::quiet_NaN();
        unsigned char bytes[sizeof v];
        std::memcpy(bytes, &v, sizeof v);
        for (const unsigned char byte : bytes)
            state_ = (state_ ^ byte) * 0x100000001B3U;
    }
    template <class T>
    void add(const Array<T>& array)
    {
        static_cast<void>(
            VALGRIND_MAKE_MEM_DEFINED(static_cast<T*>(array), array.size() * sizeof(T)));
        for (std::size_t i = 0; i < array.size(); ++i) {
            T v;
            std::memcpy(&v, reinterpret_cast<const char*>(static_cast<T*>(array)) + i * sizeof v,
                        sizeof v);
            add(v);
        }
    }
    std::uint64_t state() const { return state_; }

private:
    std::uint64_t state_ = 0xCBF29CE484222325U;
};

} // namespace corpus
