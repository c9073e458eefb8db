#include "waterfall/report.h"

#include "waterfall/axes.h"
#include "waterfall/units.h"

#include <array>
#include <cmath>
#include <cpuid.h>
#include <fmt/format.h>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace waterfall {

namespace {

using nlohmann::json;

/// Two decimals are what a level is worth.
double rounded(double db) { return std::round(db * 100) / 100; }

json recording_json(const Analysis& a)
{
    const Recording& r = a.recording;
    return {{"name", r.name},
            {"kind", r.kind},
            {"format", r.coding},
            {"rate_hz", r.rate},
            {"center_hz", r.center},
            {"time", r.time ? json(date_text(*r.time) + "T" + clock_text(*r.time, 9) + "Z")
                            : json(nullptr)},
            {"samples", a.samples},
            {"seconds", a.seconds()},
            {"assumed", r.assumed},
            {"warnings", r.warnings->lines()},
            {"annotations", r.annotations.size()},
            {"interrupted", a.interrupted}};
}

json settings_json(const Analysis& a)
{
    const Settings& s = a.settings;
    json out = {{"fft", s.fft},
                {"overlap", s.overlap},
                {"window", s.window},
                {"decimate", s.decimate},
                {"average", s.average},
                {"smooth", s.smooth},
                {"bin_hz", a.bin_hz},
                {"noise_bandwidth_hz", a.noise_hz},
                {"slope_hz", a.slope_hz},
                {"low_hz", a.low_hz()},
                {"high_hz", a.high_hz()},
                {"frames", a.frames},
                {"last_frame_samples", a.part_samples != 0 ? a.part_samples : s.fft},
                {"rows", a.waterfall.rows},
                {"reduce", s.reduce},
                {"max_hold", s.max_hold},
                {"bins_per_column", a.waterfall.bins_per_column},
                {"frames_per_row", a.waterfall.frames_per_row},
                {"picture_low_dbfs", a.waterfall.low_db},
                {"picture_high_dbfs", a.waterfall.high_db}};
    out["channel_hz"] = s.channel ? json(*s.channel) : json(nullptr);
    return out;
}

json levels_json(const Analysis& a)
{
    const Levels& l = a.levels;
    json out = {{"mean_dbfs", rounded(l.mean_db)},
                {"peak", l.peak},
                {"peak_dbfs", l.peak > 0 ? json(rounded(20 * std::log10(l.peak))) : json(nullptr)},
                {"clipped", l.clipped},
                {"clipped_share", l.clipped_share()}};
    if (a.recording.format == Format::cs16 || a.recording.format == Format::s16)
        out["mean_magnitude"] = l.mean_abs;
    return out;
}

json line_json(const Line& line, double center)
{
    return {{"frequency_hz", line.frequency},
            {"offset_hz", line.frequency - center},
            {"level_dbfs", rounded(line.level_db)},
            {"above_floor_db", rounded(line.above_db)},
            {"power_dbfs", rounded(line.power_db)},
            {"bandwidth_hz", line.bandwidth},
            {"low_hz", line.low},
            {"high_hz", line.high}};
}

/// Where the time went: whole per cents of the wall clock that add up to 100. The threads' work shares
/// the time of the analysis.
struct Shares {
    long reading, kernels, fft, pictures, rest;
};
Shares shares(const Analysis& a)
{
    const Timings& t = a.timings;
    const double whole = std::max(t.wall + t.output, 1e-9);
    const double per_second = t.work > 0 ? 100 * t.wall / (t.work * whole) : 0;
    const auto percent = [](double x) { return std::lround(x); };
    Shares s{percent(t.read * per_second), percent(t.kernels * per_second),
             percent(t.fft * per_second), percent(100 * t.output / whole), 0};
    s.rest = 100 - s.reading - s.kernels - s.fft - s.pictures;
    return s;
}

json timings_json(const Analysis& a)
{
    const Shares s = shares(a);
    return {{"seconds", a.timings.wall + a.timings.output},
            {"samples_per_second", a.samples_per_second()},
            {"threads", a.threads},
            {"reading_percent", s.reading},
            {"kernels_percent", s.kernels},
            {"fft_percent", s.fft},
            {"pictures_percent", s.pictures},
            {"rest_percent", s.rest}};
}

/// "floor -90.1 dBFS in 1.5 kHz (-121.9 dBFS/Hz)".
std::string floor_text(const Analysis& a)
{
    if (std::isnan(a.floor_db))
        return "no floor";
    return fmt::format("floor {:.1f} dBFS in {} ({:.1f} dBFS/Hz)", a.floor_db,
                       frequency_text(a.noise_hz, 4), a.floor_db - 10 * std::log10(a.noise_hz));
}

// As the library chooses them: leaf 7 with what leaf 0 left in ECX, or without it leaf 1's EBX.
std::vector<std::string> levels_installed()
{
    std::array<unsigned, 4> zero{}, one{}, seven{}; // EAX, EBX, ECX, EDX
    __cpuid(0, zero[0], zero[1], zero[2], zero[3]);
    __cpuid(1, one[0], one[1], one[2], one[3]);
    if (zero[0] >= 7)
        __cpuid_count(7, zero[2], seven[0], seven[1], seven[2], seven[3]);
    const std::pair<const char*, bool> levels[] = {
        {"sse", (one[3] & bit_SSE) != 0},
        {"sse2", (one[3] & bit_SSE2) != 0},
        {"sse3", (one[2] & bit_SSE3) != 0},
        {"ssse3", (one[2] & bit_SSSE3) != 0},
        {"sse41", (one[2] & bit_SSE4_1) != 0},
        {"avx", (one[2] & bit_AVX) != 0},
        {"avx2", ((zero[0] >= 7 ? seven[1] : one[1]) & bit_AVX2) != 0}};
    std::vector<std::string> names;
    for (const auto& [name, installed] : levels)
        if (installed)
            names.emplace_back(name);
    return names;
}

json burst_json(const Burst& burst, double center)
{
    return {{"start_s", burst.start},
            {"duration_s", burst.duration},
            {"center_hz", burst.center},
            {"offset_hz", burst.center - center},
            {"bandwidth_hz", burst.bandwidth},
            {"level_dbfs", rounded(burst.level_db)},
            {"above_floor_db", rounded(burst.above_db)}};
}

std::string burst_row(const Burst& burst)
{
    return fmt::format("{:>10.6f} s  {:>15}  {:>13}  {:>12}  {:>10.1f}  {:>10.1f}\n", burst.start,
                       frequency_text(burst.center, 9), duration_text(burst.duration),
                       frequency_text(burst.bandwidth, 4), burst.level_db, burst.above_db);
}

std::string line_row(std::size_t number, const Line& line, double center)
{
    const std::string above =
        std::isnan(line.above_db) ? "-" : fmt::format("{:.1f}", line.above_db);
    return fmt::format("{:>3}  {:>15}  {:>13}  {:>12}  {:>10.1f}  {:>9.1f}  {:>10}\n", number,
                       frequency_text(line.frequency, 9),
                       frequency_text(line.frequency - center, 5),
                       frequency_text(line.bandwidth, 4), line.power_db, line.level_db, above);
}

} // namespace

json to_json(const Analysis& a, bool with_timings)
{
    json lines = json::array();
    for (const Line& line : a.lines)
        lines.push_back(line_json(line, a.recording.center));
    json bursts = json::array();
    for (const Burst& burst : a.bursts)
        bursts.push_back(burst_json(burst, a.recording.center));
    json out = {{"version", LIBSIMD_VERSION},
                {"levels_installed", levels_installed()},
                {"recording", recording_json(a)},
                {"settings", settings_json(a)},
                {"floor",
                 {{"level_dbfs", rounded(a.floor_db)},
                  {"density_dbfs_per_hz", rounded(a.floor_db - 10 * std::log10(a.noise_hz))}}},
                {"levels", levels_json(a)},
                {"lines", lines},
                {"bursts", bursts},
                {"bursts_found", a.bursts_found}};
    if (with_timings)
        out["throughput"] = timings_json(a);
    return out;
}

std::string table(const Analysis& a)
{
    std::string out;
    const auto print = [&out](const std::string& line) { out += line + '\n'; };
    print(fmt::format("{} samples, {}; {} frames{} in {} rows{}", a.samples,
                      duration_text(a.seconds()), a.frames,
                      a.part_samples != 0 ? " (the last in part)" : "", a.waterfall.rows,
                      a.interrupted ? "; interrupted" : ""));
    if (a.levels.peak > 0)
        print(fmt::format("samples: mean {:.1f}, largest {:.1f} dBFS, clipped {:.2g} %; {}",
                          a.levels.mean_db, 20 * std::log10(a.levels.peak),
                          100 * a.levels.clipped_share(), floor_text(a)));
    else
        print("silence: every sample is 0; no floor");
    if (a.lines.empty())
        print(std::isnan(a.floor_db) ? "no line" : "no line stands out of the floor");
    else
        print(
            "  #        frequency         offset     bandwidth  power dBFS  line dBFS  over floor");
    for (std::size_t i = 0; i < a.lines.size(); ++i)
        out += line_row(i + 1, a.lines[i], a.recording.center);
    if (!a.bursts.empty()) {
        print(fmt::format("bursts: {}{}", a.bursts_found,
                          a.bursts_found > a.bursts.size() ? ", the strongest of them" : ""));
        print("       start        frequency       duration     bandwidth   peak dBFS  over floor");
    }
    for (const Burst& burst : a.bursts)
        out += burst_row(burst);
    const Shares s = shares(a);
    print(
        fmt::format("{:.3f} s, {:.1f} MS/s: reading {} %, kernels {} %, FFTW {} %, pictures {} %, "
                    "rest {} %; threads: {}",
                    a.timings.wall + a.timings.output, a.samples_per_second() / 1e6, s.reading,
                    s.kernels, s.fft, s.pictures, s.rest, a.threads));
    return out;
}

} // namespace waterfall
