// tools/info/main.cpp: simd-info, which variant of each kernel runs on a processor, and why.
#include "info/error.h"
#include "info/report.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fmt/format.h>

namespace {

enum Status { fine = 0, warned = 1, bad_request = 2, bad_library = 3, bad_output = 4 };

constexpr const char* about =
    "Tells which variant of each kernel of libsimd.so runs on this processor, or on\n"
    "another one, and why. The answer comes from the library itself, not from a list:\n"
    "its entries are read, and private copies of it are loaded under other processors.";

constexpr const char* footer = R"(
Examples:
  simd-info                          all kernels on this processor
  simd-info fill_f32 avg_f64         two kernels
  simd-info --cpu penryn             on another processor; --list shows which there are
  simd-info --cpu core2 -f +sse41    on one that differs in a feature
  simd-info --feature -avx           this processor without AVX

Exit status:
  0  all is well
  1  there are warnings: a kernel that is installed would fault on that processor
  2  the command line cannot be followed
  3  the library cannot be looked into (this needs /proc)
  4  the answer cannot be written
)";

struct Request {
    std::string cpu;
    std::vector<std::string> features;
    std::vector<std::string> kernels;
    bool json = false;
    bool list = false;
};

std::string feature_list()
{
    return "Processors for --cpu:\n" + info::list_models() + "\nFeatures for --feature:\n" +
           info::list_features();
}

int write(const std::string& text)
{
    const bool written = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    if (!written)
        std::perror("simd-info: standard output");
    return written ? fine : bad_output;
}

int answer(const Request& request)
{
    if (request.list)
        return write(feature_list());
    info::Cpu cpu = request.cpu.empty() ? info::this_cpu() : info::model(request.cpu);
    for (const std::string& change : request.features)
        info::apply(cpu, change);
    const bool own = request.cpu.empty() && request.features.empty();
    if (!own && cpu.is_this()) {
        cpu.name = fmt::format("this {}", fmt::join(request.features, " "));
        cpu.about = fmt::format("this processor with {}", fmt::join(request.features, " "));
    } else if (!request.features.empty()) {
        cpu.name += fmt::format(" {}", fmt::join(request.features, " "));
    }

    info::Report report = info::report(info::Library(), cpu, own);
    info::keep_only(report, request.kernels);
    if (const int failed = write(request.json ? info::as_json(report) : info::as_text(report)))
        return failed;
    return report.warnings.empty() ? fine : warned;
}

int run(int argc, char** argv)
{
    Request request;
    CLI::App app(about, "simd-info");
    app.footer(footer);
    app.set_version_flag("--version", "simd-info " LIBSIMD_VERSION);
    app.add_option("kernel", request.kernels, "Only these kernels")->type_name("");
    app.add_option("-c,--cpu", request.cpu, "Another processor, by name")->type_name("NAME");
    app.add_option("-f,--feature", request.features,
                   "Give (+name) or take (-name) a feature; may be repeated")
        ->type_name("+NAME|-NAME")
        ->allow_extra_args(false);
    app.add_flag("-j,--json", request.json, "For programs: one JSON object");
    app.add_flag("-l,--list", request.list, "Show the processors and features there are");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? fine : bad_request;
    }
    return answer(request);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const info::BadRequest& e) {
        std::fprintf(stderr, "simd-info: %s\n", e.what());
        return bad_request;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "simd-info: %s\n", e.what());
        return bad_library;
    }
}
