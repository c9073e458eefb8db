// simd-waterfall: turns a recording into pictures and figures. options.cpp holds its help.
#include "waterfall/chain.h"
#include "waterfall/options.h"
#include "waterfall/output.h"
#include "waterfall/pictures.h"
#include "waterfall/progress.h"
#include "waterfall/report.h"
#include "waterfall/units.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <new>
#include <span>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace waterfall;

namespace {

enum Status { done = 0, failed = 1, bad_options = 2, interrupted = 130 };

volatile std::sig_atomic_t stop = 0;

extern "C" {
static void on_interrupt(int /*signal*/) { stop = 1; }
}

// The first Ctrl-C stops the reading, also where it waits for a pipe; the second one ends the program.
// A file that grows beyond a limit is an error like a full disk.
void prepare_signals()
{
    struct sigaction action = {};
    action.sa_handler = on_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGXFSZ, SIG_IGN);
}

// Names of files come from anywhere; a message is one line of printable characters all the same.
void complain(std::string message)
{
    for (char& c : message)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            c = '?';
    fmt::print(stderr, "simd-waterfall: {}\n", message);
}

// What could not be written shows at the flush or, where there was more than a buffer, before it.
void finish_stdout()
{
    const bool failed_before = std::ferror(stdout) != 0;
    if (std::fflush(stdout) != 0 || failed_before)
        throw Error("standard output: " + std::generic_category().message(errno));
}

void describe(std::FILE* out, const Recording& r)
{
    fmt::print(out, "{}: {}, {}, {}, centre {}", r.name, r.kind, r.coding, with_unit(r.rate, "S/s"),
               with_unit(r.center, "Hz"));
    if (r.samples)
        fmt::print(out, ", {} samples ({})", *r.samples,
                   duration_text(static_cast<double>(*r.samples) / r.rate));
    fmt::print(out, "\n");
    if (!r.part.empty())
        fmt::print(out, "  {}\n", r.part);
    if (r.time)
        fmt::print(out, "  begins at {} {} UTC\n", date_text(*r.time), clock_text(*r.time, 3));
    for (const std::string& line : r.assumed)
        fmt::print(out, "  assumed: {}\n", line);
    finish_stdout();
}

std::span<const std::byte> bytes_of(const auto& container)
{
    return std::as_bytes(std::span(container));
}

Kind kind_of(const Options& o, const std::string& path)
{
    return o.svg || path.ends_with(".svg") ? Kind::svg : Kind::pixels;
}

// Everything is written before anything gets its name.
void write_outputs(const Options& o, const Analysis& analysis)
{
    std::vector<Output> files;
    const auto write = [&](const std::string& path, std::span<const std::byte> bytes) {
        if (path == "-")
            std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        else
            files.emplace_back(path, bytes);
    };
    if (!o.waterfall.empty())
        write(o.waterfall, bytes_of(waterfall_picture(analysis, kind_of(o, o.waterfall))));
    if (!o.spectrum.empty())
        write(o.spectrum, bytes_of(spectrum_picture(analysis, kind_of(o, o.spectrum))));
    for (const auto& [path, indent] : {std::pair(o.json, 2), std::pair(o.json_lines, -1)}) {
        if (path.empty())
            continue;
        // a file's name need not be UTF-8
        const std::string text =
            to_json(analysis, o.timings)
                .dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
        write(path, bytes_of(text + "\n"));
    }
    for (Output& file : files)
        file.commit();
}

bool to_standard_output(const Options& o)
{
    const std::vector<std::string> files = o.outputs();
    return std::find(files.begin(), files.end(), "-") != files.end();
}

// What cannot be written is said before a long recording is read.
void check_outputs(const Options& o)
{
    if ((o.waterfall == "-" || o.spectrum == "-") && ::isatty(STDOUT_FILENO) != 0)
        throw Error("standard output: is a terminal, which shows no picture");
    std::error_code none;
    for (const std::string& path : o.outputs()) {
        if (path == "-")
            continue;
        check_output(path);
        if (std::filesystem::equivalent(path, o.request.input, none))
            throw Error(path + ": is the input; it stays as it is");
    }
}

void check_channel(const Settings& settings, const Recording& r)
{
    if (settings.channel && std::abs(*settings.channel) > r.rate / 2)
        throw Error(
            fmt::format("--channel: {} from the centre is outside of the band, which ends at {}",
                        with_unit(*settings.channel, "Hz"), with_unit(r.rate / 2, "Hz")));
}

int run(const Options& o)
{
    prepare_signals();
    check_outputs(o);
    std::FILE* out = to_standard_output(o) ? stderr : stdout;
    Request request = o.request;
    request.stop = &stop;
    const std::unique_ptr<Source> source = open_source(request);
    check_channel(o.settings, source->recording());
    if (!o.quiet)
        describe(out, source->recording());

    Analysis analysis = [&] {
        Progress progress(source->recording().samples, !o.quiet);
        return analyse(
            *source, o.settings, [&](std::uint64_t n) { progress.at(n); }, stop);
    }();
    for (const std::string& line : source->recording().warnings->lines())
        complain("warning: " + line);
    {
        const Timed timed(analysis.timings.output);
        write_outputs(o, analysis);
    }
    if (!o.quiet) {
        std::fputs(table(analysis).c_str(), out);
        for (const std::string& path : o.outputs())
            if (path != "-")
                fmt::print(out, "wrote {}\n", path);
    }
    finish_stdout();
    if (stop == 0)
        return done;
    complain(fmt::format("interrupted; what was written shows the {} samples read until then",
                         analysis.samples));
    return interrupted;
}

} // namespace

int main(int argc, char** argv)
{
    int status = bad_options;
    std::string message;
    try {
        const std::optional<Options> options = parse_options(argc, argv);
        status = failed;
        return options ? run(*options) : done;
    } catch (const std::bad_alloc&) {
        message = "not enough memory";
    } catch (const std::exception& error) {
        message = error.what();
    }
    if (stop != 0) {
        message = "interrupted, and nothing written: " + message;
        status = interrupted;
    }
    complain(message);
    return status;
}
