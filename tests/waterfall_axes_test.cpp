// Ticks, colours and text.
#include "waterfall/axes.h"
#include "waterfall/units.h"
#include "waterfall_pixels.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace waterfall;
using namespace waterfall_test;

namespace {

TEST(WaterfallAxes, TicksAreRoundAndInReadableUnits)
{
    const auto labels = [](const Axis& axis) {
        std::string all = axis.unit;
        for (const Tick& tick : axis.ticks)
            all += " " + tick.label;
        return all;
    };
    EXPECT_EQ(labels(frequency_axis(1089e6, 1091e6, 5)), "MHz 1089.0 1089.5 1090.0 1090.5 1091.0");
    EXPECT_EQ(labels(frequency_axis(-1e6, 1e6, 5)), "kHz -1000 -500 0 500 1000");
    EXPECT_EQ(labels(frequency_axis(0, 24000, 6)), "kHz 0 5 10 15 20");
    EXPECT_EQ(labels(frequency_axis(-0.5, 0.5, 4)), "Hz -0.5 0.0 0.5");
    EXPECT_EQ(labels(frequency_axis(24.0e9, 24.1e9, 2)), "GHz 24.00 24.05 24.10");
    EXPECT_EQ(labels(time_axis(0, 0.1784, 4, 0)), "ms 0 50 100 150");
    EXPECT_EQ(labels(time_axis(0.0005, 0.1784, 4, 0.001)), "ms 0 50 100 150");
    EXPECT_EQ(labels(time_axis(0.0005, 0.1784, 4, 0)), "ms 50 100 150");
    EXPECT_EQ(labels(time_axis(0, 9e-5, 3, 0)), "us 0 50");
    EXPECT_EQ(labels(time_axis(0, 7200, 4, 0)), "h 0.0 0.5 1.0 1.5 2.0");
    EXPECT_EQ(labels(level_axis(-97, -41, 6)), "dBFS -90 -80 -70 -60 -50");
}

// Where doubles are further apart than ticks, there are none, and no endless search for the next.
TEST(WaterfallAxes, FarFromZero)
{
    EXPECT_LE(frequency_axis(1e15 - 0.5, 1e15 + 0.5, 10).ticks.size(), 12U);
    EXPECT_LE(frequency_axis(1e18, 1.000000000001e18, 10).ticks.size(), 12U);
    EXPECT_EQ(frequency_axis(1e13, 1e13 + 4, 4).ticks.size(), 5U);
}

TEST(WaterfallAxes, ColoursRiseEvenly)
{
    const auto& map = colour_map();
    const auto light = [](Colour c) {
        const auto linear = [](int v) { return std::pow(v / 255.0, 2.2); };
        return std::cbrt(0.2126 * linear(c.r) + 0.7152 * linear(c.g) + 0.0722 * linear(c.b));
    };
    for (std::size_t i = 1; i < map.size(); ++i)
        EXPECT_GT(light(map[i]), light(map[i - 1]) - 0.004) << i;
    for (std::size_t i = 8; i < map.size(); i += 8)
        EXPECT_GT(light(map[i]), light(map[i - 8]) + 0.004) << i;
    EXPECT_LT(light(map[0]), 0.2);
    EXPECT_GT(light(map[255]), 0.95);
}

TEST(WaterfallAxes, ClockTimes)
{
    const std::int64_t time = parse_datetime("2026-01-02T03:04:58.5Z").value();
    const auto labels = [&](double high, int most) {
        std::string all;
        for (const Tick& tick : clock_axis(0, high, most, time).ticks)
            all += fmt::format(" {}@{:g}", tick.label, tick.value);
        return all;
    };
    EXPECT_EQ(labels(10, 5), " 03:05:00@1.5 03:05:02@3.5 03:05:04@5.5 03:05:06@7.5 03:05:08@9.5");
    EXPECT_EQ(labels(7200, 5), " 03:30@1501.5 04:00@3301.5 04:30@5101.5 05:00@6901.5");
    EXPECT_EQ(labels(1e12, 5).find("  "), std::string::npos); // and ends
}

struct Extent {
    int left, top, right, bottom;
    bool operator==(const Extent&) const = default;
};

/// Of what is darker than the paper.
Extent extent(const Canvas& c)
{
    Extent e{c.width(), c.height(), -1, -1};
    for (int y = 0; y < c.height(); ++y)
        for (int x = 0; x < c.width(); ++x)
            if (c.at(x, y).g < 0x90)
                e = {std::min(e.left, x), std::min(e.top, y), std::max(e.right, x),
                     std::max(e.bottom, y)};
    return e;
}

TEST(WaterfallAxes, TextIsDrawnWhereItIsPut)
{
    const auto at = [](const char* text, const Style& style) {
        Canvas canvas(200, 200, paper);
        canvas.text(100, 100, text, style);
        return extent(canvas);
    };
    const Extent left = at("LLL", {ink, 20});
    EXPECT_NEAR(left.left, 102, 2);
    EXPECT_NEAR(left.top, 80, 1); // capitals are as high as asked for
    EXPECT_NEAR(left.bottom, 99, 1);
    const int width = text_width("LLL", 20);
    EXPECT_NEAR(left.right, 100 + width, 3);
    EXPECT_NEAR(at("LLL", {ink, 20, Anchor::right}).right, 100, 3);
    EXPECT_NEAR(at("LLL", {ink, 20, Anchor::middle}).left, 102 - width / 2, 2);
    const Extent up = at("LLL", {ink, 20, Anchor::left, true});
    EXPECT_NEAR(up.right, 99, 1);
    EXPECT_NEAR(up.bottom, 98, 2);
    EXPECT_NEAR(up.top, 100 - width, 3);
    EXPECT_EQ(text_width("", 6), 0);
    EXPECT_GT(text_width("LLLL", 6), text_width("LLL", 6));
}

TEST(WaterfallAxes, TextIsUtf8)
{
    const auto drawn_as = [](std::string_view text) {
        Canvas canvas(80, 30, paper);
        canvas.text(5, 20, text, {ink, 12});
        return canvas.bytes();
    };
    EXPECT_NE(drawn_as("\xC3\xA9"), drawn_as("?"));
    EXPECT_NE(drawn_as("\xC3\xA9"), drawn_as("e"));
    EXPECT_NE(drawn_as("\xCE\xA9"), drawn_as("\xC3\xA9"));
    EXPECT_EQ(drawn_as("a\nb\x01"), drawn_as("a b "));
    EXPECT_NE(drawn_as("\xFF\xFE"), drawn_as("")); // no UTF-8: something stands there
}

// Labels that would touch are left out; their ticks stay.
TEST(WaterfallAxes, LabelsDoNotCollide)
{
    const Plot plot{50, 20, 900, 100};
    for (const double span : {1e6, 1e3, 1.0, 0.01}) {
        const Axis axis = frequency_axis(433.92e6, 433.92e6 + span, 10);
        Canvas canvas(1000, 200, paper);
        draw_x_axis(canvas, plot, axis, "");
        int gap = 0, narrowest = 1000, inked = 0;
        for (int x = 60; x < 940; ++x) { // along the labels: no gap of a label's end is missing
            bool any = false;
            for (int y = 128; y < 145; ++y)
                any = any || canvas.at(x, y).g < 0x90;
            inked += any ? 1 : 0;
            if (any && gap > 8)
                narrowest = std::min(narrowest, gap);
            gap = any ? 0 : gap + 1;
        }
        EXPECT_GT(inked, 50) << span;
        EXPECT_LT(inked, 700) << span;
        EXPECT_GE(narrowest, 9) << span;
        for (const Tick& tick : axis.ticks)
            EXPECT_EQ(canvas.at(plot.x(axis, tick.value), 122), ink);
    }
}

} // namespace
