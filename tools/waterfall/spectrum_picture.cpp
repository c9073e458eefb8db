#include "waterfall/layout.h"
#include "waterfall/pictures.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace waterfall {

namespace {

constexpr Colour grid_colour{0xDD, 0xDD, 0xDD};

constexpr Colour slope_colour{0xEE, 0xEE, 0xEE};

/// Where a channel's filter takes away: nothing there is at its level.
void draw_slopes(Canvas& canvas, const SpectrumLayout& layout, const Analysis& a)
{
    const Plot& plot = layout.plot;
    const int low = plot.x(layout.frequency, a.low_hz() + a.slope_hz);
    const int high = plot.x(layout.frequency, a.high_hz() - a.slope_hz);
    if (a.slope_hz == 0)
        return;
    canvas.fill(plot.left, plot.top, low - plot.left, plot.height, slope_colour);
    canvas.fill(high, plot.top, plot.left + plot.width - high, plot.height, slope_colour);
}

void draw_grid(Canvas& canvas, const SpectrumLayout& layout)
{
    const Plot& plot = layout.plot;
    for (const Tick& tick : layout.frequency.ticks)
        canvas.fill(plot.x(layout.frequency, tick.value), plot.top, 1, plot.height, grid_colour);
    for (const Tick& tick : layout.level.ticks)
        canvas.fill(plot.left, plot.y_up(layout.level, tick.value), plot.width, 1, grid_colour);
}

/// Pixel column by pixel column, from the lowest to the highest bin in it and on to the next
/// column: neither a line of one bin nor the depth of the noise is lost.
void draw_curve(Canvas& canvas, const SpectrumLayout& layout, const std::vector<float>& db,
                Colour colour)
{
    const Plot& plot = layout.plot;
    const auto width = static_cast<std::size_t>(plot.width);
    const auto y = [&](float level) { return plot.y_up(layout.level, static_cast<double>(level)); };
    int before_top = 0;
    int before_bottom = 0;
    for (std::size_t x = 0; x < width; ++x) {
        const std::size_t first = x * db.size() / width;
        const std::size_t last = std::max(first + 1, (x + 1) * db.size() / width);
        const auto [low, high] = std::minmax_element(db.data() + first, db.data() + last);
        const int top = y(*high);
        const int bottom = y(*low);
        const int px = plot.left + static_cast<int>(x);
        // Joined to the column before, so that steep flanks are closed.
        const int from = x == 0 ? top : std::min(top, before_bottom);
        const int to = x == 0 ? bottom : std::max(bottom, before_top);
        canvas.fill(px, from, 1, to - from + 1, colour);
        before_top = top;
        before_bottom = bottom;
    }
}

void draw_floor(Canvas& canvas, const SpectrumLayout& layout, double floor_db)
{
    constexpr int dash = 8;
    const Plot& plot = layout.plot;
    if (!(floor_db >= layout.level.low && floor_db <= layout.level.high))
        return;
    const int y = plot.y_up(layout.level, floor_db);
    for (int x = 0; x < plot.width; x += 2 * dash)
        canvas.fill(plot.left + x, y, std::min(dash, plot.width - x), 2, floor_colour);
}

/// The numbers of the report's lines, above the peak spectrum where they find room.
void draw_numbers(Canvas& canvas, const SpectrumLayout& layout, const Analysis& a)
{
    constexpr int room = 8;
    const Plot& plot = layout.plot;
    const auto bins = static_cast<double>(a.peak_db.size());
    std::vector<int> taken;
    for (std::size_t i = 0; i < a.lines.size(); ++i) {
        const int x = plot.x(layout.frequency, a.lines[i].frequency);
        if (std::any_of(taken.begin(), taken.end(),
                        [&](int t) { return std::abs(t - x) < 2 * room; }))
            continue;
        taken.push_back(x);
        const auto bin = [&](int pixel) {
            const double share = static_cast<double>(pixel - plot.left) / plot.width;
            return static_cast<std::size_t>(std::clamp(share * bins, 0.0, bins));
        };
        const std::size_t first = std::min(bin(x - room), a.peak_db.size() - 1);
        const std::size_t last = std::max(bin(x + room), first + 1);
        const float peak = *std::max_element(a.peak_db.data() + first, a.peak_db.data() + last);
        const int y = plot.y_up(layout.level, static_cast<double>(peak)) - 5;
        canvas.text_with_halo(x, std::max(y, plot.top + label_size + 2), std::to_string(i + 1),
                              {ink, label_size, Anchor::middle}, paper);
    }
}

/// Above the plot, from the right: it hides nothing.
void draw_legend(Canvas& canvas, const Plot& plot, const Analysis& a)
{
    struct Entry {
        Colour colour;
        std::string text;
    };
    const std::string floor = !std::isnan(a.floor_db) ? fmt::format("floor {:.1f} dBFS", a.floor_db)
                              : a.levels.peak > 0     ? "no floor"
                                                      : "silence: no floor";
    const Entry entries[] = {{floor_colour, floor}, {mean_colour, "mean"}, {peak_colour, "peak"}};
    constexpr int swatch = 22;
    constexpr int baseline = 26;
    int right = plot.left + plot.width;
    for (const Entry& entry : entries) {
        right -= text_width(entry.text, label_size);
        canvas.text(right, baseline, entry.text, {ink, label_size});
        right -= swatch + 8;
        canvas.fill(right, baseline - label_size / 2 - 1, swatch, 3, entry.colour);
        right -= 24;
    }
}

} // namespace

std::vector<unsigned char> spectrum_picture(const Analysis& analysis, Kind kind)
{
    const SpectrumLayout layout(analysis);
    Canvas canvas(layout.width, layout.height, paper, kind);
    draw_title(canvas, layout.plot, analysis);
    draw_slopes(canvas, layout, analysis);
    draw_grid(canvas, layout);
    draw_curve(canvas, layout, analysis.peak_db, peak_colour);
    draw_curve(canvas, layout, analysis.mean_db, mean_colour);
    draw_floor(canvas, layout, analysis.floor_db);
    draw_numbers(canvas, layout, analysis);
    draw_legend(canvas, layout.plot, analysis);
    draw_frame(canvas, layout.plot);
    draw_frequencies(canvas, layout.plot, layout.frequency, analysis);
    draw_y_axis(canvas, layout.plot, layout.level, "Level (dBFS)", false);
    return canvas.file();
}

} // namespace waterfall
