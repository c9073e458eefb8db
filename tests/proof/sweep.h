// tests/proof/sweep.h: which cases the long run makes of a kernel.
#pragma once

#include "proof/proof.h"

#include <functional>

namespace proof {

using Visit = std::function<void(const Case&)>;

/// How much of a sweep is made. `thin` = k divides its cases into k parts, by a fixed draw over
/// crossings of offsets and counts; `phase` says which part is made.
struct Extent {
    std::size_t most = most_elements;
    std::size_t thin = 1;
    std::size_t phase = 0;
};

/// The part of a level. The plain functions differ in nothing but the fir_step_c64 that a level
/// installs: levels that install the same one share the cases, each making another part.
Extent share(const Kernel& kernel, Level level, Extent all);

/// Every count up to `most` with every crossing of offsets modulo 64 in steps of the elements: of
/// one or two pointers all; of three and more, each pair crossed with the others aligned, and for
/// each count 64 drawn from the whole crossing. Kinds of data and edges take turns.
void counts_and_offsets(const Kernel& kernel, Extent extent, const Visit& visit);

/// Every special value with every other: in two inputs, or an input and a scalar, at one place, and
/// in one input at two places; at every place of an array that has head, blocks and tail, from
/// every offset modulo 32 in steps, with all pointers alike and with the last one apart.
void special_values(const Kernel& kernel, Level level, Extent extent, const Visit& visit);

/// MXCSR as a host may set it: four roundings, subnormal results flushed or not, subnormal operands
/// read as zeros or not; all exceptions masked, no flag raised.
inline constexpr unsigned settings = 16;
constexpr unsigned setting(unsigned i)
{
    return rig::usual_mxcsr | (i & 3) << 13 | (i >> 2 & 1) << 15 | (i >> 3 & 1) << 6;
}

/// Visits each case under a setting drawn for it, half of them with all exception flags raised
/// before, half with arrays of numbers that tell settings apart.
Visit under_control(const Visit& visit);

/// A fixed choice: counts small and large, each with every kind of data, at offsets drawn, equal
/// and zero; then long aligned arrays. Each later round makes other calls of the counts to 160.
void choice(const Kernel& kernel, const Visit& visit, std::size_t round = 0);

} // namespace proof
