// tools/waterfall/error.h: one line that says what is wrong, and where.
#ifndef WATERFALL_ERROR_H
#define WATERFALL_ERROR_H

#include <stdexcept>

namespace waterfall {

/// what() is one line without the program's name: "FILE: what is wrong with it".
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace waterfall

#endif // WATERFALL_ERROR_H
