#include "info/report.h"

#include "info/demands.h"
#include "info/error.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <map>

namespace info {
namespace {

bool contains(const std::vector<Level>& levels, Level level)
{
    return std::find(levels.begin(), levels.end(), level) != levels.end();
}

/// Levels that are above `level`, that the library sees, and that are not among `variants`.
std::vector<Level> seen_without_variant(const Report& report, const Row& row, Level level)
{
    std::vector<Level> list;
    for (const Level above : rig::all_levels)
        if (above > level && !contains(row.variants, above) &&
            (above == Level::avx2 ? report.avx2_seen : report.cpu.has(above)))
            list.push_back(above);
    return list;
}

/// A variant of a higher level whose bit the processor has; not AVX2's, which has its own rule.
bool passed_over(const Report& report, const Row& row, Level level)
{
    return std::any_of(row.variants.begin(), row.variants.end(), [&](Level above) {
        return above > level && above != Level::avx2 && report.cpu.has(above);
    });
}

/// "SSE3 to AVX", where it is a run of three or more.
std::string span(const std::vector<Level>& levels)
{
    const bool run = static_cast<std::size_t>(levels.back()) ==
                     static_cast<std::size_t>(levels.front()) + levels.size() - 1;
    return run && levels.size() > 2
               ? fmt::format("{} to {}", title(levels.front()), title(levels.back()))
               : list(levels);
}

void explain_entry(const Report& report, Row& row)
{
    const Level level = row.installed.value_or(Level::base);
    const bool hidden =
        contains(row.variants, Level::avx2) && !report.avx2_seen && report.cpu.has(Level::avx2);
    const auto without = seen_without_variant(report, row, level);
    if (passed_over(report, row, level)) {
        row.reason = Reason::unexpected;
        row.why = "a higher level is reported and has a variant: unexpected";
    } else if (hidden) {
        row.reason = Reason::avx2_not_seen;
        row.why = "AVX2 not seen";
    } else if (!row.installed) {
        row.reason = Reason::null_entry;
        row.why = "none of them reported, and no baseline";
    } else if (!without.empty()) {
        row.reason = Reason::no_variant;
    }
    if (row.installed && !without.empty() && row.reason != Reason::unexpected)
        row.why =
            fmt::format("none for {}{}{}", span(without), row.why.empty() ? "" : "; ", row.why);
}

std::string quoted(std::uint32_t word)
{
    std::string text;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        const char c = static_cast<char>(word >> shift & 0xFF);
        if (c < ' ' || c > '~')
            return "";
        text += c;
    }
    return fmt::format(" (\"{}\", the end of the vendor's name)", text);
}

std::string explain_avx2(const Report& report)
{
    const bool has = report.cpu.has(Level::avx2);
    const auto leaf7 = std::find_if(report.asked.begin(), report.asked.end(),
                                    [](const Asked& a) { return a.leaf == 7; });
    if (has == report.avx2_seen) {
        if (!has || leaf7 == report.asked.end())
            return "";
        return fmt::format("installed: leaf 7 was asked with sub-leaf {:#x}, and the answer has "
                           "its bit",
                           leaf7->subleaf);
    }
    if (leaf7 == report.asked.end())
        return report.avx2_seen ? "installed, though the processor lacks it: there is no leaf 7, "
                                  "and bit 5 of leaf 1's EBX is set"
                                : "not installed, though the processor has it: leaf 7 was not "
                                  "asked";
    if (report.avx2_seen)
        return fmt::format("installed, though sub-leaf 0 of leaf 7 lacks it: sub-leaf {:#x} was "
                           "asked",
                           leaf7->subleaf);
    return fmt::format("not installed, though the processor has it: the library asks leaf 7 with "
                       "the sub-leaf that it finds in ECX, {:#x}{}, and this processor reports "
                       "AVX2 in sub-leaf 0 only",
                       leaf7->subleaf, quoted(leaf7->subleaf));
}

std::vector<Level> lacking(const Cpu& cpu, const std::vector<Level>& wanted)
{
    std::vector<Level> missing;
    for (const Level level : wanted)
        if (!cpu.has(level))
            missing.push_back(level);
    return missing;
}

/// What code of a level relies on: what lies below it, too, for the legacy encodings.
std::vector<Level> relied_on(Level level)
{
    if (level == Level::base)
        return {Level::sse, Level::sse2};
    if (level == Level::avx2)
        return {Level::avx, Level::avx2};
    if (level == Level::avx)
        return {Level::avx};
    std::vector<Level> list;
    for (const Level below : rig::all_levels)
        if (below != Level::base && below <= level)
            list.push_back(below);
    return list;
}

void warn_of_levels(Report& report)
{
    for (const Level level : rig::all_levels) {
        Warning warning{{}, lacking(report.cpu, relied_on(level)), ""};
        if (warning.missing.empty())
            continue;
        for (const Row& row : report.rows)
            if (row.installed == level)
                warning.kernels.push_back(row.kernel);
        if (warning.kernels.empty())
            continue;
        warning.text = fmt::format("{} variants ({} kernels) may use {}, which this processor "
                                   "does not report",
                                   title(level), warning.kernels.size(), list(warning.missing));
        report.warnings.push_back(warning);
    }
}

void warn_of_demands(Report& report)
{
    std::map<std::pair<Level, std::vector<Level>>, std::vector<std::string>> groups;
    for (const Row& row : report.rows) {
        if (!row.installed)
            continue;
        const auto missing = lacking(report.cpu, demands(row.kernel, *row.installed));
        if (!missing.empty())
            groups[{*row.installed, missing}].push_back(row.kernel);
    }
    for (const auto& [why, kernels] : groups) {
        const auto& [level, missing] = why;
        Warning warning{kernels, missing, ""};
        warning.text = fmt::format("these {} variants also use {}, which this processor lacks, and "
                                   "calls may end with SIGILL: {}",
                                   title(level), list(missing), fmt::join(kernels, ", "));
        for (const std::string& kernel : kernels)
            if (const auto users = callers(kernel); !users.empty()) {
                warning.text += fmt::format(" ({} call {})", fmt::join(users, " and "), kernel);
                warning.kernels.insert(warning.kernels.end(), users.begin(), users.end());
            }
        report.warnings.push_back(warning);
    }
}

void warn_of_registers(Report& report)
{
    Warning warning;
    for (const Row& row : report.rows)
        if (row.installed && *row.installed >= Level::avx)
            warning.kernels.push_back(row.kernel);
    if (warning.kernels.empty() || report.cpu.wide_registers_enabled())
        return;
    warning.text = fmt::format("{} AVX and AVX2 variants are installed, but the operating system "
                               "has not enabled the 32-byte registers: their calls end with SIGILL",
                               warning.kernels.size());
    report.warnings.push_back(warning);
}

void warn_of_unexpected(Report& report)
{
    for (const Row& row : report.rows)
        if (row.reason == Reason::unexpected)
            report.warnings.push_back({{row.kernel}, {}, row.kernel + ": " + row.why});
}

} // namespace

const char* name(Reason reason)
{
    switch (reason) {
    case Reason::highest:
        return "highest";
    case Reason::no_variant:
        return "no_variant";
    case Reason::avx2_not_seen:
        return "avx2_not_seen";
    case Reason::null_entry:
        return "null_entry";
    case Reason::plain_function:
        return "plain_function";
    case Reason::unexpected:
        return "unexpected";
    }
    return "";
}

std::string list(const std::vector<Level>& levels)
{
    std::vector<const char*> titles;
    titles.reserve(levels.size());
    for (const Level level : levels)
        titles.push_back(title(level));
    return fmt::format("{}", fmt::join(titles, ", "));
}

Report report(const Library& library, const Cpu& cpu, bool own)
{
    Load load = library.load_on(cpu);
    Report report{library.path(), cpu, std::move(load.asked), false, "", {}, {}};
    for (const std::string& kernel : entry_names()) {
        const auto offset = (own ? library.own() : load.held).at(kernel);
        Row row{kernel, library.level_at(kernel, offset), library.levels(kernel), Reason::highest,
                ""};
        if (offset && !row.installed)
            throw BadLibrary(kernel + ": holds what no level installs");
        report.avx2_seen |= row.installed == Level::avx2;
        report.rows.push_back(std::move(row));
    }
    for (Row& row : report.rows)
        explain_entry(report, row);
    for (const std::string& kernel : function_names())
        report.rows.push_back({kernel,
                               std::nullopt,
                               {},
                               Reason::plain_function,
                               "plain function; calls fir_step_c64"});
    report.avx2 = explain_avx2(report);
    warn_of_levels(report);
    warn_of_demands(report);
    warn_of_registers(report);
    warn_of_unexpected(report);
    return report;
}

void keep_only(Report& report, const std::vector<std::string>& kernels)
{
    if (kernels.empty())
        return;
    for (const std::string& kernel : kernels)
        if (std::none_of(report.rows.begin(), report.rows.end(),
                         [&](const Row& row) { return row.kernel == kernel; }))
            throw BadRequest(fmt::format("'{}': the library has no kernel of this name", kernel));
    const auto asked_for = [&](const std::string& kernel) {
        return std::find(kernels.begin(), kernels.end(), kernel) != kernels.end();
    };
    std::erase_if(report.rows, [&](const Row& row) { return !asked_for(row.kernel); });
    std::erase_if(report.warnings, [&](const Warning& warning) {
        return std::none_of(warning.kernels.begin(), warning.kernels.end(), asked_for);
    });
}

} // namespace info
