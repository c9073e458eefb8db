// tools/waterfall/axes.h: where the ticks stand and what they say, and drawing them around a plot.
#ifndef WATERFALL_AXES_H
#define WATERFALL_AXES_H

#include "waterfall/canvas.h"

#include <cstdint>
#include <string>
#include <vector>

namespace waterfall {

struct Tick {
    double value;
    std::string label; // a number in the axis's unit
};

/// Ticks at round values within [low, high], in a unit that keeps the numbers short.
struct Axis {
    double low, high;
    std::string unit;
    std::vector<Tick> ticks;

    /// Pixel of a value on a stretch of so many pixels whose outer edges are low and high.
    int pixel(double value, int pixels) const;
};

/// Steps are 1, 2 or 5 times a power of ten, at most `most` of them.
Axis frequency_axis(double low, double high, int most);
/// "1090 MHz", "-66.2 kHz": in the unit that the axis would have.
std::string frequency_text(double hz, int digits);
/// slack: seconds that a tick may lie outside, to be drawn at the end: a first row that begins half
/// a frame late should still say 0.
Axis time_axis(double low, double high, int most, double slack);
/// Clock time at round seconds, minutes or hours, for at least some seconds; time: of 0.
Axis clock_axis(double low, double high, int most, std::int64_t time);
Axis level_axis(double low, double high, int most);

/// Where the data is drawn: left, top, width and height in pixels.
struct Plot {
    int left, top, width, height;

    int x(const Axis& axis, double value) const { return left + axis.pixel(value, width); }
    /// Values that grow downwards.
    int y_down(const Axis& axis, double value) const { return top + axis.pixel(value, height); }
    /// Values that grow upwards.
    int y_up(const Axis& axis, double value) const
    {
        return top + height - 1 - axis.pixel(value, height);
    }
};

/// Of the frame, one pixel around the plot, and the ticks, which leave it outwards.
constexpr Colour ink{0x22, 0x22, 0x22};
constexpr Colour faint_ink{0x66, 0x66, 0x66};
constexpr Colour paper{0xFF, 0xFF, 0xFF};
constexpr int tick_length = 5;
constexpr int label_size = 9;
constexpr int title_size = 12;

void draw_frame(Canvas& canvas, const Plot& plot);
void draw_x_axis(Canvas& canvas, const Plot& plot, const Axis& axis, const std::string& title);
/// The same above the plot.
void draw_top_axis(Canvas& canvas, const Plot& plot, const Axis& axis, const std::string& title);
/// down: values grow downwards, as time does in a waterfall.
void draw_y_axis(Canvas& canvas, const Plot& plot, const Axis& axis, const std::string& title,
                 bool down);

} // namespace waterfall

#endif // WATERFALL_AXES_H
