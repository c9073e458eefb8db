#include "bench/report.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fmt/format.h>
#include <fstream>
#include <map>
#include <sys/utsname.h>
#include <thread>

#include "bench/plain_builds.h"
#include "bench/processor.h"

namespace bench {
namespace {

std::string processor_name()
{
    std::ifstream in("/proc/cpuinfo");
    for (std::string line; std::getline(in, line);)
        if (line.starts_with("model name"))
            return line.substr(std::min(line.size(), line.find(':') + 2));
    return "unknown";
}

std::string now()
{
    const std::time_t t = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&t, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

std::string own_compiler()
{
#if defined(__clang__)
    return "clang++ " __clang_version__;
#else
    return "g++ " __VERSION__;
#endif
}

std::string number(double value, int digits)
{
    return value == 0 ? "-" : fmt::format("{:.{}f}", value, digits);
}

} // namespace

bool Report::has_wrong_results() const
{
    return std::any_of(rows.begin(), rows.end(),
                       [](const Row& row) { return !row.wrong.empty() || !row.out.empty(); });
}

Report describe_machine(const Pace& pace, const std::string& library)
{
    Report report;
    report.started = now();
    report.processor = processor_name();
    report.cpuid = processor_at_hand().text();
    utsname system{};
    if (uname(&system) == 0)
        report.kernel = std::string(system.sysname) + ' ' + system.release;
    report.compiler = own_compiler();
    report.library = library.substr(library.rfind('/') + 1);
    for (const PlainBuild& build : plain_builds())
        if (std::find(report.plain.begin(), report.plain.end(), build.name()) == report.plain.end())
            report.plain.push_back(build.name());
    report.processors = std::thread::hardware_concurrency();
    if (double load[1]; getloadavg(load, 1) == 1)
        report.load = load[0];
    report.cycle = cycle_length();
    report.pace = pace;
    return report;
}

std::string bounds_line(const Report& report)
{
    if (report.core.empty())
        return "/bound: none is known for this processor, " + report.cpuid + '\n';
    return "/bound: over the bounds of " + report.core + '\n';
}

std::string table_heading(const std::string& group)
{
    if (group == "threads")
        return fmt::format("{:<20} {:<5} {:>6} {:>9} {:>7} {:>9}\n", "kernel", "level", "n",
                           "ns/elem", "GB/s", "speed-up");
    if (group == "chain")
        return fmt::format("{:<20} {:<5} {:>6} {:>5} {:>10} {:>8}  {}\n", "chain", "level", "n",
                           "taps", "MS/s", "cycles", "times ours (+- half the quartiles, %)");
    return fmt::format("{:<18} {:<5} {:>5} {:<8} {:<8} {:>8} {:>8} {:>6} {:>6}  {}\n", "kernel",
                       "level", "n", "place", "lengths", "ns/elem", "cyc/elem", "GB/s", "/bound",
                       "times ours (+- half the quartiles, %)");
}

std::string table_row(const Row& row)
{
    std::string line;
    if (row.group == "threads")
        line = fmt::format("{:<20} {:<5} {:>6} {:>9.4f} {:>7.2f}", row.name, row.level,
                           size_text(row.size), row.ns, row.gigabytes);
    else if (row.group == "chain")
        line = fmt::format("{:<20} {:<5} {:>6} {:>5} {:>10} {:>8}", row.name, row.level,
                           size_text(row.size), row.taps == 0 ? "-" : std::to_string(row.taps),
                           number(row.ns == 0 ? 0 : 1e3 / row.ns, 3), number(row.cycles.median, 2));
    else
        line =
            fmt::format("{:<18} {:<5} {:>5} {:<8} {:<8} {:>8} {:>8} {:>6} {:>6}", row.name,
                        row.level, size_text(row.size), row.place, row.lengths, number(row.ns, 4),
                        number(row.cycles.median, 4), number(row.gigabytes, 2),
                        number(row.bound == 0 ? 0 : row.cycles.median / row.bound, 2));
    if (row.group == "threads" && !row.rivals.empty())
        return line + fmt::format(" {:>9.2f}\n", row.rivals.front().ratio.median);
    line += ' ';
    for (const Rival& r : row.rivals)
        line += fmt::format(" {} {:.2f} +-{:.0f}%{}", r.name, r.ratio.median, 100 * r.ratio.share(),
                            &r == &row.rivals.back() ? "" : ",");
    if (!row.wrong.empty())
        line += " WRONG: " + row.wrong;
    for (const std::string& text : row.out)
        line += " [wrong: " + text + "]";
    return line + '\n';
}

std::string wrong_results(const Report& report)
{
    std::string text;
    for (const Row& row : report.rows) {
        if (!row.wrong.empty())
            text += "wrong result: " + row.key() + ": " + row.wrong + '\n';
        for (const std::string& rival : row.out)
            text += "wrong result: " + row.key() + ": " + rival + '\n';
    }
    return text;
}

std::vector<std::string> slower(const Report& older, const Report& newer, double tolerance)
{
    std::map<std::string, const Row*> before;
    for (const Row& row : older.rows)
        before[row.key()] = &row;
    std::vector<std::string> lines;
    for (const Row& row : newer.rows) {
        const auto it = before.find(row.key());
        if (it == before.end() || it->second->cycles.median == 0)
            continue;
        const double was = it->second->cycles.median;
        const double is = row.cycles.median;
        if (!row.wrong.empty())
            lines.push_back(row.key() + ": has a wrong result now");
        else if (is > was * (1 + tolerance))
            lines.push_back(fmt::format("{}: {:.4f} cycles per element, {:.4f} before ({:+.1f} %)",
                                        row.key(), is, was, 100 * (is / was - 1)));
    }
    return lines;
}

std::size_t shared_rows(const Report& older, const Report& newer)
{
    std::map<std::string, int> keys;
    for (const Row& row : older.rows)
        keys[row.key()] = 1;
    return static_cast<std::size_t>(
        std::count_if(newer.rows.begin(), newer.rows.end(),
                      [&](const Row& row) { return keys.contains(row.key()); }));
}

} // namespace bench
