// tests/structure/kernels.h: every kernel as something to step through: its arrays, how it is called,
// and a plan of its accesses, which each level states down to the width and the kind.
#pragma once

#include "rig/access.h"

#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace structure {

using rig::Level;
using rig::Reach;

/// One call: the level, the count, and the addresses of the arrays.
struct Setting {
    Level level;
    std::size_t n;
    std::array<std::uint64_t, 6> at;

    /// Bytes of a block: 16, at AVX and AVX2 32.
    unsigned block() const { return level >= Level::avx ? 32 : 16; }
    std::size_t offset(int array, std::size_t bytes, unsigned modulus) const
    {
        return (at[static_cast<std::size_t>(array)] + bytes) % modulus;
    }
    bool aligned(int array, std::size_t bytes = 0) const
    {
        return offset(array, bytes, block()) == 0;
    }
};

/// The accesses of a call, in order for each array: what a variant's level states.
class Plan {
public:
    struct Want {
        std::size_t at;
        unsigned width; // 0: small copies of any kind up to `end`
        Reach reach;
        bool optional;
        std::size_t end;
        int step;
    };
    void load(int array, std::size_t at, unsigned width, Reach reach = Reach::single)
    {
        loads_[array].push_back({at, width, reach, false, 0, step_});
    }
    void store(int array, std::size_t at, unsigned width, Reach reach = Reach::single)
    {
        stores_[array].push_back({at, width, reach, false, 0, step_});
    }
    void may_load(int array, std::size_t at, unsigned width)
    {
        loads_[array].push_back({at, width, Reach::single, true, 0, ++step_});
    }
    void small_copies(int from, int to, std::size_t begin, std::size_t end)
    {
        loads_[from].push_back({begin, 0, Reach::single, true, end, ++step_});
        stores_[to].push_back({begin, 0, Reach::single, true, end, step_});
    }
    /// The accesses up to the next step may come in any order.
    void step() { ++step_; }
    /// Loads, and stores if told, of this array are another check's concern.
    void free(int array, bool stores_too = true)
    {
        free_[array] = true;
        free_stores_[array] = stores_too;
    }
    /// Whether an aligned access stands at an address that is none.
    bool faults(const Setting& setting) const;
    /// How the trace differs; empty: it does not.
    std::string difference(const rig::Trace& trace, const std::string& kernel,
                           const Setting& setting) const;

private:
    int step_ = 0;
    std::map<int, std::vector<Want>> loads_, stores_;
    std::map<int, bool> free_, free_stores_;
};

struct Kernel {
    std::string name;
    std::vector<const char*> arrays; // their names
    std::vector<char> types;         // f d b h H w: float, double, u8, s16, u16, u32
    std::function<void(rig::Library&, char* const*, std::size_t)> call;
    std::function<void(const Setting&, Plan&)> plan;
    std::vector<std::size_t> counts;
    std::vector<std::vector<std::size_t>> offsets; // of each array, modulo 64
    bool scattered = false;                        // values neither rise nor fall
};

const std::vector<Kernel>& kernels();
const Kernel& kernel(const std::string& name);

/// Up to what count a vector variant hands the call to the baseline; 0: it does not.
std::size_t threshold(const std::string& kernel, Level level);

/// A copy of the library that shows exactly this level, entries as loaded.
rig::Library& library_at(Level level);

/// A call's setting, and what it did.
struct Called {
    Setting setting;
    std::vector<char*> arrays;
    rig::Trace trace;
};

/// Fills the arrays, calls the level's variant, and traces it.
Called run(const Kernel& kernel, Level level, std::size_t n,
           const std::vector<std::size_t>& offsets,
           const std::function<bool(const rig::Instruction&)>& watch = nullptr);

/// A test "KERNEL.LEVEL_NAME".
bool add_case(const std::string& kernel, Level level, const std::string& name,
              std::function<void()> body);

/// The levels of a kernel that are not the baseline.
std::vector<Level> above_baseline(const std::string& kernel);

/// Which array an address lies in; -1: none.
int array_of(std::uint64_t address);

/// Room for the i-th array at an offset modulo 64, the same in every call.
char* room(std::size_t i, std::size_t offset);

} // namespace structure
