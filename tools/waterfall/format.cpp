#include "waterfall/format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstdint>
#include <cstring>

namespace waterfall {
namespace {

struct Row {
    const char* name;
    std::size_t bytes;
    bool complex;
};

constexpr std::array<Row, 10> rows{{{"cu8", 2, true},
                                    {"cs8", 2, true},
                                    {"cs16", 4, true},
                                    {"cf32", 8, true},
                                    {"cf64", 16, true},
                                    {"u8", 1, false},
                                    {"s8", 1, false},
                                    {"s16", 2, false},
                                    {"f32", 4, false},
                                    {"f64", 8, false}}};

const Row& row(Format format) { return rows.at(static_cast<std::size_t>(format)); }

struct NumberRow {
    const char* name;
    const char* sigmf; // nullptr: it knows none
    std::size_t bytes;
    Format complex, real; // what it is read as
};

constexpr std::array<NumberRow, 10> numbers{{
    {"u8", "u8", 1, Format::cu8, Format::u8},
    {"s8", "i8", 1, Format::cs8, Format::s8},
    {"u16", "u16", 2, Format::cf32, Format::f32},
    {"s16", "i16", 2, Format::cs16, Format::s16},
    {"s24", nullptr, 3, Format::cf32, Format::f32},
    {"u32", "u32", 4, Format::cf64, Format::f64},
    {"s32", "i32", 4, Format::cf64, Format::f64},
    {"f32", "f32", 4, Format::cf32, Format::f32},
    {"f64", "f64", 8, Format::cf64, Format::f64},
    {"wav8", nullptr, 1, Format::cs16, Format::s16},
}};

const NumberRow& row(Number number) { return numbers.at(static_cast<std::size_t>(number)); }

// The bits of a number, from its first byte on or from its last.
template <typename Bits, std::size_t bytes = sizeof(Bits)>
Bits bits(const unsigned char* at, bool big_endian)
{
    Bits value = 0;
    for (std::size_t i = 0; i != bytes; ++i)
        value |= static_cast<Bits>(Bits{at[big_endian ? bytes - 1 - i : i]} << (8 * i));
    return value;
}

// step: bytes of a number; value(at): what it is read as.
template <typename T, typename Value>
void each(const void* stored, std::size_t n, std::size_t step, void* block, const Value& value)
{
    const auto* from = static_cast<const unsigned char*>(stored);
    T* to = static_cast<T*>(block);
    for (std::size_t i = 0; i != n; ++i, from += step)
        to[i] = value(from);
}

} // namespace

std::size_t bytes_per_sample(Format format) { return row(format).bytes; }
bool is_complex(Format format) { return row(format).complex; }
const char* name(Format format) { return row(format).name; }

std::size_t bytes_per_sample(const Coding& c) { return row(c.number).bytes * (c.complex ? 2 : 1); }

std::string name(const Coding& c)
{
    return std::string(c.complex ? "c" : "") + row(c.number).name + (c.big_endian ? "be" : "");
}

Format format_of(const Coding& c) { return c.complex ? row(c.number).complex : row(c.number).real; }

void convert(const Coding& c, const void* stored, std::size_t samples, void* block)
{
    const std::size_t n = samples * (c.complex ? 2 : 1);
    const std::size_t step = row(c.number).bytes;
    const bool big = c.big_endian;
    switch (c.number) {
    case Number::u8:
    case Number::s8:
        std::memcpy(block, stored, n);
        break;
    case Number::u16:
        each<float>(stored, n, step, block, [&](const unsigned char* at) {
            return static_cast<float>((2.0 * bits<std::uint16_t>(at, big) - 65535.0) / 65535.0);
        });
        break;
    case Number::s16:
        each<std::uint16_t>(stored, n, step, block,
                            [&](const unsigned char* at) { return bits<std::uint16_t>(at, big); });
        break;
    case Number::s24:
        each<float>(stored, n, step, block, [&](const unsigned char* at) {
            const auto value = static_cast<std::int32_t>(bits<std::uint32_t, 3>(at, big) << 8U);
            return static_cast<float>(value) / 2147483648.0F;
        });
        break;
    case Number::u32:
        each<double>(stored, n, step, block, [&](const unsigned char* at) {
            return (2.0 * bits<std::uint32_t>(at, big) - 4294967295.0) / 4294967295.0;
        });
        break;
    case Number::s32:
        each<double>(stored, n, step, block, [&](const unsigned char* at) {
            return static_cast<std::int32_t>(bits<std::uint32_t>(at, big)) / 2147483648.0;
        });
        break;
    case Number::f32:
        each<std::uint32_t>(stored, n, step, block,
                            [&](const unsigned char* at) { return bits<std::uint32_t>(at, big); });
        break;
    case Number::f64:
        each<std::uint64_t>(stored, n, step, block,
                            [&](const unsigned char* at) { return bits<std::uint64_t>(at, big); });
        break;
    case Number::wav8:
        each<std::int16_t>(stored, n, step, block, [](const unsigned char* at) {
            return static_cast<std::int16_t>((*at - 128) * 256);
        });
        break;
    }
}

std::optional<Coding> coding_named(std::string_view given)
{
    std::string text(given);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (text == "cfile" || text == "fc32")
        return Coding{Number::f32};
    if (text == "sc8" || text == "sc16")
        return Coding{text == "sc8" ? Number::s8 : Number::s16};
    const bool big = text.ends_with("be");
    for (std::size_t i = 0; i != numbers.size(); ++i)
        for (const bool complex : {true, false}) {
            const Coding coding{static_cast<Number>(i), complex, big && numbers.at(i).bytes != 1};
            if (coding.number != Number::wav8 && text == name(coding))
                return coding;
        }
    return sigmf_coding(text);
}

std::optional<Coding> sigmf_coding(std::string_view text)
{
    for (std::size_t i = 0; i != numbers.size(); ++i)
        for (const bool complex : {true, false})
            for (const bool big : {false, true}) {
                const Coding coding{static_cast<Number>(i), complex,
                                    big && numbers.at(i).bytes != 1};
                const std::string known = sigmf_name(coding);
                const bool one = numbers.at(i).bytes == 1; // in either order
                if (!known.empty() &&
                    (text == known || (one && text == known + (big ? "_be" : "_le"))))
                    return coding;
            }
    return std::nullopt;
}

std::string sigmf_name(const Coding& c)
{
    const NumberRow& n = row(c.number);
    if (n.sigmf == nullptr)
        return "";
    return std::string(c.complex ? "c" : "r") + n.sigmf +
           (n.bytes == 1   ? ""
            : c.big_endian ? "_be"
                           : "_le");
}

std::string coding_names()
{
    std::string names;
    for (const NumberRow& n : numbers)
        if (n.name != std::string_view("wav8"))
            names += (names.empty() ? "c" : ", c") + std::string(n.name);
    return names + "; without c for one real channel, with be at the end for the other byte order";
}

} // namespace waterfall
