// tools/waterfall/layout.h: where things stand in the two pictures.
#ifndef WATERFALL_LAYOUT_H
#define WATERFALL_LAYOUT_H

#include "waterfall/axes.h"
#include "waterfall/chain.h"

#include <string>

namespace waterfall {

/// Pixels of the waterfall: each row is a whole number of pixels high, and columns share a pixel
/// only where there are more than most_width.
constexpr int most_width = 1200;
constexpr int least_height = 560;
constexpr int bar_width = 18;

struct WaterfallLayout {
    Plot plot, bar;    // bar: the colour bar
    int width, height; // of the picture
    Axis frequency, time, level;

    explicit WaterfallLayout(const Analysis& analysis);
};

/// Of the three curves.
constexpr Colour mean_colour{0x1F, 0x4E, 0x9E};
constexpr Colour peak_colour{0xE8, 0x8B, 0x2D};
constexpr Colour floor_colour{0x2E, 0x8B, 0x57};

struct SpectrumLayout {
    Plot plot;
    int width, height;
    Axis frequency, level;

    explicit SpectrumLayout(const Analysis& analysis);
};

/// "Offset from 1090 MHz" above the plot, "Frequency" below; just an offset where the centre is
/// unknown.
void draw_frequencies(Canvas& canvas, const Plot& plot, const Axis& axis, const Analysis& analysis);

/// "Time (ms) after 2026-01-02 03:04:05.678 UTC" where that is known.
std::string time_title(const Analysis& analysis, const Axis& time);

/// Two lines: the name, and what was done.
void draw_title(Canvas& canvas, const Plot& plot, const Analysis& analysis);

} // namespace waterfall

#endif // WATERFALL_LAYOUT_H
