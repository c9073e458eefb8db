// tests/rig/buffer.h: arrays that notice every byte written or read beside them.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <iomanip>
#include <sstream>
#include <string>
#include <type_traits>

namespace rig {

/// Which forbidden page an array lies against; what the offset leaves free there holds canaries.
enum class Edge { start, end };
inline constexpr Edge both_edges[] = {Edge::start, Edge::end};

/// Pages of room between two forbidden ones.
class Arena {
public:
    explicit Arena(std::size_t bytes);
    ~Arena();
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

    /// `bytes` of room at an address that is `offset` modulo 64, as near to the edge as that
    /// allows, with canaries before and after.
    void* place(std::size_t bytes, std::size_t offset, Edge edge);
    /// Whether the canaries around the last place() still stand.
    testing::AssertionResult intact() const;
    std::size_t capacity() const { return static_cast<std::size_t>(end_ - begin_) - 128; }

private:
    unsigned char* map_;
    std::size_t map_bytes_;
    unsigned char *begin_, *end_;                 // the room between the forbidden pages
    unsigned char *low_, *first_, *last_, *high_; // canaries: [low, first) and [last, high)
};

/// An array of T in an arena of its own; place() moves it.
/// For a stated overrun place more elements than the kernel is told of.
template <class T>
class Buffer {
public:
    explicit Buffer(std::size_t most) : arena_(most * sizeof(T) + 256) {}

    /// `offset` in bytes modulo 64.
    T* place(std::size_t n, std::size_t offset, Edge edge)
    {
        size_ = n;
        return data_ = static_cast<T*>(arena_.place(n * sizeof(T), offset, edge));
    }
    T* data() const { return data_; }
    std::size_t size() const { return size_; }
    std::size_t bytes() const { return size_ * sizeof(T); }
    void set(std::size_t i, T value) { std::memcpy(byte(i), &value, sizeof value); }
    T get(std::size_t i) const
    {
        T value;
        std::memcpy(&value, byte(i), sizeof value);
        return value;
    }
    void fill_bytes(unsigned char value) { std::memset(static_cast<void*>(data_), value, bytes()); }
    testing::AssertionResult intact() const { return arena_.intact(); }

private:
    char* byte(std::size_t i) const { return reinterpret_cast<char*>(data_) + i * sizeof(T); }

    Arena arena_;
    T* data_ = nullptr;
    std::size_t size_ = 0;
};

/// The bits of a value, for messages and comparisons.
template <class T>
auto bits_of(T value)
{
    using Word = std::conditional_t<
        sizeof(T) == 8, std::uint64_t,
        std::conditional_t<sizeof(T) == 4, std::uint32_t,
                           std::conditional_t<sizeof(T) == 2, std::uint16_t, std::uint8_t>>>;
    Word word;
    static_assert(sizeof word == sizeof value);
    std::memcpy(&word, &value, sizeof word);
    return word;
}

template <class T>
std::string show(T value)
{
    std::ostringstream out;
    out << std::setprecision(17) << +value << " (0x" << std::hex << std::setfill('0')
        << std::setw(2 * sizeof(T)) << +bits_of(value) << ")";
    return out.str();
}

/// LIBSIMD_NANS=class: all NaNs are alike, for emulators, which have rules of their own for payloads.
inline bool nans_alike()
{
    static const char* const nans = std::getenv("LIBSIMD_NANS");
    return nans != nullptr && std::strcmp(nans, "class") == 0;
}

template <class T>
bool alike(T want, T got)
{
    if constexpr (std::is_floating_point_v<T>)
        if (nans_alike() && std::isnan(want) && std::isnan(got))
            return true;
    return bits_of(want) == bits_of(got);
}

template <class T>
testing::AssertionResult same_bits(T want, T got)
{
    if (alike(want, got))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "want " << show(want) << ", got " << show(got);
}

/// Compares n elements bit for bit; `got` may lie at any address.
template <class T>
testing::AssertionResult same_bits(const T* want, const T* got, std::size_t n)
{
    if (n == 0 || std::memcmp(static_cast<const void*>(want), static_cast<const void*>(got),
                              n * sizeof(T)) == 0)
        return testing::AssertionSuccess();
    for (std::size_t i = 0; i < n; ++i) {
        T w;
        T g;
        std::memcpy(&w, reinterpret_cast<const char*>(want) + i * sizeof(T), sizeof w);
        std::memcpy(&g, reinterpret_cast<const char*>(got) + i * sizeof(T), sizeof g);
        if (!alike(w, g))
            return testing::AssertionFailure()
                   << "element " << i << " of " << n << ": want " << show(w) << ", got " << show(g);
    }
    return testing::AssertionSuccess();
}

} // namespace rig
