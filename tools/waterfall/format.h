// tools/waterfall/format.h: how a sample lies in memory; little-endian throughout.
#ifndef WATERFALL_FORMAT_H
#define WATERFALL_FORMAT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace waterfall {

/// c...: I and Q interleaved; the last three are one real channel. u8 has its zero at 127.5.
enum class Format { cu8, cs8, cs16, cf32, cf64, s16, f32, f64 };

std::size_t bytes_per_sample(Format format);
bool is_complex(Format format);
const char* name(Format format);
const char* sigmf_name(Format format);

/// By this program's name or by SigMF's ("cs16" or "ci16_le"); nothing where the name is unknown.
std::optional<Format> format_named(std::string_view name);

/// "cu8, cs8, ...": for messages and the help.
std::string format_names();
std::string sigmf_names();

} // namespace waterfall

#endif // WATERFALL_FORMAT_H
