// bench/processor.h: which processor this is, since a bound holds for one kind of core only.
#pragma once

#include <string>

namespace bench {

/// As CPUID reports it, extended family and model included.
struct Processor {
    std::string vendor; ///< twelve letters
    unsigned family = 0, model = 0;

    std::string text() const; ///< "AuthenticAMD family 25 model 17"
};

Processor processor_at_hand();

} // namespace bench
