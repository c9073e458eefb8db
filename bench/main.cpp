// simd-bench: every variant of every kernel, and chains of them, beside what one would use instead.
#include "bench/bounds.h"
#include "bench/options.h"
#include "bench/picture.h"
#include "bench/progress.h"
#include "bench/report.h"

#include <fmt/format.h>
#include <iostream>

namespace {

std::vector<bench::Job> jobs_of(const bench::Options& options, bench::Library& library)
{
    std::vector<bench::Job> jobs;
    const auto add = [&](const char* group, auto* make) {
        if (options.groups.contains(group))
            for (bench::Job& job : make(library, options.selection))
                jobs.push_back(std::move(job));
    };
    add("kernels", bench::kernel_jobs);
    add("chain", bench::chain_jobs);
    add("threads", bench::thread_jobs);
    return jobs;
}

/// Whether the table is wanted on standard output.
bool has_table(const bench::Options& options)
{
    return !options.quiet && options.json != "-" && options.csv != "-";
}

void print(const bench::Row& row, std::string& group)
{
    if (row.group != group) {
        std::cout << (group.empty() ? "" : "\n") << bench::table_heading(row.group);
        group = row.group;
    }
    std::cout << bench::table_row(row) << std::flush;
}

void set_bound(bench::Row& row, const bench::Bounds& bounds)
{
    for (const bench::Place place : bench::all_places)
        if (name(place) == row.place)
            if (const bench::Bound* bound = bounds.find(row.name, row.level, place)) {
                row.bound = bound->cycles;
                row.resource = bound->resource;
            }
}

bench::Report measured(const bench::Options& options)
{
    bench::Library library(options.library);
    const bench::Bounds bounds(options.bounds, bench::processor_at_hand());
    const std::vector<bench::Job> jobs = jobs_of(options, library);
    if (jobs.empty())
        throw std::invalid_argument("no row is named so; --list shows all");
    bench::Report report = bench::describe_machine(options.pace, library.path());
    report.core = bounds.core();
    if (has_table(options))
        std::cout << bench::bounds_line(report);
    bench::Progress progress(jobs.size(), !options.quiet);
    std::string group;
    for (const bench::Job& job : jobs) {
        progress.at(report.rows.size(), job.row.key());
        bench::Row row = bench::measure(job.build(), options.pace);
        if (row.group == "kernels")
            set_bound(row, bounds);
        report.rows.push_back(std::move(row));
        if (has_table(options)) {
            progress.wipe();
            print(report.rows.back(), group);
        }
    }
    return report;
}

bench::Report earlier(const bench::Options& options)
{
    bench::Report report = bench::read_report(options.from);
    std::string group;
    if (has_table(options))
        std::cout << bench::bounds_line(report);
    if (has_table(options))
        for (const bench::Row& row : report.rows)
            print(row, group);
    return report;
}

/// The exit status.
int finish(const bench::Options& options, const bench::Report& report)
{
    int status = 0;
    if (!options.json.empty())
        bench::write_json(report, options.json);
    if (!options.csv.empty())
        bench::write_csv(report, options.csv);
    if (!options.png.empty())
        bench::draw(report, options.png);
    if (report.has_wrong_results()) {
        std::cerr << bench::wrong_results(report);
        status = 1;
    }
    if (!options.compare.empty()) {
        const bench::Report older = bench::read_report(options.compare);
        const std::size_t shared = bench::shared_rows(older, report);
        const auto lines = bench::slower(older, report, options.tolerance);
        for (const std::string& line : lines)
            std::cerr << "slower: " << line << '\n';
        std::cerr << fmt::format("{} rows compared, {} slower by more than {:.0f} %\n", shared,
                                 lines.size(), 100 * options.tolerance);
        if (!lines.empty() || shared == 0)
            status = 1;
    }
    return status;
}

int run(int argc, char** argv)
{
    const auto options = bench::parse_options(argc, argv);
    if (!options)
        return 0;
    if (options->list) {
        bench::Library library(options->library);
        for (const bench::Job& job : jobs_of(*options, library))
            std::cout << job.row.key() << '\n';
        return 0;
    }
    return finish(*options, options->from.empty() ? measured(*options) : earlier(*options));
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::cerr << "simd-bench: " << e.what() << '\n';
        return 2;
    }
}
