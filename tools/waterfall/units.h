// tools/waterfall/units.h: numbers with units, as people read and write them.
#ifndef WATERFALL_UNITS_H
#define WATERFALL_UNITS_H

#include <optional>
#include <string>
#include <string_view>

namespace waterfall {

/// 2400000, "S/s" -> "2.4 MS/s"; up to nine significant digits, prefixes from u to G.
std::string with_unit(double value, std::string_view unit);

/// "2.4M", "2400k", "2.4e6" -> 2400000; nothing for anything else (also not finite).
std::optional<double> parse_number(const std::string& text);

} // namespace waterfall

#endif // WATERFALL_UNITS_H
