// tests/rig/library.h: the shipped libsimd.so, loaded under a scripted processor.
//
// The rig maps a copy of the library whose CPUID instructions (0f a2) are replaced by ud2 (0f 0b),
// and answers the resulting signal from a script. So every variant of every level is reached
// through its entry, black-box, on any machine, and every branch of the probe can be walked.
#pragma once

#include "libsimd.h"
#include "rig/processor.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace rig {

class ScriptedCopy;

/// One loaded copy of the library. Copies are independent: each has its own entries.
class Library {
public:
    explicit Library(const Processor& processor);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// The entry itself, writable as for any host: `*entry<fill_f32_fn>("fill_f32")`.
    template <class Fn>
    Fn** entry(const char* kernel) const
    {
        return reinterpret_cast<Fn**>(symbol(kernel));
    }
    /// A plain exported function.
    template <class Fn>
    Fn* function(const char* kernel) const
    {
        return reinterpret_cast<Fn*>(symbol(kernel));
    }
    void* symbol(const char* exported) const; // throws if there is none

    /// The variant that an entry holds, by name ("fill_f32_avx"), or "" for null.
    std::string variant(const char* kernel) const;
    /// Address of an internal function by its unmangled name; throws if there is none.
    void* internal(const char* function_name) const;

    const std::vector<Query>& queries() const { return queries_; }
    /// What each of the 50 entries held when the first CPUID executed; "" for null.
    const std::map<std::string, std::string>& at_first_cpuid() const { return at_first_cpuid_; }

    /// Every later call of the library to the imported function goes to `replacement`.
    void intercept(const char* imported, void* replacement);
    /// Undoes all interceptions.
    void release();

    /// From now on every entry leads through a gate (rig/gate.h), the library's own calls too.
    void gate_entries();
    /// Entries behind whose gates something else stands than then.
    std::vector<std::string> changed_entries() const;

    const char* base() const { return base_; }

private:
    void note_entries();
    std::string name_of(const void* address) const;

    Processor processor_;
    std::unique_ptr<ScriptedCopy> copy_;
    const char* base_ = nullptr;
    std::vector<Query> queries_;
    std::map<std::string, std::string> at_first_cpuid_;
    std::map<void**, void*> intercepted_;
    std::map<std::string, void*> loaded_; // what the gated entries held
};

/// The shared copy for a level; entries and imports are as loaded unless a test changed them.
Library& at(Level level);
/// "sse2: fill_f32" for every changed entry of the shared copies.
std::vector<std::string> changed_entries();
/// Whether at() hands out copies with gates at their entries: for tests, not for times.
inline bool gates_at_entries = false;

/// "fill_f32_avx" from "_Z12fill_f32_avxPfmf".
std::string unmangled(const std::string& symbol);
/// Path of the library under test: LIBSIMD_LIBRARY, or the one built beside the tests.
std::string shipped();
/// File offsets of the bytes 0f a2 in the library's code.
std::vector<std::size_t> cpuid_sites();

/// Names of the 50 entries, in the header's order.
const std::vector<std::string>& entry_names();
/// Levels at which an entry has a variant, written down here independently of the library.
const std::map<std::string, std::vector<Level>>& table();

} // namespace rig

/// The kernel that `library` holds in entry `name`, typed by the public header.
#define KERNEL(library, name) (*(library).entry<name##_fn>(#name))
