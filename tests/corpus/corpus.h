// tests/corpus/corpus.h: each kernel called on a small corpus, for checks that watch the memory, the
// threads or the processor rather than the bits: sanitizers, valgrind, emulated processors.
//
// No rig and no test framework: arrays come from the heap, exactly as long as the kernel is told, so
// that whoever watches the heap sees every byte beside them touched.
#pragma once

#include "corpus/kernels.h"

#include <cstdint>
#include <string>
#include <vector>

namespace corpus {

/// Names of all 53 kernels.
const std::vector<std::string>& names();

struct Result {
    std::uint64_t hash = 0;  // of all outputs, every NaN counted as the same one
    std::uint64_t calls = 0; // 0: the entry is null
};

/// Calls one kernel on its corpus.
Result run(const Kernels& kernels, const std::string& name);

/// What the contract states and a watcher must report all the same: an access outside an array that is
/// exactly as long as told, or an element at an address that its type does not allow.
struct Exception {
    const char* name;
    const char* level; // at which it happens
    void (*call)(const Kernels&);
};
const std::vector<Exception>& overruns();
const std::vector<Exception>& crooked_elements();

} // namespace corpus
