// tools/waterfall/output.h: files that appear under their name complete or not at all.
#ifndef WATERFALL_OUTPUT_H
#define WATERFALL_OUTPUT_H

#include "waterfall/error.h"

#include <cstddef>
#include <span>
#include <string>

namespace waterfall {

/// Written beside its final name at construction, renamed by commit(), else removed. What is no plain
/// file (a device, a pipe) is written where it is. Throws Error, "PATH: cannot be written: reason".
class Output {
public:
    Output(const std::string& path, std::span<const std::byte> bytes);
    ~Output();
    Output(Output&& other) noexcept;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    Output& operator=(Output&&) = delete;

    void commit();

private:
    std::string path_, shown_, temporary_;
};

/// Throws Error now for what could not be written later: a missing or locked folder, a folder's name.
void check_output(const std::string& path);

} // namespace waterfall

#endif // WATERFALL_OUTPUT_H
