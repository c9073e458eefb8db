// tests/fuzz/kernels.h: bytes -> a kernel, a level and a case -> library against model.
#pragma once

#include "proof/proof.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz {

struct Input {
    const proof::Kernel* kernel;
    rig::Level level;
    proof::Case given;
};

/// Bytes that are missing count as zeros.
Input decode(const std::vector<proof::Kernel>& kernels, const std::uint8_t* bytes,
             std::size_t size);

/// What a libFuzzer target does with its bytes: a difference is told and ends the process.
int compare(const std::vector<proof::Kernel>& kernels, const std::uint8_t* bytes, std::size_t size);

} // namespace fuzz

/// What libFuzzer calls for each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
