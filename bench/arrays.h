// bench/arrays.h: the arrays that the kernels are called on, and where in them a call starts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace bench {

/// How far off their boundaries a call's arrays start, in elements: one of them, and all others.
/// From a number: that one alone, so that the arrays lie differently.
struct Shift {
    Shift(std::size_t alone)
        : one(alone) {} // NOLINT(google-explicit-constructor): reads as a number
    static Shift together(std::size_t all)
    {
        Shift s(all);
        s.rest = all;
        return s;
    }
    std::size_t one, rest = 0;
};

/// What a call hands back by value or through a pointer to one element.
struct Results {
    float f32[3];
    double f64[3];
    std::int16_t s16[2];
    std::uint8_t u8;
    std::uint64_t u64;
};

enum class Kind { f64, f32, u8, s16, other_s16, u32, other_u32 };
enum class Direction { in = 1, out = 2, both = 3 };

/// An array that a kernel works on, with `per` elements for each one counted.
struct Use {
    Kind kind;
    std::size_t index, per;
    Direction direction;

    std::size_t element() const;
};

inline std::size_t Use::element() const
{
    switch (kind) {
    case Kind::f64:
        return 8;
    case Kind::f32:
    case Kind::u32:
    case Kind::other_u32:
        return 4;
    case Kind::s16:
    case Kind::other_s16:
        return 2;
    case Kind::u8:
        break;
    }
    return 1;
}

/// Arrays for kernels, 64-byte aligned, no two on the same page offset, with room to move by an
/// element. Kernels whose time depends on the data read the last of each kind, which nothing writes.
struct Arrays {
    /// All of them for `count` elements, every kind with the same values: for instruction counts.
    explicit Arrays(std::size_t count);
    /// Those that a kernel uses for up to `count` elements, each with values of its own.
    Arrays(std::size_t count, const std::vector<Use>& used);

    /// The values that they had at first, in the first `count` elements.
    void refill(std::size_t count);
    void refill() { refill(capacity); }
    char* start(const Use& use) const;
    /// Bytes of an array that `count` elements may touch, with those that alignment moves it by.
    static std::size_t bytes(const Use& use, std::size_t count)
    {
        return (use.per * count + room) * use.element();
    }
    static constexpr std::size_t room = 32;

    struct Free {
        void operator()(char* p) const { operator delete[](p, std::align_val_t{4096}); }
    };

    std::size_t n;        ///< what a call is told
    std::size_t capacity; ///< and at most
    bool distinct;        ///< each array has values of its own
    std::vector<Use> uses;
    std::unique_ptr<char[], Free> memory;
    double* f64[4] = {};
    float* f32[4] = {};
    std::uint8_t* u8 = nullptr;
    std::int16_t *s16 = nullptr, *other_s16 = nullptr;
    std::uint32_t *u32 = nullptr, *other_u32 = nullptr;
    /// Symmetric taps for the smoothing: those in row k start at element k.
    static constexpr int taps = 31;
    alignas(64) double taps64[2][taps + 9];
    alignas(64) float taps32[2][taps + 9];
    Results out = {};

private:
    void place();
    void set_taps();
};

} // namespace bench
