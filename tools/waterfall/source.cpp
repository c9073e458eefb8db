#include "waterfall/source.h"

#include "waterfall/source_parts.h"
#include "waterfall/units.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace waterfall {
namespace {

// Frequencies are doubles: the band must be wide enough to tell those in it from each other.
void check_band(const Recording& r)
{
    if (!(r.rate >= 1e-6 && r.rate <= 1e13))
        throw Error(fmt::format("{}: a rate of {:g} S/s is too far out to show", r.input, r.rate));
    if (!(std::abs(r.center) <= 1e14 && std::abs(r.center) <= r.rate * 0x1p36))
        throw Error(fmt::format("{}: a centre of {:g} Hz is too far out to show a band of {}",
                                r.input, r.center, with_unit(r.rate, "Hz")));
}

// One of the two numbers that a recording needs, from whoever says it first.
struct Wanted {
    const char* name;   // "rate"
    const char* option; // "--rate"
    const char* unit;
    double without; // where nobody says it
};

double settled(const Wanted& what, std::optional<double> asked, std::optional<double> own,
               const std::vector<std::pair<std::string, double>>& hints,
               std::vector<std::string>& assumed)
{
    const auto say = [&](double value, const std::string& why) {
        assumed.push_back(fmt::format("{} {}: {}", what.name, with_unit(value, what.unit), why));
    };
    if (asked && own && *asked != *own)
        say(*asked, fmt::format("{}, in place of {}", what.option, with_unit(*own, what.unit)));
    std::optional<double> value = asked ? asked : own;
    for (const auto& [from, hint] : hints) {
        if (!value)
            say(value.emplace(hint), from);
        else if (std::abs(hint - *value) > 1e-3 * std::abs(*value))
            say(*value, fmt::format("{} says {}", from, with_unit(hint, what.unit)));
    }
    if (!value)
        say(value.emplace(what.without), fmt::format("nothing says it ({})", what.option));
    return *value;
}

// A pipe, or a file without a name that says what it is.
Opened open_by_content(const Request& request, std::unique_ptr<ByteStream> bytes)
{
    const std::string start = bytes->peek(4096);
    if (looks_like_archive(start))
        return open_archive(request, std::move(bytes));
    if (Opened sound = open_plain_sound(bytes, request))
        return sound;
    const std::string extension = lower(std::filesystem::path(request.input).extension().string());
    constexpr std::array vague{".iq", ".raw", ".bin"};
    if (std::find(vague.begin(), vague.end(), extension) != vague.end() && !start.empty())
        return open_raw(request, std::move(bytes), coding_by_look(start), "the look of the bytes");
    const bool seekable = request.input != "-" && bytes->left();
    if (!start.empty() && (seekable || looks_like_sound(start)))
        return open_other_sound(seekable ? ::open(request.input.c_str(), O_RDONLY | O_CLOEXEC)
                                         : Spool(*bytes).descriptor(),
                                request);
    if (start.empty())
        throw Error(named(request.input, "", request).input + ": is empty");
    throw Error(named(request.input, "", request).input +
                ": unknown format; --format says what raw samples are: " + coding_names());
}

Opened open_whole(const Request& request)
{
    const std::string& input = request.input;
    if (input.empty())
        return open_generated();
    const std::string shown = named(input, "", request).input;
    if (input == "-" && ::isatty(STDIN_FILENO) != 0)
        throw Error(shown + ": is a terminal; pipe samples into it");
    std::error_code ignored; // what cannot be looked at cannot be opened either, which says why
    if (ends_with(input, ".sigmf-data") || ends_with(input, ".sigmf-meta") ||
        (input != "-" && !std::filesystem::exists(input, ignored) &&
         std::filesystem::exists(input + ".sigmf-meta", ignored)))
        return open_sigmf(request);
    std::unique_ptr<ByteStream> bytes = open_bytes(input, shown, request.stop);
    const std::optional<Coding> coding = coding_by_name(input);
    if (request.format || coding)
        return open_raw(request, std::move(bytes), coding, "the file's name");
    return open_by_content(request, std::move(bytes));
}

} // namespace

std::uint64_t Source::skip(std::uint64_t samples)
{
    constexpr std::size_t most = 4096;
    std::vector<char> block(most * bytes_per_sample(recording().format));
    std::uint64_t done = 0;
    while (done != samples) {
        const auto n = static_cast<std::size_t>(std::min<std::uint64_t>(most, samples - done));
        const std::size_t got = read(block.data(), n);
        done += got;
        if (got != n)
            break;
    }
    return done;
}

std::uint64_t Span::at(double rate) const
{
    if (samples)
        return *samples;
    const double n = std::round(seconds * rate);
    if (!(n >= 0.0 && n <= 0x1p53))
        throw Error(
            fmt::format("--start, --duration: {:g} s at {:g} S/s are more samples than can be "
                        "counted",
                        seconds, rate));
    return static_cast<std::uint64_t>(n);
}

std::optional<Span> parse_span(const std::string& text)
{
    if (text.ends_with('S')) {
        const std::optional<std::uint64_t> samples = parse_count(text.substr(0, text.size() - 1));
        return samples ? std::optional(Span{0, samples}) : std::nullopt;
    }
    double seconds = 0;
    std::string rest = text;
    for (std::size_t colon = 0; (colon = rest.find(':')) != std::string::npos;) { // hours, minutes
        const std::optional<std::uint64_t> part = parse_count(rest.substr(0, colon));
        if (!part || !std::isdigit(static_cast<unsigned char>(rest[0])) ||
            std::count(text.begin(), text.end(), ':') > 2)
            return std::nullopt;
        seconds = (seconds + static_cast<double>(*part)) * 60.0;
        rest.erase(0, colon + 1);
    }
    constexpr std::pair<std::string_view, double> units[] = {
        {"us", 1e-6}, {"ms", 1e-3}, {"s", 1.0}, {"m", 60.0}, {"min", 60.0}, {"h", 3600.0}};
    double unit = 1.0;
    if (seconds == 0.0)
        for (const auto& [name, factor] : units)
            if (rest.ends_with(name) && rest.size() > name.size() &&
                std::string_view("0123456789.").find(rest[rest.size() - name.size() - 1]) !=
                    std::string_view::npos) {
                rest.erase(rest.size() - name.size());
                unit = factor;
                break;
            }
    const std::optional<double> last = parse_number(rest);
    if (!last || *last < 0.0 || !std::isfinite(*last * unit + seconds))
        return std::nullopt;
    return Span{seconds + *last * unit, std::nullopt};
}

Error system_error(const std::string& path, const std::string& what, int number)
{
    return Error(fmt::format("{}: {}: {}", path, what, std::generic_category().message(number)));
}

std::string title_of(const std::string& path)
{
    std::string title = std::filesystem::path(path).stem().string();
    for (char& c : title)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '_';
    return title;
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool ends_with(const std::string& text, std::string_view end)
{
    return std::string_view(lower(text)).ends_with(end);
}

Recording named(const std::string& input, const char* kind, const Request& request)
{
    Recording recording;
    recording.input = input == "-" ? "standard input" : input;
    recording.name = input == "-" ? recording.input : title_of(input);
    recording.kind = kind;
    recording.warnings = std::make_shared<Warnings>(request.strict);
    return recording;
}

std::uint64_t chosen_channel(Recording& recording, const Request& request, std::uint64_t count)
{
    const std::uint64_t channel = request.channel.value_or(1);
    if (channel < 1 || channel > count)
        throw Error(fmt::format("{}: --input-channel: there is no channel {}, the last is {}",
                                recording.input, channel, count));
    if (count > 1 && !request.channel)
        recording.assumed.push_back(
            fmt::format("the first of {} channels (--input-channel)", count));
    return channel - 1;
}

void settle(Recording& recording, const Request& request, std::optional<double> rate,
            std::optional<double> center, const std::vector<Hint>& hints)
{
    std::vector<std::pair<std::string, double>> rates, centers;
    for (const Hint& hint : hints) {
        if (hint.rate)
            rates.emplace_back(hint.from, *hint.rate);
        if (hint.center)
            centers.emplace_back(hint.from, *hint.center);
        if (hint.time && !recording.time)
            recording.time = hint.time;
    }
    recording.rate =
        settled({"rate", "--rate", "S/s", 1.0}, request.rate, rate, rates, recording.assumed);
    recording.center = settled({"centre", "--center", "Hz", 0.0}, request.center, center, centers,
                               recording.assumed);
    check_band(recording);
}

void check_request(const Request& request)
{
    if (request.rate && !(std::isfinite(*request.rate) && *request.rate > 0.0))
        throw Error(fmt::format("--rate: {} is not a positive number", *request.rate));
    if (request.center && !std::isfinite(*request.center))
        throw Error(fmt::format("--center: {} is not a finite number", *request.center));
    if (request.format && !coding_named(*request.format))
        throw Error(fmt::format("--format: unknown format '{}'; known are {}", *request.format,
                                coding_names()));
    if (request.duration && request.duration->seconds <= 0.0 &&
        request.duration->samples.value_or(0) == 0)
        throw Error("--duration: nothing is not a duration");
    if (request.input.empty() && (request.format || request.rate || request.center))
        throw Error("--format, --rate and --center need an input; the generated band has its own");
}

std::unique_ptr<Source> open_source(const Request& request)
{
    check_request(request);
    return part_of(open_whole(request), request);
}

} // namespace waterfall
