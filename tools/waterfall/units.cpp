#include "waterfall/units.h"

#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

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
    switch (*end) {
    case 'k':
        value *= 1e3, ++end;
        break;
    case 'M':
        value *= 1e6, ++end;
        break;
    case 'G':
        value *= 1e9, ++end;
        break;
    default:
        break;
    }
    if (*end != '\0' || !std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace waterfall
