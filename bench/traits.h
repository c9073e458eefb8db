// bench/traits.h: what the benches know about each kernel beside how it is called: the arrays that
// it works on, the places where its contract lets them lie, and how near two results must be.
#pragma once

#include "bench/arrays.h"
#include "rig/processor.h"

#include <string>

namespace bench {

using rig::Level;

/// Where a call's arrays start: all on 64-byte boundaries, each one element off, or differently.
enum class Place { aligned, together, crossed };
inline constexpr Place all_places[] = {Place::aligned, Place::together, Place::crossed};
const char* name(Place place);

/// How far a value may lie from the one it is checked against. Nothing: the same value.
struct Tolerance {
    double units = 0;    ///< steps of the element type's precision at that value
    double root_n = 0;   ///< so many more, times the root of the count: sums in another order
    double absolute = 0; ///< and this
    int codes = 0;       ///< for integers
    std::string text() const;
};
/// The wider of the two in everything.
Tolerance operator|(const Tolerance& a, const Tolerance& b);

struct Traits {
    std::string kernel;
    std::vector<Use> uses;
    Tolerance tolerance;   ///< of a variant against the plain loop
    std::size_t step = 1;  ///< counts are multiples of it
    std::size_t least = 1; ///< and no smaller than this
    bool last_bits_of_sums() const { return tolerance.root_n != 0; }
    /// Bytes read and written for each element counted, every array once for each direction.
    std::size_t bytes() const;
};

/// Throws if the kernel is not known.
const Traits& traits(const std::string& kernel);

/// Whether the contract allows that place at that level.
bool allowed(const std::string& kernel, Level level, Place place);

/// The start of the arrays for a place, if two of them differ by `crossing` elements.
Shift shift(Place place, std::size_t crossing);

} // namespace bench
