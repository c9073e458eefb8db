// tools/info/print.cpp: a report for people, and as JSON.
#include "info/demands.h"
#include "info/report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

namespace info {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t width = 96;

/// "label  text", the text broken at blanks and indented under itself.
std::string paragraph(const std::string& label, const std::string& text)
{
    constexpr std::size_t indent = 12;
    std::string out;
    std::string line = fmt::format("{:<{}}", label, indent);
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        if (line.size() > indent && line.size() + 1 + (end - at) > width) {
            out += line + '\n';
            line.assign(indent, ' ');
        }
        if (line.size() > indent)
            line += ' ';
        line += text.substr(at, end - at);
        at = end + 1;
    }
    return out + line + '\n';
}

std::string processor_line(const Cpu& cpu)
{
    std::vector<Level> has;
    for (const Level level : rig::all_levels)
        if (level != Level::base && cpu.has(level))
            has.push_back(level);
    const bool is_this = cpu.name.starts_with("this");
    const std::string who = is_this ? cpu.about : fmt::format("{} ({})", cpu.name, cpu.about);
    return fmt::format("{}, {}; reports {}", who, cpu.vendor(),
                       has.empty() ? "no level" : list(has));
}

std::string titles(const std::vector<Level>& levels)
{
    std::string text;
    for (const Level level : levels) {
        if (!text.empty())
            text += ' ';
        text += title(level);
    }
    return text;
}

std::string installed(const Row& row)
{
    if (row.installed)
        return title(*row.installed);
    return row.reason == Reason::plain_function ? "-" : "NULL";
}

Json names_of(const std::vector<Level>& levels)
{
    Json list = Json::array();
    for (const Level level : levels)
        list.push_back(rig::name(level));
    return list;
}

Json json_row(const Row& row)
{
    Json item;
    item["name"] = row.kernel;
    item["kind"] = row.reason == Reason::plain_function ? "function" : "entry";
    item["installed"] = row.installed ? Json(rig::name(*row.installed)) : Json();
    item["variants"] = names_of(row.variants);
    item["also_uses"] =
        names_of(row.installed ? demands(row.kernel, *row.installed) : std::vector<Level>{});
    item["reason"] = name(row.reason);
    item["why"] = row.why;
    return item;
}

Json json_processor(const Cpu& cpu)
{
    Json features;
    for (const Level level : rig::all_levels)
        if (level != Level::base)
            features[rig::name(level)] = cpu.has(level);
    return {{"name", cpu.name},
            {"about", cpu.about},
            {"vendor", cpu.vendor()},
            {"features", features},
            {"wide_registers_enabled", cpu.wide_registers_enabled()}};
}

} // namespace

std::string as_text(const Report& report)
{
    std::string out = paragraph("library", report.library);
    out += paragraph("processor", processor_line(report.cpu));
    if (report.cpu.has(Level::avx) || report.cpu.has(Level::avx2))
        out +=
            paragraph("registers", report.cpu.wide_registers_enabled()
                                       ? "the operating system has enabled the 32-byte ones"
                                       : "the operating system has not enabled the 32-byte ones");
    if (!report.avx2.empty())
        out += paragraph("AVX2", report.avx2);
    constexpr const char* row_format = "{:<19}{:<10}{:<32}{}";
    out += '\n' + fmt::format(row_format, "kernel", "installed", "has", "why none higher") + '\n';
    for (const Row& row : report.rows) {
        std::string line =
            fmt::format(row_format, row.kernel, installed(row), titles(row.variants), row.why);
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + '\n';
    }
    if (!report.warnings.empty())
        out += '\n';
    for (const Warning& warning : report.warnings)
        out += paragraph("warning", warning.text);
    return out;
}

std::string as_json(const Report& report)
{
    Json root;
    root["library"] = report.library;
    root["processor"] = json_processor(report.cpu);
    root["cpuid"] = Json::array();
    for (const Asked& a : report.asked)
        root["cpuid"].push_back(Json({{"leaf", a.leaf},
                                      {"subleaf", a.subleaf},
                                      {"eax", a.answer.eax},
                                      {"ebx", a.answer.ebx},
                                      {"ecx", a.answer.ecx},
                                      {"edx", a.answer.edx}}));
    root["avx2"] = {{"processor_has", report.cpu.has(Level::avx2)},
                    {"library_sees", report.avx2_seen},
                    {"why", report.avx2}};
    root["kernels"] = Json::array();
    for (const Row& row : report.rows)
        root["kernels"].push_back(json_row(row));
    root["warnings"] = Json::array();
    for (const Warning& w : report.warnings)
        root["warnings"].push_back(
            Json({{"kernels", w.kernels}, {"missing", names_of(w.missing)}, {"text", w.text}}));
    return root.dump(2) + '\n';
}

} // namespace info
