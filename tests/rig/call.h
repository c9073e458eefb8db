// tests/rig/call.h: calls that are watched.
#pragma once

#include "rig/library.h"
#include "rig/signals.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>

namespace rig {

/// What a call did to the machine besides its results.
struct Outcome {
    int signal = 0;           // SIGSEGV, SIGILL... if it faulted, else 0
    bool dirty_upper = false; // upper halves of the vector registers in use afterwards
    unsigned mxcsr = 0;       // as the call left it
    std::string changed;      // callee-saved registers, stack, direction flag: rig/gate.h
};

/// MXCSR: how a program starts, to nearest and all exceptions masked, and the six exception flags.
inline constexpr unsigned usual_mxcsr = 0x1F80, exception_flags = 0x3F;

/// Calls `body` under this control word, with the upper halves of the vector registers made dirty
/// first if `dirty`.
Outcome watch(bool dirty, const std::function<void()>& body, unsigned mxcsr = usual_mxcsr);

/// The call that every test makes: no fault, nothing left behind; AVX and AVX2 variants start with
/// dirty upper halves and must leave them clear. The control word comes back as it was, but for
/// exception flags that the call raised; `flags` takes those that are set afterwards.
/// ASSERT_TRUE(armed(level, [&] { f(x, n); }));
testing::AssertionResult armed(Level level, const std::function<void()>& body,
                               unsigned mxcsr = usual_mxcsr, unsigned* flags = nullptr);

/// Whether the call ends in a memory fault (a named fault of the contract).
bool faults(const std::function<void()>& body, unsigned mxcsr = usual_mxcsr);

/// Stands in for a function of one float that a kernel calls: notes whether the upper halves were in
/// use when it was called, and leaves them in use.
struct Dirtying {
    static inline bool found_dirty;
    static float call(float v);
};

/// Whether this machine can tell dirty upper halves (XGETBV with index 1) and has AVX at all.
bool upper_halves_visible();

} // namespace rig
