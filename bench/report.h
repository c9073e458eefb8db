// bench/report.h: what a run found, as a table, as JSON and as CSV, and beside an earlier run.
#pragma once

#include "bench/contest.h"

#include <cstdio>
#include <nlohmann/json_fwd.hpp>

namespace bench {

/// A run: when it began, on what, with which settings, and its rows.
struct Report {
    std::string started;            ///< UTC, ISO 8601
    std::string processor, kernel;  ///< its name, and the operating system's
    std::string cpuid;              ///< vendor, family and model
    std::string core;               ///< the one that the bounds are for; empty: none are known
    std::string compiler, library;  ///< what this program was built by; the file that was measured
    std::vector<std::string> plain; ///< compilers of the plain loops
    unsigned processors = 0;
    double load = 0;  ///< of the machine when it began, the last minute's
    double cycle = 0; ///< nanoseconds, then
    Pace pace;
    std::vector<Row> rows;

    bool has_wrong_results() const;
};

/// A report with everything but rows.
Report describe_machine(const Pace& pace, const std::string& library);

/// Which processor the bounds are for, a line.
std::string bounds_line(const Report& report);
/// The heading of a group of rows, and a row.
std::string table_heading(const std::string& group);
std::string table_row(const Row& row);
/// Rows with wrong results, a line each.
std::string wrong_results(const Report& report);

nlohmann::json to_json(const Report& report);
Report from_json(const nlohmann::json& json); // throws std::runtime_error for what is no report
Report read_report(const std::string& path);
void write_json(const Report& report, const std::string& path); // "-": standard output
void write_csv(const Report& report, const std::string& path);

/// Lines for the rows that take more cycles than in the older run, beyond the tolerance (a share),
/// and for rows of the older run that this one measured wrong.
std::vector<std::string> slower(const Report& older, const Report& newer, double tolerance);
/// How many rows both have.
std::size_t shared_rows(const Report& older, const Report& newer);

} // namespace bench
