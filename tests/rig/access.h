// tests/rig/access.h: one call of a variant, step by step: which instructions the library executes,
// which bytes they read and write and how, which functions they enter, and what vector registers
// hold. It says the same whichever compiler made the code, at whichever optimisation: the accesses to
// the caller's arrays are what they are.
#pragma once

#include "rig/machine_code.h"

#include <array>
#include <functional>

namespace rig {

/// How an access behaves at an address that is no multiple of its width.
enum class Reach {
    single,    // less than 16 bytes: any address will do
    unaligned, // a block at any address
    aligned,   // a block; faults
    streaming, // a block past the caches; faults
};
const char* name(Reach reach);

struct Touch {
    std::uint64_t address;
    unsigned width;
    bool store;
    Reach reach;
    const Function* by;
    std::size_t step;
};

using Lanes = std::array<unsigned char, 32>;

/// An executed instruction of the library.
struct Step {
    const Instruction* in;
    const Function* by;
};

/// What a watched instruction read, its vector operands in order, and wrote to the first.
struct Watched {
    const Step step;
    std::vector<Lanes> before;
    Lanes after;
};

/// A function entered: one of the library, or by its imported name one outside ("" if it has none).
struct Entered {
    std::string name;
    std::uint64_t arguments[6];
    std::size_t step;
};

struct Trace {
    std::vector<Step> steps;
    std::vector<Touch> touched; // neither stack nor the library's image
    std::vector<Touch> image;   // reads and writes of the image: constants, entries
    std::vector<Watched> watched;
    std::vector<Entered> entered;
    int signal = 0;            // of a call that faulted
    bool control_word = false; // other control bits in MXCSR than at entry, at any step
    bool flags_lost = false;   // an exception flag cleared, at any step

    bool has_entered(const std::string& function) const { return times_entered(function) != 0; }
    std::size_t times_entered(const std::string& function) const;
    /// How many executed instructions have one of these names, with or without a v before them.
    std::size_t executed(std::initializer_list<const char*> mnemonics) const;
};

/// A mnemonic without the v of its wide form.
std::string plain_mnemonic(const Instruction& in);

/// What to call in `target`'s place, within traced(): stepped(KERNEL(library, min_u8))(p, n).
void* step_into(void* target);
template <class Fn>
Fn* stepped(Fn* target)
{
    return reinterpret_cast<Fn*>(step_into(reinterpret_cast<void*>(target)));
}

/// Runs `call`, which makes one call of this copy of the library, by stepped(). The library's
/// instructions run one by one, each as a copy of its own, between copies of all registers; what they
/// call outside runs at full speed. (The processor's trap flag would do, at fifty times the cost.)
Trace traced(const Library& library, const std::function<void()>& call,
             const std::function<bool(const Instruction&)>& watch = nullptr);

} // namespace rig
