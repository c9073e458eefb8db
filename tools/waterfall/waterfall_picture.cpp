#include "waterfall/annotations.h"
#include "waterfall/layout.h"
#include "waterfall/pictures.h"

#include <algorithm>

namespace waterfall {

namespace {

/// Several columns share a pixel: the strongest is shown, or a thin line would come and go.
void draw_rows(Canvas& canvas, const Plot& plot, const Waterfall& rows, double slope)
{
    const auto veiled = [](Colour c) { // the slope of a channel's filter
        const auto mixed = [](std::uint8_t x) {
            return static_cast<std::uint8_t>((x + 3 * 160) / 4);
        };
        return Colour{mixed(c.r), mixed(c.g), mixed(c.b)};
    };
    const auto width = static_cast<std::size_t>(plot.width);
    const int row_height = plot.height / static_cast<int>(rows.rows);
    std::vector<Colour> row(width);
    std::vector<Colour> pixels;
    pixels.reserve(width * static_cast<std::size_t>(plot.height));
    for (std::size_t r = 0; r < rows.rows; ++r) {
        const std::uint8_t* const codes = rows.codes.data() + r * rows.columns;
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t first = x * rows.columns / width;
            const std::size_t last = std::max(first + 1, (x + 1) * rows.columns / width);
            const std::uint8_t code = *std::max_element(codes + first, codes + last);
            const double at = (static_cast<double>(x) + 0.5) / static_cast<double>(width);
            const bool flat = at >= slope && at <= 1 - slope;
            row[x] = flat ? colour_map()[code] : veiled(colour_map()[code]);
        }
        for (int i = 0; i < row_height; ++i)
            pixels.insert(pixels.end(), row.begin(), row.end());
    }
    canvas.image(plot.left, plot.top, plot.width, plot.height, pixels);
}

void draw_bar(Canvas& canvas, const Plot& bar, const Axis& level)
{
    for (int y = 0; y < bar.height; ++y) {
        const int code = 255 - y * 255 / (bar.height - 1);
        canvas.fill(bar.left, bar.top + y, bar.width, 1,
                    colour_map()[static_cast<std::size_t>(code)]);
    }
    draw_frame(canvas, bar);
    for (const Tick& tick : level.ticks) {
        const int y = bar.y_up(level, tick.value);
        canvas.fill(bar.left + bar.width + 1, y, tick_length, 1, ink);
        canvas.text(bar.left + bar.width + tick_length + 6, y + label_size / 2, tick.label,
                    {ink, label_size});
    }
    canvas.text(bar.left, bar.top - 12, level.unit, {ink, label_size});
}

} // namespace

std::vector<unsigned char> waterfall_picture(const Analysis& analysis, Kind kind)
{
    const WaterfallLayout layout(analysis);
    Canvas canvas(layout.width, layout.height, paper, kind);
    draw_title(canvas, layout.plot, analysis);
    draw_rows(canvas, layout.plot, analysis.waterfall,
              analysis.slope_hz / (analysis.high_hz() - analysis.low_hz()));
    draw_annotations(canvas, layout.plot, layout.frequency, layout.time,
                     analysis.recording.annotations);
    draw_frame(canvas, layout.plot);
    draw_frequencies(canvas, layout.plot, layout.frequency, analysis);
    draw_y_axis(canvas, layout.plot, layout.time, time_title(analysis, layout.time), true);
    draw_bar(canvas, layout.bar, layout.level);
    return canvas.file();
}

} // namespace waterfall
