// Ticks, colours and text.
#include "waterfall/axes.h"
#include "waterfall/font.h"
#include "waterfall_pixels.h"

#include <cmath>
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

TEST(WaterfallAxes, TextIsDrawnWhereItIsPut)
{
    Canvas canvas(40, 20, paper);
    canvas.text(5, 15, "L1", {ink, 6});
    EXPECT_EQ(drawn(canvas, 4, 8, 14, 9), "..............\n"
                                          ".#.......#....\n"
                                          ".#......##....\n"
                                          ".#.......#....\n"
                                          ".#.......#....\n"
                                          ".#.......#....\n"
                                          ".#.......#....\n"
                                          ".#####..###...\n"
                                          "..............\n");
    Canvas up(20, 40, paper);
    up.text(15, 30, "L", {ink, 6, Anchor::left, true});
    EXPECT_EQ(drawn(up, 8, 24, 9, 8), ".........\n"
                                      ".........\n"
                                      ".......#.\n"
                                      ".......#.\n"
                                      ".......#.\n"
                                      ".......#.\n"
                                      ".#######.\n"
                                      ".........\n");
    EXPECT_EQ(text_width("L1", 6), 11);
    EXPECT_EQ(text_width("", 6), 0);
    EXPECT_EQ(to_ascii("a\xC3\xA9z\n\x01"), "a?z ?");
}

} // namespace
