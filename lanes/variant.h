// lanes/variant.h: what every variant's file starts from.
//
// A level's object may hold nothing that the linker could share with another level's: of two copies
// of one inline function the linker keeps either, and one of them may need AVX. So whatever the
// variants share is SIMD_INLINE, a copy per file and never a call, and a file's own helpers and
// constants stand in an unnamed namespace.
#ifndef LIBSIMD_LANES_VARIANT_H
#define LIBSIMD_LANES_VARIANT_H

#include "libsimd.h"

#include <cstddef>
#include <cstdint>

#define SIMD_INLINE [[gnu::always_inline, maybe_unused]] static inline

// A variant that uses more than the level it is installed at; it faults on processors of that level
// which lack the set. Kept: the probe's rule is what hosts know.
#define DEMANDS_SSE3 [[gnu::target("sse3")]]
#define DEMANDS_SSE41 [[gnu::target("sse4.1")]]

#endif
