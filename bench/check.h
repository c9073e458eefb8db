// bench/check.h: two runs of a kernel on equal arrays, compared.
#pragma once

#include "bench/traits.h"

namespace bench {

/// The first difference beyond the tolerance, in words; "" if there is none. `n`: elements summed.
std::string difference(const Arrays& want, const Arrays& got, const Tolerance& allowed,
                       std::size_t n);
/// The same for two plain arrays.
std::string difference(const std::vector<double>& want, const std::vector<double>& got,
                       const Tolerance& allowed, std::size_t n);

/// Turns what the plain loop gave into what the contract says of a variant where they part: `before`
/// holds the arrays as they were.
void apply_contract(const std::string& kernel, Level level, Place place, const Arrays& before,
                    Arrays& want);

/// Elements that a row's results are checked on: sums of many lose too many digits to tell a missing
/// element, and beyond 256 Ki nothing new runs.
std::size_t checked_size(const Traits& traits, std::size_t n);

} // namespace bench
