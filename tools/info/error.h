// tools/info/error.h: one line that says what is wrong.
#ifndef INFO_ERROR_H
#define INFO_ERROR_H

#include <stdexcept>

namespace info {

/// A request that cannot be met as it was written: unknown model, feature or kernel.
struct BadRequest : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The library cannot be looked into.
struct BadLibrary : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace info

#endif // INFO_ERROR_H
