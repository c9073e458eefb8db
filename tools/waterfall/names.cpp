// What names of files and the look of bytes say about samples.
#include "waterfall/source_parts.h"
#include "waterfall/units.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace waterfall {
namespace {

// "HDR_20260102_030405Z_7100kHz" -> its words.
std::vector<std::string> words_of(const std::string& path)
{
    const std::string stem = std::filesystem::path(path).stem().string();
    std::vector<std::string> words(1);
    for (const char c : stem.substr(0, 255))
        if (std::strchr("_- ,()", c) != nullptr)
            words.emplace_back();
        else
            words.back() += c;
    std::erase(words, "");
    return words;
}

bool is_digits(const std::string& word, std::size_t size = 0)
{
    return !word.empty() && (size == 0 || word.size() == size) &&
           word.find_first_not_of("0123456789") == std::string::npos;
}

// "7100kHz" with one of the units "hz", "khz", ...; nothing else has a meaning.
std::optional<double> with_ending(const std::string& word, std::string_view unit)
{
    const std::string text = lower(word);
    if (text.empty() || text.find_first_not_of("0123456789.") == 0)
        return std::nullopt;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    constexpr std::pair<std::string_view, double> prefixes[] = {
        {"", 1.0}, {"k", 1e3}, {"m", 1e6}, {"g", 1e9}};
    for (const auto& [prefix, factor] : prefixes)
        if (end != text.c_str() && end == std::string(prefix) + std::string(unit) &&
            !(prefix.empty() && unit.empty()) && std::isfinite(value * factor))
            return value * factor;
    return std::nullopt;
}

// A date of eight digits and a time of six, with a Z or without.
std::optional<std::int64_t> time_in(const std::vector<std::string>& words, std::size_t& after)
{
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        std::string time = words[i + 1];
        if (time.ends_with('Z'))
            time.pop_back();
        if (!is_digits(words[i], 8) || !is_digits(time, 6))
            continue;
        const std::string& d = words[i];
        after = i + 2;
        return parse_datetime(d.substr(0, 4) + "-" + d.substr(4, 2) + "-" + d.substr(6) + "T" +
                              time.substr(0, 2) + ":" + time.substr(2, 2) + ":" + time.substr(4) +
                              "Z");
    }
    return std::nullopt;
}

// "..._DATE_TIME_CENTRE_RATE_fc": both as plain numbers.
bool plain_numbers(const std::vector<std::string>& words, std::size_t at)
{
    return at != 0 && at + 2 < words.size() && is_digits(words[at]) && is_digits(words[at + 1]) &&
           lower(words[at + 2]) == "fc";
}

} // namespace

Hint hint_of(const std::string& path)
{
    Hint hint;
    hint.from = "the file's name";
    if (path == "-")
        return hint;
    const std::vector<std::string> words = words_of(path);
    std::size_t after = 0;
    hint.time = time_in(words, after);
    if (plain_numbers(words, after)) {
        hint.center = std::strtod(words[after].c_str(), nullptr);
        hint.rate = std::strtod(words[after + 1].c_str(), nullptr);
    }
    std::vector<double> bare; // "433.92M_250k": the centre, then the rate
    for (const std::string& word : words) {
        if (const auto hertz = with_ending(word, "hz"); hertz && !hint.center)
            hint.center = hertz;
        if (const auto rate = with_ending(word, "sps"); rate && !hint.rate)
            hint.rate = rate;
        if (const auto number = with_ending(word, ""))
            bare.push_back(*number);
    }
    if (bare.size() == 2 && !hint.center && !hint.rate) {
        hint.center = bare[0];
        hint.rate = bare[1];
    }
    if (hint.rate && !(*hint.rate > 0.0))
        hint.rate.reset();
    return hint;
}

std::optional<Coding> coding_by_name(const std::string& path)
{
    const std::string extension = std::filesystem::path(path).extension().string();
    if (path == "-")
        return std::nullopt;
    if (!extension.empty())
        if (const std::optional<Coding> coding = coding_named(extension.substr(1)))
            return coding;
    const std::vector<std::string> words = words_of(path);
    std::size_t after = 0;
    time_in(words, after);
    if (lower(extension) == ".raw" && plain_numbers(words, after))
        return Coding{Number::f32};
    return std::nullopt;
}

// Floats of samples are of sensible size; the high bytes of 16-bit samples lie nearer to zero than their low
// ones; and bytes lie about their own zero.
Coding coding_by_look(const std::string& start)
{
    const std::size_t n = start.size() / 8 * 8;
    if (n == 0)
        return {Number::u8};
    std::size_t sensible = 0;
    for (std::size_t i = 0; i != n; i += 4) {
        float value = 0;
        std::memcpy(&value, start.data() + i, 4);
        const float size = std::abs(value);
        sensible += (size > 1e-9F && size < 1e6F) || value == 0.0F ? 1U : 0U;
    }
    if (sensible >= n / 4 * 9 / 10)
        return {Number::f32};
    double low = 0, high = 0, from_zero = 0, from_middle = 0;
    for (std::size_t i = 0; i != n; ++i) {
        const int byte = static_cast<unsigned char>(start[i]);
        const int code = byte < 128 ? byte : byte - 256;
        (i % 2 == 0 ? low : high) += std::abs(code);
        from_zero += std::abs(code);
        from_middle += std::abs(byte - 127.5);
    }
    if (from_middle < from_zero)
        return {Number::u8};
    return {high < 0.8 * low ? Number::s16 : Number::s8};
}

} // namespace waterfall
