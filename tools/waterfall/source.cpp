#include "waterfall/source.h"

#include "waterfall/source_parts.h"
#include "waterfall/units.h"

#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>

namespace waterfall {
namespace {

template <typename T>
std::size_t finite_values(const T* values, std::size_t n)
{
    std::size_t i = 0;
    while (i != n && std::isfinite(values[i]))
        ++i;
    return i;
}

// Frequencies are doubles: the band must be wide enough to tell those in it from each other.
void check_band(const Recording& r)
{
    if (!(r.rate >= 1e-6 && r.rate <= 1e13))
        throw Error(fmt::format("{}: a rate of {:g} S/s is too far out to show", r.input, r.rate));
    if (!(std::abs(r.center) <= 1e14 && std::abs(r.center) <= r.rate * 0x1p36))
        throw Error(fmt::format("{}: a centre of {:g} Hz is too far out to show a band of {}",
                                r.input, r.center, with_unit(r.rate, "Hz")));
}

} // namespace

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

bool ends_with(const std::string& text, std::string_view end)
{
    return std::string_view(text).ends_with(end);
}

void settle(Recording& recording, const Request& request, std::optional<double> rate,
            std::optional<double> center)
{
    if (request.rate && rate && *request.rate != *rate)
        recording.assumed.push_back(fmt::format("rate {}: --rate, in place of {}",
                                                with_unit(*request.rate, "S/s"),
                                                with_unit(*rate, "S/s")));
    if (request.center && center && *request.center != *center)
        recording.assumed.push_back(fmt::format("centre {}: --center, in place of {}",
                                                with_unit(*request.center, "Hz"),
                                                with_unit(*center, "Hz")));
    if (!request.rate && !rate)
        recording.assumed.emplace_back("rate 1 S/s: nothing says it (--rate)");
    if (!request.center && !center)
        recording.assumed.emplace_back("centre 0 Hz: nothing says it (--center)");
    recording.rate = request.rate.value_or(rate.value_or(1.0));
    recording.center = request.center.value_or(center.value_or(0.0));
    check_band(recording);
}

void check_finite(const std::string& path, Format format, const void* block, std::size_t samples,
                  std::uint64_t first)
{
    const std::size_t parts = is_complex(format) ? 2 : 1;
    const std::size_t n = samples * parts;
    std::size_t good = n;
    if (format == Format::cf32 || format == Format::f32)
        good = finite_values(static_cast<const float*>(block), n);
    else if (format == Format::cf64 || format == Format::f64)
        good = finite_values(static_cast<const double*>(block), n);
    if (good != n)
        throw Error(fmt::format("{}: sample {} is not a finite number; another format?", path,
                                first + good / parts));
}

void check_request(const Request& request)
{
    if (request.rate && !(std::isfinite(*request.rate) && *request.rate > 0.0))
        throw Error(fmt::format("--rate: {} is not a positive number", *request.rate));
    if (request.center && !std::isfinite(*request.center))
        throw Error(fmt::format("--center: {} is not a finite number", *request.center));
    if (request.format && !format_named(*request.format))
        throw Error(fmt::format("--format: unknown format '{}'; known are {}", *request.format,
                                format_names()));
    if (request.input.empty() && (request.format || request.rate || request.center))
        throw Error("--format, --rate and --center need an input; the generated band has its own");
}

std::unique_ptr<Source> open_source(const Request& request)
{
    const std::string& input = request.input;
    check_request(request);
    if (input.empty())
        return open_generated();
    if (input == "-")
        return open_standard_input(request);
    if (ends_with(input, ".sigmf-data") || ends_with(input, ".sigmf-meta"))
        return open_sigmf(request);

    std::error_code ignored; // what cannot be looked at cannot be opened either, which says why
    const std::filesystem::path path(input);
    if (!std::filesystem::exists(path, ignored) &&
        std::filesystem::exists(input + ".sigmf-meta", ignored))
        return open_sigmf(request);
    if (ends_with(input, ".sigmf"))
        throw Error(input + ": is a SigMF archive; unpack it first (tar -xf)");
    const std::string extension = path.extension().string();
    if (request.format || (!extension.empty() && format_named(extension.substr(1))))
        return open_raw(request);
    return open_sound(request);
}

} // namespace waterfall
