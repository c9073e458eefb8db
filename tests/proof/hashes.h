// tests/proof/hashes.h: one number for all that a variant does over a fixed choice of calls.
#pragma once

#include "proof/proof.h"

namespace proof {

/// Of all that the shipped library leaves in its arrays and returns; the same in every run, with
/// every compiler, and on every machine: expf, log10f and log10 are stood in for.
std::uint64_t hash_of(const Kernel& kernel, Level level);

} // namespace proof
