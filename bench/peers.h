// bench/peers.h: what a user would pick instead of a kernel, called with the kernel's arguments.
//
// Each library is optional when this is built. What a peer does differently stands in its row.
#pragma once

#include "bench/traits.h"

namespace bench {

/// Where a peer may run.
enum class Needs {
    nothing,
    avx2,     ///< it is compiled for it here; the others choose by themselves
    alignment ///< it faults on arrays that are not aligned
};

struct Peer {
    const char *kernel, *library;
    const char* calls;      ///< what is called, in words
    const char* difference; ///< from the kernel; "" if there is none but what the tolerance says
    Tolerance tolerance;    ///< of its results, beyond what the kernel's own variants get
    Needs needs;
    void (*function)(); ///< of the kernel's type

    template <class Fn>
    Fn* as() const
    {
        return reinterpret_cast<Fn*>(function);
    }
};

/// All peers that were there when this was built.
const std::vector<Peer>& peers();

/// A table without a constructor: some of their files are compiled for AVX2, and nothing of them may
/// run, or be shared with others, on a processor without it.
struct PeerList {
    const Peer* rows;
    std::size_t count;
};

// One list per library, each in a file of its own; the last three need AVX2.
PeerList glibc_peers();
PeerList volk_peers();
PeerList highway_peers();
PeerList xsimd_peers();
PeerList eigen_peers();

/// A row of a list, its function checked against the kernel's type.
#define BENCH_PEER(kernel, library, function, calls, difference, tolerance, needs)                 \
    {                                                                                              \
#kernel, library, calls, difference, tolerance, needs,                                     \
            reinterpret_cast < void (*)()>(static_cast <kernel##_fn*>(function))                   \
    }

} // namespace bench
