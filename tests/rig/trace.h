// tests/rig/trace.h: which instructions a call executes, one by one, by the processor's trap flag.
#pragma once

#include <cstddef>
#include <functional>

namespace rig {

/// Runs `body` step by step and counts the executed instructions whose first bytes satisfy
/// `wanted`.
std::size_t executed(const std::function<void()>& body,
                     const std::function<bool(const unsigned char* code)>& wanted);

/// A 16- or 32-byte streaming load or store (movntdqa; movntdq, movntps, movntpd).
bool is_streaming_load(const unsigned char* code);
bool is_streaming_store(const unsigned char* code);

} // namespace rig
