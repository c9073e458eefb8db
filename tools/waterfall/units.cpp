#include "waterfall/units.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>
#include <utility>

namespace waterfall {

std::string with_unit(double value, std::string_view unit)
{
    struct Prefix {
        double factor;
        const char* name;
    };
    constexpr Prefix prefixes[] = {{1e9, "G"}, {1e6, "M"}, {1e3, "k"}, {1.0, ""}, {1e-3, "m"}};
    Prefix prefix = {1e-6, "u"};
    for (const Prefix& p : prefixes) // 3502.8 MHz is how people say it: G from 10 on
        if (std::fabs(value) >= (p.factor == 1e9 ? 1e10 : p.factor)) {
            prefix = p;
            break;
        }
    if (value == 0.0)
        prefix = {1.0, ""};
    return fmt::format("{:.9g} {}{}", value / prefix.factor, prefix.name, unit);
}

std::optional<double> parse_number(const std::string& text)
{
    char* end = nullptr;
    double value = std::strtod(text.c_str(), &end);
    if (end == text.c_str())
        return std::nullopt;
    constexpr std::pair<std::string_view, double> suffixes[] = {
        {"", 1.0}, {"k", 1e3}, {"M", 1e6}, {"G", 1e9}, {"Ki", 1024.0}, {"Mi", 1048576.0}};
    const auto* const suffix = std::find_if(std::begin(suffixes), std::end(suffixes),
                                            [&](const auto& s) { return s.first == end; });
    if (suffix == std::end(suffixes) || !std::isfinite(value *= suffix->second))
        return std::nullopt;
    return value;
}

std::optional<std::uint64_t> parse_count(const std::string& text)
{
    const std::optional<double> value = parse_number(text);
    if (!value || !(*value >= 0.0 && *value <= 0x1p53) || std::floor(*value) != *value)
        return std::nullopt;
    return static_cast<std::uint64_t>(*value);
}

std::string duration_text(double seconds)
{
    if (seconds < 60.0)
        return with_unit(std::round(seconds * 1e6) / 1e6, "s");
    const double whole = std::round(seconds * 1e3) / 1e3;
    const double hours = std::floor(whole / 3600.0);
    const double minutes = std::floor((whole - hours * 3600.0) / 60.0);
    const double rest = std::round((whole - hours * 3600.0 - minutes * 60.0) * 1e3) / 1e3;
    std::string text = hours > 0 ? fmt::format("{:.0f} h ", hours) : "";
    text += fmt::format("{:.0f} min", minutes);
    return rest > 0 ? text + fmt::format(" {:g} s", rest) : text;
}

} // namespace waterfall
