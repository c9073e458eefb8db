#include "bench/report.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

namespace bench {
namespace {

using nlohmann::json;

constexpr int format_version = 1;

json spread(const Spread& s) { return {{"median", s.median}, {"low", s.low}, {"high", s.high}}; }
Spread spread(const json& j) { return {j.at("median"), j.at("low"), j.at("high")}; }

json row_to_json(const Row& row)
{
    json rivals = json::array();
    for (const Rival& r : row.rivals)
        rivals.push_back(
            {{"name", r.name}, {"ns_per_element", r.ns}, {"times_ours", spread(r.ratio)}});
    json bound = nullptr;
    if (row.bound != 0)
        bound = {{"cycles_per_element", row.bound}, {"resource", row.resource}};
    return {{"key", row.key()},
            {"group", row.group},
            {"name", row.name},
            {"level", row.level},
            {"size", row.size},
            {"taps", row.taps == 0 ? json(nullptr) : json(row.taps)},
            {"place", row.place},
            {"lengths", row.lengths},
            {"ns_per_element", row.ns},
            {"cycles_per_element", spread(row.cycles)},
            {"gigabytes_per_second", row.gigabytes},
            {"bound", bound},
            {"rivals", rivals},
            {"wrong", row.wrong.empty() ? json(nullptr) : json(row.wrong)},
            {"wrong_rivals", row.out}};
}

Row row_from_json(const json& j)
{
    Row row;
    row.group = j.at("group");
    row.name = j.at("name");
    row.level = j.at("level");
    row.size = j.at("size");
    row.taps = j.at("taps").is_null() ? 0 : j.at("taps").get<std::size_t>();
    row.place = j.at("place");
    row.lengths = j.at("lengths");
    row.ns = j.at("ns_per_element");
    row.cycles = spread(j.at("cycles_per_element"));
    row.gigabytes = j.at("gigabytes_per_second");
    if (const json& bound = j.at("bound"); !bound.is_null()) {
        row.bound = bound.at("cycles_per_element");
        row.resource = bound.at("resource");
    }
    for (const json& r : j.at("rivals"))
        row.rivals.push_back({r.at("name"), r.at("ns_per_element"), spread(r.at("times_ours"))});
    if (!j.at("wrong").is_null())
        row.wrong = j.at("wrong");
    row.out = j.at("wrong_rivals").get<std::vector<std::string>>();
    return row;
}

/// Writes a file, or standard output for "-"; throws if that fails.
void write(const std::string& path, const std::string& text)
{
    if (path == "-") {
        std::cout << text << std::flush;
        return;
    }
    std::ofstream out(path);
    out << text << std::flush;
    if (!out)
        throw std::runtime_error(path + ": " + std::strerror(errno));
}

} // namespace

json to_json(const Report& report)
{
    json rows = json::array();
    for (const Row& row : report.rows)
        rows.push_back(row_to_json(row));
    return {{"format", "simd-bench"},
            {"version", format_version},
            {"started", report.started},
            {"machine",
             {{"processor", report.processor},
              {"cpuid", report.cpuid},
              {"bounds_of", report.core.empty() ? json(nullptr) : json(report.core)},
              {"processors", report.processors},
              {"kernel", report.kernel},
              {"load", report.load},
              {"nanoseconds_per_cycle", report.cycle}}},
            {"compiler", report.compiler},
            {"library", report.library},
            {"plain_loops", report.plain},
            {"rounds", report.pace.rounds},
            {"seconds_per_round", report.pace.seconds},
            {"rows", rows}};
}

Report from_json(const json& j)
{
    try {
        if (j.at("format") != "simd-bench" || j.at("version") != format_version)
            throw std::runtime_error("not a report of this simd-bench");
        Report report;
        report.started = j.at("started");
        const json& machine = j.at("machine");
        report.processor = machine.at("processor");
        report.processors = machine.at("processors");
        report.cpuid = machine.at("cpuid");
        if (const json& core = machine.at("bounds_of"); !core.is_null())
            report.core = core;
        report.kernel = machine.at("kernel");
        report.load = machine.at("load");
        report.cycle = machine.at("nanoseconds_per_cycle");
        report.compiler = j.at("compiler");
        report.library = j.at("library");
        report.plain = j.at("plain_loops").get<std::vector<std::string>>();
        report.pace = {j.at("rounds"), j.at("seconds_per_round")};
        for (const json& row : j.at("rows"))
            report.rows.push_back(row_from_json(row));
        return report;
    } catch (const json::exception& e) {
        throw std::runtime_error(std::string("not a report of simd-bench: ") + e.what());
    }
}

Report read_report(const std::string& path)
{
    std::ifstream in(path);
    if (!in)
        throw std::runtime_error(path + ": " + std::strerror(errno));
    try {
        return from_json(json::parse(in));
    } catch (const json::exception& e) {
        throw std::runtime_error(path + ": not JSON: " + e.what());
    } catch (const std::runtime_error& e) {
        throw std::runtime_error(path + ": " + e.what());
    }
}

void write_json(const Report& report, const std::string& path)
{
    write(path, to_json(report).dump(1) + '\n');
}

void write_csv(const Report& report, const std::string& path)
{
    std::set<std::string> names;
    for (const Row& row : report.rows)
        for (const Rival& r : row.rivals)
            names.insert(r.name);
    std::string text = "group,name,level,size,taps,place,lengths,ns_per_element,cycles_per_element,"
                       "gigabytes_per_second,bound_cycles_per_element,measured_to_bound,wrong";
    for (const std::string& name : names)
        text += fmt::format(",times ours: {0},spread: {0}", name);
    text += '\n';
    for (const Row& row : report.rows) {
        text += fmt::format(
            "{},{},{},{},{},{},{},{:.6g},{:.6g},{:.6g},{},{},{}", row.group, row.name, row.level,
            row.size, row.taps, row.place, row.lengths, row.ns, row.cycles.median, row.gigabytes,
            row.bound == 0 ? "" : fmt::format("{:.6g}", row.bound),
            row.bound == 0 ? "" : fmt::format("{:.4f}", row.cycles.median / row.bound),
            row.wrong.empty() ? "" : "yes");
        for (const std::string& name : names) {
            const Rival* r = row.rival(name);
            text += r == nullptr ? ",,"
                                 : fmt::format(",{:.4f},{:.4f}", r->ratio.median, r->ratio.share());
        }
        text += '\n';
    }
    write(path, text);
}

} // namespace bench
