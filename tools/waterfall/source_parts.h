// tools/waterfall/source_parts.h: what open_source() chooses from, and what the sources share.
#ifndef WATERFALL_SOURCE_PARTS_H
#define WATERFALL_SOURCE_PARTS_H

#include "waterfall/source.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace waterfall {

std::unique_ptr<Source> open_raw(const Request& request);
std::unique_ptr<Source> open_standard_input(const Request& request);
std::unique_ptr<Source> open_sigmf(const Request& request);
std::unique_ptr<Source> open_sound(const Request& request);
std::unique_ptr<Source> open_generated();

/// The samples of a file, or of standard input for "-", as `recording` describes them.
std::unique_ptr<Source> open_samples(const std::string& path, Recording recording,
                                     const Request& request);

/// Samples in the file at `path`, or nothing where it is no plain file. Throws Error for what cannot be
/// read, is empty, or is not whole samples.
std::optional<std::uint64_t> count_samples(const std::string& path, Format format);

/// "path: doing: reason of errno".
Error system_error(const std::string& path, const std::string& what, int number);

/// Name without folder and without the extension.
std::string title_of(const std::string& path);

bool ends_with(const std::string& text, std::string_view end);

/// --rate and --center into `recording`, or a line in `assumed` for what nothing says.
/// `rate` and `center` are what the input itself says.
void settle(Recording& recording, const Request& request, std::optional<double> rate,
            std::optional<double> center);

/// Throws Error where a float of the `samples` in `block` is not finite; `first` is the number of the
/// first of them.
void check_finite(const std::string& path, Format format, const void* block, std::size_t samples,
                  std::uint64_t first);

} // namespace waterfall

#endif // WATERFALL_SOURCE_PARTS_H
