// tools/waterfall/units.h: numbers with units, as people read and write them.
#ifndef WATERFALL_UNITS_H
#define WATERFALL_UNITS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace waterfall {

/// 2400000, "S/s" -> "2.4 MS/s"; up to nine significant digits, prefixes from u to G.
std::string with_unit(double value, std::string_view unit);

/// "2.4M", "2400k", "2.4e6" -> 2400000, "4Ki" -> 4096; nothing for anything else (also not finite).
std::optional<double> parse_number(const std::string& text);

/// The same for what is counted: a whole number from 0 to 2^53.
std::optional<std::uint64_t> parse_count(const std::string& text);

/// Seconds as people say them: "12.5 ms", "59.9 s", "1 h 2 min 3 s".
std::string duration_text(double seconds);

/// "2026-01-02T03:04:05.678Z" -> nanoseconds since 1970, UTC; nothing for what is no such time.
std::optional<std::int64_t> parse_datetime(const std::string& text);

/// The same back, with so many digits after the seconds: "2026-01-02" and "03:04:05.678".
std::string date_text(std::int64_t nanoseconds);
std::string clock_text(std::int64_t nanoseconds, int digits);

} // namespace waterfall

#endif // WATERFALL_UNITS_H
