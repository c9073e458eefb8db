#include "waterfall/layout.h"

#include "waterfall/units.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace waterfall {

namespace {

constexpr int left_margin = 86;
constexpr int right_margin = 40;
constexpr int top_margin = 110;
constexpr int bottom_margin = 62;
constexpr int bar_gap = 24;
constexpr int bar_margin = 74; // right of the bar, for its labels
constexpr int x_step = 90;     // pixels for a frequency label
constexpr int y_step = 50;
constexpr double least_clock = 10; // seconds: shorter ones are counted from the start

int plot_width(std::size_t columns)
{
    const int n = static_cast<int>(columns);
    if (n <= most_width)
        return n * (most_width / n);
    const int shared = (n + most_width - 1) / most_width;
    return (n + shared - 1) / shared;
}

int plot_height(std::size_t rows)
{
    const int n = static_cast<int>(rows);
    return n * std::max(1, (least_height + n - 1) / n);
}

/// The ends of the rows: a row stands for the middles of its frames, half a hop to both sides.
Axis row_times(const Analysis& a)
{
    const double hop = static_cast<double>(a.settings.hop()) / a.rate;
    const double frame = static_cast<double>(a.settings.fft) / a.rate;
    const double start = (frame - hop) / 2;
    const double row = hop * static_cast<double>(a.waterfall.frames_per_row);
    const double end = start + row * static_cast<double>(a.waterfall.rows);
    const int pixels = plot_height(a.waterfall.rows);
    if (a.recording.time && end - start >= least_clock)
        return clock_axis(start, end, pixels / y_step, *a.recording.time);
    return time_axis(start, end, pixels / y_step, 1.5 * (end - start) / pixels);
}

/// From below the noise to above the highest peak, in tens. The lowest bins (notches) may fall out.
Axis spectrum_levels(const Analysis& a, int pixels)
{
    std::vector<float> sorted = a.mean_db;
    const auto low = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 100);
    std::nth_element(sorted.begin(), low, sorted.end());
    const double high = static_cast<double>(*std::max_element(a.peak_db.begin(), a.peak_db.end()));
    const double bottom = std::floor((static_cast<double>(*low) - 3) / 10) * 10;
    const double top = std::max(std::ceil((high + 3) / 10) * 10, bottom + 10);
    return level_axis(bottom, top, pixels / 40);
}

std::string plural(std::uint64_t n, const char* one)
{
    return fmt::format("{} {}{}", n, one, n == 1 ? "" : "s");
}

} // namespace

WaterfallLayout::WaterfallLayout(const Analysis& a)
    : plot{left_margin, top_margin, plot_width(a.waterfall.columns), plot_height(a.waterfall.rows)},
      bar{plot.left + plot.width + bar_gap, plot.top, bar_width, plot.height},
      width(bar.left + bar.width + bar_margin), height(plot.top + plot.height + bottom_margin),
      frequency(frequency_axis(a.low_hz(), a.high_hz(), plot.width / x_step)), time(row_times(a)),
      level(level_axis(a.waterfall.low_db, a.waterfall.high_db, plot.height / y_step))
{
}

SpectrumLayout::SpectrumLayout(const Analysis& a)
    : plot{left_margin, top_margin, 1040, 480}, width(plot.left + plot.width + right_margin),
      height(plot.top + plot.height + bottom_margin),
      frequency(frequency_axis(a.low_hz(), a.high_hz(), plot.width / x_step)),
      level(spectrum_levels(a, plot.height))
{
}

void draw_frequencies(Canvas& canvas, const Plot& plot, const Axis& axis, const Analysis& a)
{
    const double center = a.recording.center;
    const bool real = !is_complex(a.recording.format);
    if (center == 0) {
        draw_x_axis(canvas, plot, axis, real ? "Frequency" : "Offset from the centre");
        return;
    }
    draw_x_axis(canvas, plot, axis, "Frequency");
    const Axis offset = frequency_axis(axis.low - center, axis.high - center, plot.width / x_step);
    draw_top_axis(canvas, plot, offset, "Offset from " + frequency_text(center, 9));
}

std::string time_title(const Analysis& a, const Axis& time)
{
    if (!a.recording.time)
        return "Time (" + time.unit + ")";
    if (time.unit == "UTC")
        return "Time (UTC), from " + date_text(*a.recording.time);
    return fmt::format("Time ({}) after {} {} UTC", time.unit, date_text(*a.recording.time),
                       clock_text(*a.recording.time, 3));
}

void draw_title(Canvas& canvas, const Plot& plot, const Analysis& a)
{
    const Settings& s = a.settings;
    canvas.text(plot.left, 26, a.recording.name, {ink, title_size});
    std::string what =
        fmt::format("{}, {}, {}; transforms of {} ({}), {} in {}", a.recording.coding,
                    with_unit(a.recording.rate, "S/s"), duration_text(a.seconds()), s.fft, s.window,
                    plural(a.frames, "frame"), plural(a.waterfall.rows, "row"));
    if (a.waterfall.bins_per_column > 1)
        what += fmt::format("; column: {} of {} bins", s.reduce, a.waterfall.bins_per_column);
    if (s.max_hold)
        what += "; rows: max hold";
    if (s.has_channel())
        what += fmt::format("; channel at {}, decimated by {}",
                            frequency_text(s.channel.value_or(0), 6), s.decimate);
    if (a.interrupted)
        what += "; interrupted";
    canvas.text(plot.left, 46, what, {faint_ink, label_size});
}

} // namespace waterfall
