// SigMF: the metadata says what the samples are. What is wrong in it is left out, and said.
#include "waterfall/source_parts.h"
#include "waterfall/units.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
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
    Warnings& warnings;

    std::string said(const std::string& key, const std::string& what) const
    {
        return fmt::format("{}: {} of {} {}", path, key, where, what);
    }
    [[noreturn]] void fail(const std::string& key, const std::string& what) const
    {
        throw Error(said(key, what));
    }
    void warn(const std::string& key, const std::string& what) const
    {
        warnings.add(said(key, what));
    }
    bool has(const char* key) const { return json.contains(key); }
    // As the metadata has it, for messages.
    std::string shown(const char* key) const
    {
        const std::string text = json[key].dump(-1, ' ', false, Json::error_handler_t::replace);
        return text.size() > 40 ? text.substr(0, 40) + "..." : text;
    }

    std::optional<double> number(const char* key) const
    {
        if (!has(key))
            return std::nullopt;
        if (json[key].is_number()) // finite: JSON has no other numbers, and the parser no overflow
            return json[key].get<double>();
        warn(key, "is not a number");
        return std::nullopt;
    }

    // Of samples or bytes.
    std::optional<std::uint64_t> count(const char* key) const
    {
        const std::optional<double> value = number(key);
        if (!value)
            return std::nullopt;
        if (*value >= 0.0 && *value < 0x1p53 && std::floor(*value) == *value)
            return static_cast<std::uint64_t>(*value);
        warn(key, fmt::format("is {}, not a count", shown(key)));
        return std::nullopt;
    }

    std::optional<std::string> text(const char* key) const
    {
        if (!has(key))
            return std::nullopt;
        if (json[key].is_string())
            return json[key].get<std::string>();
        warn(key, "is not a text");
        return shown(key);
    }

    std::optional<std::int64_t> time(const char* key) const
    {
        const std::optional<std::string> said = text(key);
        const std::optional<std::int64_t> found = said ? parse_datetime(*said) : std::nullopt;
        if (said && !found)
            warn(key, fmt::format("is {}, not a time such as 2026-01-02T03:04:05Z", shown(key)));
        return found;
    }
};

Json parse(const std::string& path, const std::string& text)
{
    try {
        Json json = Json::parse(text);
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
std::vector<Part> parts(const std::string& path, const Json& json, const char* list,
                        Warnings& warnings)
{
    std::vector<Part> found;
    if (!json.contains(list))
        return found;
    if (!json[list].is_array()) {
        warnings.add(fmt::format("{}: {} is not a list", path, list));
        return found;
    }
    std::size_t number = 0;
    for (const Json& item : json[list]) {
        std::string where = fmt::format("{}[{}]", list, number++);
        if (item.is_object())
            found.push_back({path, std::move(where), item, warnings});
        else
            warnings.add(fmt::format("{}: {} is not an object", path, where));
    }
    return found;
}

Coding read_coding(const Part& global, const Request& request, Recording& recording)
{
    const std::string datatype =
        global.has("core:datatype") && global.json["core:datatype"].is_string()
            ? global.json["core:datatype"].get<std::string>()
            : "";
    const std::optional<Coding> coding = sigmf_coding(datatype);
    if (request.format) {
        const Coding asked = coding_named(*request.format).value();
        if (!coding || name(*coding) != name(asked))
            recording.assumed.push_back(
                fmt::format("format {}: --format, in place of {}", name(asked),
                            datatype.empty() ? "none" : "'" + datatype + "'"));
        return asked;
    }
    if (!global.has("core:datatype"))
        global.fail("core:datatype", "is missing (--format)");
    if (!coding)
        global.fail("core:datatype", fmt::format("is {}, which nothing is known by (--format)",
                                                 global.shown("core:datatype")));
    return *coding;
}

// Captures by their start, counted from the first sample, and the bytes before each.
void read_captures(const std::vector<Part>& captures, std::uint64_t first, Whole& whole,
                   Layout& layout)
{
    std::optional<std::uint64_t> index_before;
    for (const Part& part : captures) {
        const std::uint64_t start = part.count("core:sample_start").value_or(first);
        if (start < first ||
            (!whole.captures.empty() && start - first < whole.captures.back().start)) {
            part.warn("core:sample_start",
                      fmt::format("is {}, before what comes before it", start));
            continue;
        }
        Capture capture{start - first, part.number("core:frequency"), part.time("core:datetime"),
                        part.where};
        if (const std::uint64_t bytes = part.count("core:header_bytes").value_or(0); bytes != 0)
            layout.holes.push_back({capture.start, bytes});
        const std::optional<std::uint64_t> index = part.count("core:global_index");
        if (index && index_before &&
            *index > *index_before + capture.start - whole.captures.back().start)
            part.warn("core:global_index",
                      fmt::format("is {}: {} samples before it were lost", *index,
                                  *index - *index_before -
                                      (capture.start - whole.captures.back().start)));
        index_before = index;
        whole.captures.push_back(std::move(capture));
    }
}

// What begins where there are no samples is no capture.
void drop_captures_outside(const std::string& path, Whole& whole)
{
    const std::uint64_t samples = whole.recording.samples.value_or(UINT64_MAX);
    while (!whole.captures.empty() && whole.captures.back().start >= samples) {
        whole.recording.warnings->add(
            fmt::format("{}: core:sample_start of {} is {}, outside the {} "
                        "samples of the data file",
                        path, whole.captures.back().where, whole.captures.back().start, samples));
        whole.captures.pop_back();
    }
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

std::optional<Annotation> read_annotation(const Part& part, std::uint64_t first, std::uint64_t all)
{
    const std::optional<std::uint64_t> start = part.count("core:sample_start");
    if (!start) {
        if (!part.has("core:sample_start"))
            part.warn("core:sample_start", "is missing");
        return std::nullopt;
    }
    if (*start < first || *start - first >= all) {
        part.warn("core:sample_start",
                  fmt::format("is {}, but the data file has {} samples", *start, all));
        return std::nullopt;
    }
    const std::uint64_t at = *start - first;
    std::uint64_t count = part.count("core:sample_count").value_or(all - at);
    if (count > all - at) {
        part.warn("core:sample_count",
                  fmt::format("is {}, but the data file ends after {}", count, all - at));
        count = all - at;
    }
    const double endless = HUGE_VAL;
    Annotation annotation{static_cast<double>(at),
                          count == UINT64_MAX - at ? endless : static_cast<double>(count),
                          part.number("core:freq_lower_edge").value_or(-endless),
                          part.number("core:freq_upper_edge").value_or(endless), label_of(part)};
    if (annotation.low > annotation.high) {
        part.warn("core:freq_lower_edge", "is above its core:freq_upper_edge");
        std::swap(annotation.low, annotation.high);
    }
    return annotation;
}

std::string base_of(std::string path)
{
    for (const char* const end : {".sigmf-meta", ".sigmf-data"})
        if (ends_with(path, end))
            return path.substr(0, path.size() - std::string_view(end).size());
    return path;
}

} // namespace

Opened open_sigmf(const Request& request, const std::string& meta, const std::string& text,
                  const std::function<std::unique_ptr<ByteStream>(const std::string& name)>& data)
{
    if (text.size() >= most_sigmf_text)
        throw Error(fmt::format("{}: has {} bytes or more: no metadata is that long", meta,
                                most_sigmf_text));
    const Json json = parse(meta, text);
    Whole whole{named(meta, "SigMF", request), {}};
    Recording& recording = whole.recording;
    Warnings& warnings = *recording.warnings;
    const Part global{meta, "global", json["global"], warnings};
    if (global.has("core:metadata_only") && global.json["core:metadata_only"] == true)
        global.fail("core:metadata_only", "is true: there are no samples");

    Layout layout;
    layout.coding = read_coding(global, request, recording);
    layout.channels = global.count("core:num_channels").value_or(1);
    if (layout.channels < 1 || layout.channels > 1024)
        global.fail("core:num_channels",
                    fmt::format("is {}; 1 to 1024 can be read", layout.channels));
    layout.channel = chosen_channel(recording, request, layout.channels);
    const std::uint64_t first = global.count("core:offset").value_or(0);
    read_captures(parts(meta, json, "captures", warnings), first, whole, layout);

    std::string name = std::filesystem::path(base_of(meta)).filename().string() + ".sigmf-data";
    if (const std::optional<std::string> dataset = global.text("core:dataset")) {
        name = *dataset;
        if (name.empty() || name == ".." ||
            name.find_first_of(std::string_view("/\0", 2)) != name.npos)
            global.fail("core:dataset", "is no name of a file beside it");
    }
    layout.trailing = global.count("core:trailing_bytes").value_or(0);

    std::optional<double> rate = global.number("core:sample_rate");
    if (rate && !(*rate > 0.0)) {
        global.warn("core:sample_rate", fmt::format("is {}, not a positive number", *rate));
        rate.reset();
    }
    std::optional<double> center;
    for (const Capture& capture : whole.captures)
        center = center ? center : capture.center;
    recording.input = (std::filesystem::path(meta).parent_path() / name).string();
    settle(recording, request, rate, center, {hint_of(base_of(meta) + ".sigmf-data")});

    Opened source = open_samples(data(name), std::move(whole), std::move(layout));
    source->complete([&](Whole& all) {
        drop_captures_outside(meta, all);
        if (!request.annotations)
            return;
        const std::uint64_t samples = all.recording.samples.value_or(UINT64_MAX);
        for (const Part& part : parts(meta, json, "annotations", warnings))
            if (std::optional<Annotation> annotation = read_annotation(part, first, samples))
                all.recording.annotations.push_back(std::move(*annotation));
    });
    return source;
}

Opened open_sigmf(const Request& request)
{
    const std::string base = base_of(request.input);
    std::string meta =
        ends_with(request.input, ".sigmf-meta") ? request.input : base + ".sigmf-meta";
    const std::unique_ptr<ByteStream> file = open_bytes(meta, meta, nullptr);
    const std::string text = file->peek(most_sigmf_text);
    const std::filesystem::path folder = std::filesystem::path(meta).parent_path();
    return open_sigmf(request, meta, text, [&](const std::string& name) {
        const std::string path = (folder / name).string();
        return open_bytes(path, path, request.stop);
    });
}

} // namespace waterfall
