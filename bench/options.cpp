#include "bench/options.h"

#include "bench/chain.h"
#include "bench/peers.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <iostream>
#include <regex>

namespace bench {
namespace {

const char* const about =
    "Measures every variant of every libsimd kernel on this machine, beside what one would use\n"
    "instead: plain loops by two compilers and, where they are installed, other libraries.\n"
    "\n"
    "Each result is checked before it is timed. Then all contestants of a row run in turns, and a\n"
    "ratio is the median of the rounds' ratios: 2.00 means that the other takes twice our time. "
    "The\n"
    "exit status is 1 if a result is wrong or --compare finds a slower row, 2 if the request is.\n";

const char* const examples =
    "A row is one kernel, level, size, place and kind of lengths. Places: aligned (all arrays on\n"
    "64-byte boundaries), together (each one element off), crossed (they lie differently).\n"
    "Cycles are taken from a chain of multiplications, each said to last 3 cycles; \"/bound\" is\n"
    "cycles over the least that the kernel's contract leaves on this kind of processor in the\n"
    "first-level cache (\"-\": no bound is known).\n"
    "\n"
    "Examples:\n"
    "  simd-bench --filter fir_step               the kernels named so, every level\n"
    "  simd-bench --levels avx --sizes 64,16Ki    short and long blocks at AVX\n"
    "  simd-bench --groups chain --png chain.png  streaming filters, quantising, with a picture\n"
    "  simd-bench --groups threads --threads 2    how one and two threads fare\n"
    "  simd-bench --full --json new.json          everything; about an hour\n"
    "  simd-bench --json new.json --compare old.json --tolerance 0.05\n"
    "Close other programs before: what they take is missing here.\n";

std::vector<std::size_t> sizes_of(const std::vector<std::string>& texts)
{
    std::vector<std::size_t> sizes;
    for (const std::string& text : texts) {
        const std::size_t n = size_of(text);
        if (n < 64 || n % 64 != 0 || n > std::size_t{1} << 30)
            throw std::invalid_argument(text + ": a size is a multiple of 64, at most 1024Mi");
        sizes.push_back(n);
    }
    return sizes;
}

template <class Item>
Item named(const std::string& text, const auto& all, const char* what)
{
    for (const Item item : all)
        if (name(item) == text)
            return item;
    throw std::invalid_argument(text + ": no such " + what);
}

/// What was given as texts, filled in; throws std::invalid_argument.
struct Texts {
    std::vector<std::string> sizes = {"64", "1Ki", "16Ki", "256Ki"};
    std::vector<std::string> levels, places, lengths, groups;
    bool full = false;

    void fill(Options& options) const
    {
        Selection& s = options.selection;
        s.sizes = sizes_of(sizes);
        if (full)
            s.sizes = {64, 1024, 16384, 262144, 4194304, 67108864};
        if (!levels.empty())
            s.levels.clear();
        for (const std::string& text : levels)
            s.levels.push_back(named<Level>(text, rig::all_levels, "level"));
        if (!places.empty())
            s.places.clear();
        for (const std::string& text : places)
            s.places.push_back(named<Place>(text, all_places, "place"));
        if (!lengths.empty())
            s.lengths = lengths;
        if (full)
            options.groups = {"kernels", "chain", "threads"};
        if (!groups.empty())
            options.groups = {groups.begin(), groups.end()};
        try {
            std::regex{s.filter};
        } catch (const std::regex_error&) {
            throw std::invalid_argument(s.filter + ": not a regular expression");
        }
    }
};

void add_selection(CLI::App& app, Options& options, Texts& texts)
{
    const char* const group = "What is measured";
    app.add_option("--groups", texts.groups,
                   "kernels, chain, threads (kernels,chain; with --full all)")
        ->delimiter(',')
        ->check(CLI::IsMember({"kernels", "chain", "threads"}))
        ->group(group);
    app.add_option("--filter", options.selection.filter,
                   "Only rows whose name (see --list) holds this regular expression")
        ->group(group);
    app.add_option("--sizes", texts.sizes,
                   "Elements of a call, multiples of 64 (64,1Ki,16Ki,256Ki)")
        ->delimiter(',')
        ->group(group);
    app.add_flag("--full", texts.full, "All sizes, 64 to 64Mi, and all groups; wants 5 GB")
        ->group(group);
    app.add_option("--levels", texts.levels, "base, sse, sse2, sse3, ssse3, sse41, avx, avx2 (all)")
        ->delimiter(',')
        ->group(group);
    app.add_option("--places", texts.places, "aligned, together, crossed (all)")
        ->delimiter(',')
        ->group(group);
    app.add_option("--lengths", texts.lengths,
                   "fixed, shuffled: each call another length, of the same mean (both)")
        ->delimiter(',')
        ->check(CLI::IsMember({"fixed", "shuffled"}))
        ->group(group);
    app.add_option("--threads", options.selection.threads, "Threads of the threads group (2)")
        ->check(CLI::Range(2, 256))
        ->group(group);
    app.add_option("--library", options.library, "Another libsimd.so than the installed one")
        ->check(CLI::ExistingFile)
        ->group(group);
}

void add_measurement(CLI::App& app, Options& options)
{
    const char* const group = "How";
    app.add_option("--rounds", options.pace.rounds, "Rounds that medians are taken over (9)")
        ->check(CLI::Range(1, 1000))
        ->group(group);
    app.add_option_function<double>(
           "--time", [&options](const double& ms) { options.pace.seconds = ms / 1e3; },
           "Milliseconds per contestant and round (1)")
        ->check(CLI::Range(1e-3, 1e4))
        ->group(group);
    app.add_option("--bounds", options.bounds, "Another table of bounds, as bench/bounds.txt")
        ->check(CLI::ExistingFile)
        ->group(group);
}

void add_results(CLI::App& app, Options& options)
{
    const char* const group = "What becomes of it";
    app.add_option("--json", options.json, "Everything, into a file (-: instead of the table)")
        ->group(group);
    app.add_option("--csv", options.csv, "A line per row, into a file")->group(group);
    app.add_option("--png", options.png, "Bar charts, into a file; wants python3-matplotlib")
        ->group(group);
    app.add_option("--compare", options.compare,
                   "An older --json file: report rows that take more cycles now")
        ->check(CLI::ExistingFile)
        ->group(group);
    app.add_option("--tolerance", options.tolerance, "How much more is let pass, as a share (0.1)")
        ->check(CLI::Range(0.0, 10.0))
        ->group(group);
    app.add_option("--from", options.from, "Measure nothing: take the rows from a --json file")
        ->check(CLI::ExistingFile)
        ->group(group);
    app.add_flag("--list", options.list, "Only name the rows")->group(group);
    app.add_flag("--quiet", options.quiet, "No table and no progress bar")->group(group);
}

} // namespace

std::optional<Options> parse_options(int argc, const char* const* argv)
{
    Options options;
    Texts texts;
    bool peers_wanted = false;
    CLI::App app(about, "simd-bench");
    app.footer(examples);
    app.set_version_flag("--version", "simd-bench " LIBSIMD_VERSION);
    add_selection(app, options, texts);
    add_measurement(app, options);
    add_results(app, options);
    app.add_flag("--peers", peers_wanted,
                 "Show whom kernels run against, and what those do "
                 "differently");
    try {
        app.parse(argc, argv);
        texts.fill(options);
    } catch (const CLI::Success& e) {
        app.exit(e);
        return std::nullopt;
    } catch (const CLI::Error& e) {
        throw std::invalid_argument(e.what());
    }
    if (peers_wanted) {
        std::cout << peers_table();
        return std::nullopt;
    }
    return options;
}

std::string peers_table()
{
    std::string text =
        "Beside every variant stand the kernel's baseline and plain loops at -O3 for the same\n"
        "instruction set, by g++ and clang++, without and with -ffast-math; beside the highest\n"
        "variant also these. A result must be that of the plain loop, as far as said.\n\n";
    const auto line = [&text](const std::string& kernel, const std::string& library,
                              const std::string& calls, const std::string& difference) {
        text +=
            fmt::format("{:<20} {:<11} {}\n{:<32} {}\n", kernel, library, calls, "", difference);
    };
    for (const Peer& peer : peers()) {
        std::string what = peer.difference;
        what += what.empty() ? "" : "; ";
        what += (traits(peer.kernel).tolerance | peer.tolerance).text();
        line(peer.kernel, peer.library, peer.calls, what);
    }
    for (const ChainPeer& peer : chain_peers())
        line(peer.chain, peer.library, peer.calls, peer.difference);
    return text;
}

} // namespace bench
