// SigMF: the metadata says what the samples are; where it disagrees with them, that is an error.
#include "waterfall/source_parts.h"
#include "waterfall/units.h"

#include <cerrno>
#include <cmath>
#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

namespace waterfall {
namespace {

using Json = nlohmann::json;

// An object of the metadata that knows where it stands, for messages.
struct Part {
    const std::string& path;
    std::string where;
    const Json& json;

    [[noreturn]] void fail(const std::string& key, const std::string& what) const
    {
        throw Error(fmt::format("{}: {} of {} {}", path, key, where, what));
    }
    bool has(const char* key) const { return json.contains(key); }

    std::optional<double> number(const char* key) const
    {
        if (!has(key))
            return std::nullopt;
        if (!json[key].is_number())
            fail(key, "is not a number");
        return json[key]
            .get<double>(); // finite: JSON has no other numbers, and the parser no overflow
    }

    // A count of samples.
    std::optional<std::uint64_t> count(const char* key) const
    {
        const std::optional<double> value = number(key);
        if (!value)
            return std::nullopt;
        if (!(*value >= 0.0 && *value < 0x1p53) || std::floor(*value) != *value)
            fail(key, fmt::format("is {}, not a count of samples", json[key].dump()));
        return static_cast<std::uint64_t>(*value);
    }

    std::optional<std::string> text(const char* key) const
    {
        if (!has(key))
            return std::nullopt;
        if (!json[key].is_string())
            fail(key, "is not a text");
        return json[key].get<std::string>();
    }
};

Json parse(const std::string& path, const std::string& input)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw system_error(path, "cannot be opened for what " + input + " holds", errno);
    try {
        Json json = Json::parse(file);
        if (!json.is_object() || !json.contains("global") || !json["global"].is_object())
            throw Error(path + ": has no object \"global\": no SigMF metadata");
        return json;
    } catch (const Json::parse_error& error) {
        const std::string what = error.what();
        throw Error(path + ": is not JSON: " + what.substr(what.find("] ") + 2));
    } catch (const Json::exception& error) { // a number beyond every range
        const std::string what = error.what();
        throw Error(path + ": cannot be read: " + what.substr(what.find("] ") + 2));
    }
}

// The objects of a list that may be missing.
std::vector<Part> parts(const std::string& path, const Json& json, const char* list)
{
    std::vector<Part> found;
    if (!json.contains(list))
        return found;
    if (!json[list].is_array())
        throw Error(fmt::format("{}: {} is not a list", path, list));
    for (const Json& item : json[list]) {
        std::string where = fmt::format("{}[{}]", list, found.size());
        if (!item.is_object())
            throw Error(fmt::format("{}: {} is not an object", path, where));
        found.push_back({path, std::move(where), item});
    }
    return found;
}

Format read_format(const Part& global)
{
    const std::optional<std::string> datatype = global.text("core:datatype");
    if (!datatype)
        global.fail("core:datatype", "is missing");
    for (const Format f : {Format::cu8, Format::cs8, Format::cs16, Format::cf32, Format::cf64,
                           Format::s16, Format::f32, Format::f64})
        if (*datatype == sigmf_name(f))
            return f;
    global.fail("core:datatype", fmt::format("is '{}'; known are {}", *datatype, sigmf_names()));
}

void check_global(const Part& global)
{
    if (global.count("core:num_channels").value_or(1) != 1)
        global.fail("core:num_channels", fmt::format("is {}; only one channel can be read",
                                                     global.json["core:num_channels"].dump()));
    if (global.has("core:metadata_only") && global.json["core:metadata_only"] == true)
        global.fail("core:metadata_only", "is true: there are no samples");
    const std::optional<double> rate = global.number("core:sample_rate");
    if (rate && !(*rate > 0.0))
        global.fail("core:sample_rate", fmt::format("is {}, not a positive number", *rate));
}

// The frequency of the first capture; a receiver that was tuned again is told of in `assumed`.
std::optional<double> read_center(const std::vector<Part>& captures, std::uint64_t first,
                                  Recording& recording)
{
    std::optional<double> center;
    for (const Part& capture : captures) {
        if (capture.count("core:header_bytes").value_or(0) != 0)
            capture.fail("core:header_bytes", "is not 0: the file holds more than samples");
        const std::uint64_t start = capture.count("core:sample_start").value_or(first);
        if (start < first || (recording.samples && start - first >= *recording.samples))
            capture.fail("core:sample_start",
                         fmt::format("is {}, outside the {} samples of the data file", start,
                                     recording.samples.value_or(0)));
        const std::optional<double> frequency = capture.number("core:frequency");
        if (!frequency || frequency == center)
            continue;
        if (center) {
            recording.assumed.push_back(fmt::format("centre {} throughout: {} is at {}",
                                                    with_unit(*center, "Hz"), capture.where,
                                                    with_unit(*frequency, "Hz")));
            break;
        }
        center = frequency;
    }
    return center;
}

std::string label_of(const Part& annotation)
{
    std::string label;
    for (const char* key : {"core:label", "core:description", "core:comment"})
        if (label.empty())
            label = annotation.text(key).value_or("");
    for (char& c : label)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = ' ';
    return label;
}

// `moved`: what --center moves all frequencies by.
Annotation read_annotation(const Part& part, std::uint64_t first, double moved, const Recording& r)
{
    const std::optional<std::uint64_t> start = part.count("core:sample_start");
    if (!start)
        part.fail("core:sample_start", "is missing");
    const std::uint64_t all = r.samples.value_or(UINT64_MAX);
    const std::uint64_t at = *start - first;
    const std::uint64_t count = part.count("core:sample_count").value_or(all - at);
    if (*start < first || at >= all || count > all - at)
        throw Error(fmt::format("{}: {} covers samples {} to {}, but the data file has {}",
                                part.path, part.where, *start, *start + count, all));

    Annotation annotation;
    annotation.start = static_cast<double>(at) / r.rate;
    annotation.length = static_cast<double>(count) / r.rate;
    const std::optional<double> low = part.number("core:freq_lower_edge");
    const std::optional<double> high = part.number("core:freq_upper_edge");
    annotation.low = low ? *low + moved : r.center - r.rate / 2;
    annotation.high = high ? *high + moved : r.center + r.rate / 2;
    if (annotation.low > annotation.high)
        part.fail("core:freq_lower_edge", "is above its core:freq_upper_edge");
    annotation.label = label_of(part);
    return annotation;
}

} // namespace

std::unique_ptr<Source> open_sigmf(const Request& request)
{
    std::string base = request.input;
    if (ends_with(base, ".sigmf-data") || ends_with(base, ".sigmf-meta"))
        base.erase(base.rfind('.'));
    const std::string meta = base + ".sigmf-meta";
    const std::string data = base + ".sigmf-data";
    if (request.format)
        throw Error(meta + ": says the format itself: --format is for raw samples");

    const Json json = parse(meta, data);
    const Part global{meta, "global", json["global"]};
    check_global(global);
    Recording recording;
    recording.input = data;
    recording.name = title_of(data);
    recording.kind = "SigMF";
    recording.format = read_format(global);
    recording.samples = count_samples(data, recording.format);

    const std::uint64_t first = global.count("core:offset").value_or(0);
    const std::optional<double> center =
        read_center(parts(meta, json, "captures"), first, recording);
    settle(recording, request, global.number("core:sample_rate"), center);
    const double moved = recording.center - center.value_or(0.0);
    for (const Part& part : parts(meta, json, "annotations"))
        recording.annotations.push_back(read_annotation(part, first, moved, recording));
    return open_samples(data, std::move(recording), request);
}

} // namespace waterfall
