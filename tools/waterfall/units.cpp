#include "waterfall/units.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
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

std::optional<std::int64_t> parse_datetime(const std::string& text)
{
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, used = 0;
    double second = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%n", &year, &month, &day, &hour, &minute,
                    &used) != 5 ||
        used == 0 ||
        !std::isdigit(static_cast<unsigned char>(text[static_cast<std::size_t>(used)])))
        return std::nullopt;
    const char* const rest = text.c_str() + used;
    char* end = nullptr;
    second = std::strtod(rest, &end);
    const std::chrono::year_month_day date{std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    const bool utc =
        *end == '\0' || std::string_view(end) == "Z" || std::string_view(end) == "+00:00";
    if (!utc || !date.ok() || year < 1700 || year > 2250 || hour < 0 || hour > 23 || minute < 0 ||
        minute > 59 || !(second >= 0.0 && second < 61.0))
        return std::nullopt;
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    const std::int64_t minutes = (days * 24 + hour) * 60 + minute;
    return minutes * 60'000'000'000 + static_cast<std::int64_t>(std::llround(second * 1e9));
}

std::string date_text(std::int64_t nanoseconds)
{
    using namespace std::chrono;
    const year_month_day date{
        floor<days>(sys_time<std::chrono::nanoseconds>(std::chrono::nanoseconds(nanoseconds)))};
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
}

std::string clock_text(std::int64_t nanoseconds, int digits)
{
    constexpr std::int64_t day = 86'400'000'000'000;
    const std::int64_t in_day = (nanoseconds % day + day) % day;
    const std::int64_t seconds = in_day / 1'000'000'000;
    std::string text =
        fmt::format("{:02}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
    if (digits > 0)
        text += "." + fmt::format("{:09}", in_day % 1'000'000'000)
                          .substr(0, static_cast<std::size_t>(digits));
    return text;
}

} // namespace waterfall
