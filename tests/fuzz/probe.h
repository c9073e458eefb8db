// tests/fuzz/probe.h: bytes -> a scripted processor -> probe against the rule.
#pragma once

#include "rig/processor.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

rig::Processor processor(const std::uint8_t* bytes, std::size_t size);

/// Empty if the probe alone, and the shipped library when loaded, follow the rule.
std::string probe_difference(const rig::Processor& processor);

} // namespace fuzz
