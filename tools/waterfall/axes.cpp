#include "waterfall/axes.h"

#include "waterfall/units.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>

namespace waterfall {

namespace {

struct Unit {
    double size;
    const char* name;
};

constexpr std::array<Unit, 4> frequency_units{
    {{1e9, "GHz"}, {1e6, "MHz"}, {1e3, "kHz"}, {1.0, "Hz"}}};
constexpr std::array<Unit, 6> time_units{
    {{3600.0, "h"}, {60.0, "min"}, {1.0, "s"}, {1e-3, "ms"}, {1e-6, "us"}, {1e-9, "ns"}}};
constexpr std::array<Unit, 1> level_units{{{1.0, "dBFS"}}};

/// The smallest round step that needs no more than `most` steps.
double round_step(double span, int most)
{
    const double least = span / std::max(most, 1);
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double digit : {1.0, 2.0, 5.0})
        if (digit * power >= least * (1 - 1e-9))
            return digit * power;
    return 10 * power;
}

/// The largest unit in which the largest value is at least `from`.
template <std::size_t n>
Unit fitting(const std::array<Unit, n>& units, double largest, double from)
{
    const auto found = std::find_if(units.begin(), units.end(),
                                    [&](const Unit& u) { return largest >= from * u.size; });
    return found == units.end() ? units.back() : *found;
}

/// slack: how far out of the axis a tick may lie, to stand at its end.
Axis make_axis(double low, double high, int most, Unit unit, double slack = 0)
{
    Axis axis{low, high, unit.name, {}};
    const double span = (high - low) / unit.size;
    if (!(span > 0) || !std::isfinite(span))
        return axis;
    const double step = round_step(span, most);
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    const double first = std::ceil((low - slack) / unit.size / step - 1e-9);
    const double last = std::floor((high + slack) / unit.size / step + 1e-9);
    // Counted, not added up: far from zero `first + 1` may be `first`, and then there is no tick to tell.
    const int ticks = std::min(most + 2, static_cast<int>(last - first) + 1);
    for (int i = 0; i < ticks && first + 1 > first; ++i) {
        const double value = (first + i) * step + 0.0; // no negative zero
        axis.ticks.push_back({value * unit.size, fmt::format("{:.{}f}", value, decimals)});
    }
    return axis;
}

// GHz only from 10 GHz on: 1090 MHz is what people say.
Unit frequency_unit(double top, double from)
{
    const Unit unit = fitting(frequency_units, top, from);
    return unit.size == 1e9 && top < 1e10 ? frequency_units[1] : unit;
}

double largest(double low, double high) { return std::max(std::abs(low), std::abs(high)); }

std::string with(const std::string& title, const Axis& axis)
{
    return title + " (" + axis.unit + ")";
}

// Each how many-th label has room beside the last.
std::size_t label_step(const Plot& plot, const Axis& axis)
{
    if (axis.ticks.size() < 2)
        return 1;
    int widest = 0;
    for (const Tick& tick : axis.ticks)
        widest = std::max(widest, text_width(tick.label, label_size));
    const int apart = plot.x(axis, axis.ticks[1].value) - plot.x(axis, axis.ticks[0].value);
    return static_cast<std::size_t>((widest + 12) / std::max(apart, 1) + 1);
}

} // namespace

int Axis::pixel(double value, int pixels) const
{
    const double share = high > low ? (value - low) / (high - low) : 0.0;
    // A value on the border of two pixels belongs to the second, whatever the last bit says.
    const double at = std::clamp(std::floor(share * pixels + 1e-6), 0.0, pixels - 1.0);
    return static_cast<int>(at);
}

Axis frequency_axis(double low, double high, int most)
{
    return make_axis(low, high, most, frequency_unit(largest(low, high), 2.0));
}

std::string frequency_text(double hz, int digits)
{
    const Unit unit = frequency_unit(std::abs(hz), 1.0);
    return fmt::format("{:.{}g} {}", hz / unit.size, digits, unit.name);
}

Axis time_axis(double low, double high, int most, double slack)
{
    return make_axis(low, high, most, fitting(time_units, largest(low, high), 2.0), slack);
}

Axis clock_axis(double low, double high, int most, std::int64_t time)
{
    Axis axis{low, high, "UTC", {}};
    std::int64_t step = 86400;
    for (const int s :
         {1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200})
        if ((high - low) / s <= most) {
            step = s;
            break;
        }
    while ((high - low) / static_cast<double>(step) > std::max(most, 1) && step < 1'000'000'000)
        step *= 2;
    constexpr std::int64_t nano = 1'000'000'000;
    const double zero =
        static_cast<double>(time % (step * nano)) / 1e9; // seconds after a round time
    const auto length = static_cast<double>(step);
    const double first = std::ceil((low + zero) / length);
    for (int i = 0; i <= most; ++i) {
        const double at = (first + i) * length - zero;
        if (at > high)
            break;
        const std::int64_t when = time + std::llround(at * 1e3) * 1'000'000;
        const std::int64_t rounded = (when + nano / 2) / nano * nano;
        axis.ticks.push_back({at, clock_text(rounded, 0).substr(0, step < 60 ? 8 : 5)});
    }
    return axis;
}

Axis level_axis(double low, double high, int most)
{
    return make_axis(low, high, most, level_units.front());
}

void draw_frame(Canvas& canvas, const Plot& plot)
{
    canvas.outline(plot.left - 1, plot.top - 1, plot.width + 2, plot.height + 2, ink);
}

void draw_x_axis(Canvas& canvas, const Plot& plot, const Axis& axis, const std::string& title)
{
    const int below = plot.top + plot.height + 1;
    const std::size_t step = label_step(plot, axis);
    std::size_t number = 0;
    for (const Tick& tick : axis.ticks) {
        const int x = plot.x(axis, tick.value);
        canvas.fill(x, below, 1, tick_length, ink);
        if (number++ % step == 0)
            canvas.text(x, below + tick_length + label_size + 5, tick.label,
                        {ink, label_size, Anchor::middle});
    }
    canvas.text(plot.left + plot.width / 2, below + tick_length + 3 * label_size + 7,
                with(title, axis), {ink, label_size, Anchor::middle});
}

void draw_top_axis(Canvas& canvas, const Plot& plot, const Axis& axis, const std::string& title)
{
    const int above = plot.top - 1 - tick_length;
    const std::size_t step = label_step(plot, axis);
    std::size_t number = 0;
    for (const Tick& tick : axis.ticks) {
        const int x = plot.x(axis, tick.value);
        canvas.fill(x, above, 1, tick_length, faint_ink);
        if (number++ % step == 0)
            canvas.text(x, above - 4, tick.label, {faint_ink, label_size, Anchor::middle});
    }
    canvas.text(plot.left + plot.width / 2, above - 4 - label_size - 9, with(title, axis),
                {faint_ink, label_size, Anchor::middle});
}

void draw_y_axis(Canvas& canvas, const Plot& plot, const Axis& axis, const std::string& title,
                 bool down)
{
    const int beside = plot.left - 1 - tick_length;
    for (const Tick& tick : axis.ticks) {
        const int y = down ? plot.y_down(axis, tick.value) : plot.y_up(axis, tick.value);
        canvas.fill(beside, y, tick_length, 1, ink);
        canvas.text(beside - 4, y + label_size / 2, tick.label, {ink, label_size, Anchor::right});
    }
    canvas.text(22, plot.top + plot.height / 2, title, {ink, label_size, Anchor::middle, true});
}

} // namespace waterfall
