// tests/proof/proof.h: every kernel once more, as data: how to make a call of it, what its model
// says of that call, and the comparison. The long sweep, the fuzzers and the recorded hashes all
// iterate over this.
#pragma once

#include "rig/access.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"
#include "rig/library.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace proof {

using rig::Level;

/// What the arrays hold: the patterns of stats_patterns.h in their order, then two more.
/// Integers take the first five and, for all others, any bits.
enum class Data {
    ordinary,
    special,
    mixed,
    constant,
    ties,
    nans,
    some_nans,
    numbers,
    zeros,
    void_only,
    wide,
    bits,    // any bits at all
    fitting, // what suits the kernel: codes that tie, samples within the Gaussian; else ordinary
    small,   // subnormals, and numbers whose products, sums and differences are
    halves,  // numbers whose sums and products lie at halves of the last place, and beside them
};
inline constexpr std::size_t data_kinds = 15;
const char* name(Data data);

/// A special value put into a case: number `value` of special_values() at element `place` of the
/// input `where` (counted as the kernel takes them), or, from `scalar` on, in place of a number.
struct Plant {
    static constexpr unsigned scalar = 8;
    unsigned where = ~0U;
    std::size_t place = 0;
    unsigned value = 0;
};
inline constexpr unsigned special_count = 16;

inline constexpr std::size_t most_pointers = 8;
inline constexpr std::size_t most_elements = 1024;

struct Case {
    std::size_t n = 0;
    std::array<std::size_t, most_pointers> at{}; // of each pointer, bytes modulo 64
    rig::Edge edge = rig::Edge::end;
    Data data = Data::ordinary;
    std::uint64_t seed = 0; // of all that is not said here
    std::array<Plant, 2> plants{};
    std::span<const unsigned char> raw{}; // bytes laid over the inputs, array by array
    unsigned mxcsr = rig::usual_mxcsr;    // of model and call
    rig::Trace* trace = nullptr;          // the call goes step by step, if given
};

/// An array of a call, and what it must hold afterwards; at first that is what it holds before.
template <class T>
struct Array {
    T* at;
    T* want;
    std::size_t size;

    std::size_t offset() const { return reinterpret_cast<std::uintptr_t>(at) % 64; }
    /// Before the call: the element and what is wanted of it.
    void preset(std::size_t i, T value) const { at[i] = want[i] = value; }
};

struct Kernel;

/// A call as it was made, for others to make again.
struct Record {
    struct Piece {
        std::size_t element, offset; // bytes; the address modulo 64
        std::vector<unsigned char> before, after;
    };
    std::vector<Piece> arrays;
    std::vector<std::vector<unsigned char>> numbers;
    std::vector<unsigned char> returned;
    bool faulted = false;
};

/// One call in the making. A kernel's description places the arrays in the order of its pointers,
/// has its model fill in what is wanted, and runs.
class Call {
public:
    Call(const Kernel& kernel, Level level, const Case& given);

    const Level level;
    const std::size_t n;

    template <class Fn>
    Fn* kernel() const
    {
        auto* const target = reinterpret_cast<Fn*>(function_);
        return case_.trace == nullptr ? target : rig::stepped(target);
    }

    /// An array that is filled; `fitting(at, size)` fills it where the case asks for it.
    template <class T>
    Array<T> input(std::size_t size, const std::function<void(T*, std::size_t)>& fitting = {});
    /// An array of noise, to be written.
    template <class T>
    Array<T> output(std::size_t size);
    /// A scalar argument.
    template <class T>
    T number();
    /// The last number is another one.
    template <class T>
    void overrule(T value)
    {
        if (record != nullptr)
            record->numbers.back() = bytes_of(value);
    }
    std::uint64_t below(std::uint64_t bound) { return random_.below(bound); }
    rig::Random& random() { return random_; }
    Data data() const { return case_.data; }

    /// The contract leaves this call open: it is not made.
    void outside() { outside_ = true; }
    /// What these elements hold after the call is left open.
    template <class T>
    void forget(const Array<T>& array, std::size_t from, std::size_t to)
    {
        forgotten_.push_back({array.at + from, array.want + from, (to - from) * sizeof(T)});
    }

    /// Runs the model's arithmetic under the case's control word.
    void expect(const std::function<void()>& model);
    /// Makes the call and compares all arrays and canaries, and the exception flags with the model's.
    void run(const std::function<void()>& body) { run(level, body); }
    void run(Level armed_as, const std::function<void()>& body);
    /// The call must end in a memory fault, with what the model says stored.
    void faults(const std::function<void()>& body);
    template <class T>
    void returned(T want, T got)
    {
        mix(static_cast<std::uint64_t>(rig::bits_of(got)));
        if (record != nullptr)
            record->returned = bytes_of(got);
        if (const auto same = rig::same_bits(want, got); !same)
            fail(std::string("returned: ") + same.message());
    }

    bool made() const { return !outside_; }
    /// Empty if the library agrees with the model.
    const std::string& failure() const { return failure_; }
    /// Of all that the library left in the arrays and returned.
    std::uint64_t hash() const { return hash_; }

    /// Where the calls to come are written down; null: nowhere.
    static inline Record* record = nullptr;

private:
    struct Forgotten {
        void *at, *want;
        std::size_t bytes;
    };

    template <class T>
    static std::vector<unsigned char> bytes_of(const T& value)
    {
        const auto* at = reinterpret_cast<const unsigned char*>(&value);
        return {at, at + sizeof value};
    }
    template <class T>
    Array<T> place(std::size_t size);
    void note(std::vector<unsigned char> Record::Piece::*when);
    void compare();
    void mix(std::uint64_t word);
    void mix(const void* bytes, std::size_t count);
    void fail(const std::string& what);

    const Kernel& kernel_;
    const Case& case_;
    void* function_;
    rig::Random random_;
    std::span<const unsigned char> raw_;
    std::size_t arrays_ = 0;
    unsigned inputs_ = 0, numbers_ = 0;
    unsigned raised_ = 0; // by the model
    bool outside_ = false;
    std::vector<Forgotten> forgotten_;
    std::string failure_;
    std::uint64_t hash_ = 0x243F6A8885A308D3U;
};

/// A kernel's description.
struct Kernel {
    const char* name;
    std::vector<std::size_t> steps; // bytes of the elements behind each pointer that is swept
    void (*run)(Call& call);
    unsigned inputs = 1, numbers = 0; // arrays and scalars that take special values
    std::size_t crossing = 0; // elements of the arrays in which special values are crossed; 0: none
    bool function = false;    // a plain function: at every level
    bool libm = false;        // expf, log10f or log10 enter the results

    std::vector<Level> levels() const;
};

/// All 50 entries and 3 functions, folder by folder.
const std::vector<Kernel>& memory_kernels();
const std::vector<Kernel>& convert_kernels();
const std::vector<Kernel>& stats_kernels();
const std::vector<Kernel>& spectrum_kernels();
const std::vector<Kernel>& filter_kernels();
std::vector<const Kernel*> all_kernels();

struct Verdict {
    bool made;
    std::uint64_t hash;
    std::string failure; // with the case in words
};
Verdict check(const Kernel& kernel, Level level, const Case& given);

} // namespace proof
