#include "waterfall/format.h"

#include <array>

namespace waterfall {
namespace {

struct Row {
    Format format;
    const char* name;
    const char* sigmf;
    std::size_t bytes;
    bool complex;
};

constexpr std::array<Row, 8> rows{{
    {Format::cu8, "cu8", "cu8", 2, true},
    {Format::cs8, "cs8", "ci8", 2, true},
    {Format::cs16, "cs16", "ci16_le", 4, true},
    {Format::cf32, "cf32", "cf32_le", 8, true},
    {Format::cf64, "cf64", "cf64_le", 16, true},
    {Format::s16, "s16", "ri16_le", 2, false},
    {Format::f32, "f32", "rf32_le", 4, false},
    {Format::f64, "f64", "rf64_le", 8, false},
}};

const Row& row(Format format) { return rows.at(static_cast<std::size_t>(format)); }

std::string joined(const char* Row::*column)
{
    std::string names;
    for (const Row& r : rows)
        names += (names.empty() ? "" : ", ") + std::string(r.*column);
    return names;
}

} // namespace

std::size_t bytes_per_sample(Format format) { return row(format).bytes; }
bool is_complex(Format format) { return row(format).complex; }
const char* name(Format format) { return row(format).name; }
const char* sigmf_name(Format format) { return row(format).sigmf; }

std::optional<Format> format_named(std::string_view name)
{
    for (const Row& r : rows)
        if (name == r.name || name == r.sigmf)
            return r.format;
    return std::nullopt;
}

std::string format_names() { return joined(&Row::name); }
std::string sigmf_names() { return joined(&Row::sigmf); }

} // namespace waterfall
