#include "waterfall/options.h"

#include "waterfall/source_parts.h"
#include "waterfall/units.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <limits>
#include <type_traits>

namespace waterfall {
namespace {

constexpr const char* description = R"(
simd-waterfall: pictures and figures of a radio recording.

Reads samples, splits them into overlapping frames, transforms each, and draws
a waterfall (frequency across, time down, power as colour) and a spectrum
(mean, peak and floor). Prints the strongest lines. Without INPUT it shows a
generated band, so it can be tried at once.
)";

constexpr const char* footer = R"(
Numbers may end in k, M or G, and in Ki or Mi: 2.4M is 2400000, 4Ki is 4096.
Levels are dB of full scale (dBFS): a carrier that just fits is at 0 dB.

Formats of raw samples (I and Q interleaved, little-endian):
  cu8 cs8 cu16 cs16 cs24 cu32 cs32   unsigned and signed integers
  cf32 cf64                          floating point
  without c one real channel, with be at the end the other byte order: s16be;
  SigMF's names (ci16_le) and file extensions such as sc16 and cfile as well

Examples:
  simd-waterfall                                   the generated band
  simd-waterfall capture.sigmf-meta                SigMF says rate and frequency
  simd-waterfall capture.cs16 --rate 2.4M --center 100.5M
  simd-waterfall capture.wav --fft 4096 --json -   figures on standard output
  simd-waterfall capture.cu8 --rate 2M --channel -100k --decimate 8
  receiver | simd-waterfall - --format cu8 --rate 2M --waterfall now.png

Ctrl-C ends the reading and shows what was read until then; a second one ends
at once. Exit status: 0, 1 for an input or output that failed, 2 for options
that cannot be, 130 after Ctrl-C.
)";

template <typename T>
struct ValueOf {
    using Type = T;
};
template <typename T>
struct ValueOf<std::optional<T>> {
    using Type = T;
};
template <typename T>
using Value = typename ValueOf<T>::Type;
template <typename T>
constexpr bool is_count = std::is_integral_v<Value<T>>;

// An option that takes a number, with a suffix or without; what is counted takes no other.
template <typename Target>
CLI::Option* add_number(CLI::App& app, const std::string& name, Target& target,
                        const std::string& text)
{
    const auto set = [&target, name](const std::string& value) {
        if constexpr (is_count<Target>) {
            const std::optional<std::uint64_t> count = parse_count(value);
            if (!count || *count > std::numeric_limits<Value<Target>>::max())
                throw Error(fmt::format("{}: '{}' is not a count", name, value));
            target = static_cast<Value<Target>>(*count);
        } else {
            const std::optional<double> number = parse_number(value);
            if (!number)
                throw Error(fmt::format("{}: '{}' is not a number", name, value));
            target = *number;
        }
    };
    return app.add_option_function<std::string>(name, set, text);
}

void add_span(CLI::App& app, const std::string& name, std::optional<Span>& target,
              const std::string& text)
{
    const auto set = [&target, name](const std::string& value) {
        target = parse_span(value);
        if (!target)
            throw Error(fmt::format("{}: '{}' is no time such as 90, 12m, 1:02:03.5 or 4000S", name,
                                    value));
    };
    app.add_option_function<std::string>(name, set, text)->option_text("TIME")->group("Input");
}

void add_input(CLI::App& app, Options& o)
{
    const char* group = "Input";
    app.add_option("INPUT", o.request.input,
                   "SigMF (NAME.sigmf-meta, NAME.sigmf-data, NAME, or an\n"
                   "archive: NAME.sigmf, .tar.gz, ...), WAV and other\n"
                   "sound (two channels: I and Q), raw samples (NAME.cu8\n"
                   ".cs16 .cfile ..., also .gz .xz .zst), - for standard input")
        ->option_text(" ")
        ->group(group);
    app.add_option("--format", o.request.format, "of raw samples; default: the file's extension")
        ->option_text("NAME")
        ->group(group);
    add_span(app, "--start", o.request.start, "where to begin: 90, 12m, 1:02:03.5; 4000S: samples");
    add_span(app, "--duration", o.request.duration, "how much to show, in the same units");
    add_number(app, "--input-channel", o.request.channel, "of several, from 1; default 1")
        ->option_text("N")
        ->group(group);
    app.add_flag(
           "--strict", o.request.strict,
           "what is missing or wrong in INPUT is an error;\ndefault: said, and the rest is shown")
        ->group(group);
    add_number(app, "--rate", o.request.rate, "samples per second; default: what INPUT says, or 1")
        ->option_text("S/s")
        ->group(group);
    add_number(app, "--center", o.request.center, "in the middle; default: what INPUT says, or 0")
        ->option_text("HZ")
        ->group(group);
}

void add_analysis(CLI::App& app, Settings& s)
{
    const char* group = "Analysis";
    const auto add = [&](const char* name, auto& target, const char* what, const char* text) {
        add_number(app, name, target, text)->option_text(what)->group(group);
    };
    add("--fft", s.fft, "N", "length of the transform, multiple of 16; default 2048");
    add("--overlap", s.overlap, "SHARE", "of a frame that the next repeats; default 0.5");
    app.add_option("--window", s.window, "hann, hamming, blackman, flattop, rect; default hann")
        ->option_text("NAME")
        ->group(group);
    add("--average", s.average, "SHARE",
        "smooths the rows over time by y += SHARE * (x - y);\n"
        "default 1: not at all");
    add("--smooth", s.smooth, "N",
        "taps of the smoothing along the spectrum, odd;\n"
        "default 9");
    add("--channel", s.channel, "HZ",
        "shows only the channel this far from the middle,\n"
        "filtered");
    add("--decimate", s.decimate, "N", "keeps one of N samples of that channel; default 1");
    add("--threads", s.threads, "N",
        "threads that transform; default: the processors,\nup to 16; the figures do not depend on "
        "it");
    add("--bursts", s.bursts, "N", "bursts reported, the strongest; default 10");
    add("--lines", s.lines, "N", "lines reported, strongest first; default 10");
}

struct Pictures {
    std::string waterfall, spectrum;
    bool none = false, svg = false;
};

void add_output(CLI::App& app, Options& o, Pictures& pictures)
{
    const char* group = "Output";
    app.add_option("--waterfall", pictures.waterfall,
                   "default: NAME-waterfall.png in this folder;\n- writes it to standard output")
        ->option_text("FILE")
        ->group(group);
    app.add_option("--spectrum", pictures.spectrum,
                   "default: NAME-spectrum.png in this folder;\n- writes it to standard output")
        ->option_text("FILE")
        ->group(group);
    app.add_flag("--svg", pictures.svg, "pictures as SVG, as FILE.svg is anyway")->group(group);
    app.add_flag_callback(
           "--no-annotations", [&o] { o.request.annotations = false; },
           "do not draw the input's annotations")
        ->group(group);
    app.add_flag("--no-pictures", pictures.none, "figures only")->group(group);
    add_number(app, "--rows", o.settings.rows, "rows of the waterfall, at least; default 600")
        ->option_text("N")
        ->group(group);
    app.add_option("--reduce", o.settings.reduce,
                   "what a column shows of the bins that share it,\n"
                   "max or mean; default max")
        ->option_text("NAME")
        ->group(group);
    app.add_flag("--max-hold", o.settings.max_hold, "a row shows its strongest frame, not the mean")
        ->group(group);
    add_number(app, "--low", o.settings.low_db, "level of the darkest colour; default: from INPUT")
        ->option_text("DB")
        ->group(group);
    add_number(app, "--high", o.settings.high_db,
               "level of the brightest colour; default: from INPUT")
        ->option_text("DB")
        ->group(group);
    app.add_option("--json", o.json, "all figures; - writes them to standard output")
        ->option_text("FILE")
        ->group(group);
    app.add_option("--json-lines", o.json_lines, "the same in one line")
        ->option_text("FILE")
        ->group(group);
    app.add_flag("--timings", o.timings, "among the figures, which equal runs share without them")
        ->group(group);
    app.add_flag("--quiet", o.quiet, "print nothing but errors")->group(group);
}

// Where the pictures go if nobody says it: the input's name, in the current folder.
std::string picture_name(const std::string& input, const char* what, bool svg)
{
    const std::string stem = input.empty() ? "generated" : input == "-" ? "stdin" : title_of(input);
    return fmt::format("{}-{}.{}", stem, what, svg ? "svg" : "png");
}

void choose_pictures(Options& o, const Pictures& pictures)
{
    if (pictures.none && !(pictures.waterfall.empty() && pictures.spectrum.empty()))
        throw Error("--no-pictures: excludes --waterfall and --spectrum");
    if (pictures.none)
        return;
    const auto chosen = [&](const std::string& given, const char* what) {
        return given.empty() ? picture_name(o.request.input, what, pictures.svg) : given;
    };
    o.svg = pictures.svg;
    o.waterfall = chosen(pictures.waterfall, "waterfall");
    o.spectrum = chosen(pictures.spectrum, "spectrum");
}

// By any of its names, whether it exists or not.
bool same_file(const std::string& one, const std::string& other)
{
    namespace fs = std::filesystem;
    std::error_code none;
    return one == other || (one != "-" && other != "-" &&
                            (fs::equivalent(one, other, none) ||
                             fs::weakly_canonical(fs::absolute(one, none), none) ==
                                 fs::weakly_canonical(fs::absolute(other, none), none)));
}

void check_names(const Options& o)
{
    const std::vector<std::string> files = o.outputs();
    for (auto one = files.begin(); one != files.end(); ++one)
        if (std::any_of(one + 1, files.end(), [&](const auto& f) { return same_file(*one, f); }))
            throw Error((*one == "-" ? "standard output" : *one) + ": is the name of two outputs");
}

} // namespace

std::vector<std::string> Options::outputs() const
{
    std::vector<std::string> files = {waterfall, spectrum, json, json_lines};
    std::erase(files, "");
    return files;
}

std::optional<Options> parse_options(int argc, const char* const* argv)
{
    Options o;
    Pictures pictures;
    CLI::App app(std::string(description).substr(1), "simd-waterfall");
    app.footer(std::string(footer).substr(1));
    app.get_formatter()->column_width(24);
    app.set_help_flag("-h,--help", "print this and exit");
    app.set_version_flag("--version", std::string("simd-waterfall ") + LIBSIMD_VERSION,
                         "print the version and exit");
    add_input(app, o);
    add_analysis(app, o.settings);
    add_output(app, o, pictures);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) { // --help, --version
        app.exit(asked);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw Error(std::string(error.what()) + " (--help lists the options)");
    }
    choose_pictures(o, pictures);
    check_names(o);
    check_request(o.request);
    o.settings.check();
    return o;
}

} // namespace waterfall
