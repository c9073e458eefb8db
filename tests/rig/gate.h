// tests/rig/gate.h: a watched way into a function: whatever it does to its caller shows right behind
// it, before any other frame can hide it.
#pragma once

#include <string>

namespace rig {

/// A function that calls `target`, with the same arguments and result (none on the stack), and takes
/// note of what came back changed: a callee-saved register, the stack pointer, the 264 bytes of stack
/// above the return address, the direction flag. Gates stay for life, one per target.
void* gate_to(void* target);
template <class Fn>
Fn* gated(Fn* target)
{
    return reinterpret_cast<Fn*>(gate_to(reinterpret_cast<void*>(target)));
}

/// What a gate leads to; any other address is its own.
const void* behind_gate(const void* address);

/// Runs `body(argument)` through a gate; what this and every gate inside it noticed, by name, with
/// ", " between; empty: nothing.
std::string watch_gates(void (*body)(void*), void* argument);

/// After a call that did not come back: gates that it passed are left behind.
class GateMark {
public:
    GateMark();
    void rewind() const;

private:
    void* top_;
};

} // namespace rig
