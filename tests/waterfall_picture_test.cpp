// The pictures, pixel by pixel where it matters: frame, ticks, labels, boxes, curves.
#include "waterfall/annotations.h"
#include "waterfall/layout.h"
#include "waterfall/pictures.h"
#include "waterfall_pixels.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>

using namespace waterfall;
using namespace waterfall_test;

namespace {

std::uint8_t code_at(std::size_t row, std::size_t column)
{
    return static_cast<std::uint8_t>((3 * row + column) % 256);
}

/// 560 rows of 1024 columns: a pixel each, 1 kHz and 1 ms. 100 MHz in the middle.
Analysis made_up()
{
    Analysis a;
    a.recording.name = "made up";
    a.recording.format = Format::cs16;
    a.recording.rate = a.rate = 1.024e6;
    a.recording.center = 100e6;
    a.settings.fft = 1024;
    a.settings.overlap = 0;
    a.samples = 560UL * 1024;
    a.frames = 560;
    a.bin_hz = 1000;
    a.first_hz = 100e6 - 512e3;
    a.mean_db.assign(1024, -80);
    a.peak_db.assign(1024, -60);
    a.smooth_db = a.mean_db;
    a.mean_db[700] = -30;
    a.peak_db[700] = -20;
    a.floor_db = -85;
    a.waterfall = {560, 1024, 1, -100, -20, {}};
    for (std::size_t r = 0; r < 560; ++r)
        for (std::size_t c = 0; c < 1024; ++c)
            a.waterfall.codes.push_back(code_at(r, c));
    return a;
}

constexpr int left = 86; // of the plot
constexpr int top = 110;

TEST(WaterfallPicture, EveryCodeHasItsPixel)
{
    const Canvas p = decoded(waterfall_picture(made_up()));
    for (int r = 0; r < 560; ++r)
        for (int c = 0; c < 1024; ++c)
            ASSERT_EQ(
                p.at(left + c, top + r),
                colour_map()[code_at(static_cast<std::size_t>(r), static_cast<std::size_t>(c))])
                << r << " " << c;
}

TEST(WaterfallPicture, FewRowsAreHighAndManyColumnsShareAPixel)
{
    Analysis a = made_up();
    a.waterfall = {4, 2048, 1, -100, -20, std::vector<std::uint8_t>(4UL * 2048, 10)};
    a.waterfall.codes[2UL * 2048 + 101] = 200; // shares a pixel with column 100
    const Canvas p = decoded(waterfall_picture(a));
    const WaterfallLayout layout(a);
    ASSERT_EQ(layout.plot.height, 560);
    ASSERT_EQ(layout.plot.width, 1024);
    for (int y = 0; y < 560; ++y)
        EXPECT_EQ(p.at(left + 50, top + y), colour_map()[y >= 280 && y < 420 ? 200 : 10]) << y;
    EXPECT_EQ(p.at(left + 49, top + 300), colour_map()[10]);
    EXPECT_EQ(p.at(left + 51, top + 300), colour_map()[10]);
}

TEST(WaterfallPicture, FrameTicksAndColourBar)
{
    const Canvas p = decoded(waterfall_picture(made_up()));
    ASSERT_EQ(p.width(), 1226);
    ASSERT_EQ(p.height(), 732);
    for (const auto& [x, y] :
         {std::pair{85, 109}, {85, 400}, {1110, 109}, {85, 670}, {1110, 670}, {600, 670}})
        EXPECT_EQ(p.at(x, y), ink) << x << " " << y;
    EXPECT_EQ(p.at(84, 109), paper);
    EXPECT_EQ(p.at(1111, 400), paper);

    // 99.5 to 100.5 MHz in steps of 0.1, the bin of each: 12 from the left, then 112, ...
    for (int k = 0; k <= 10; ++k)
        for (int y = 671; y <= 675; ++y) {
            EXPECT_EQ(p.at(left + 12 + 100 * k, y), ink) << k;
            EXPECT_EQ(p.at(left + 13 + 100 * k, y), paper) << k;
            EXPECT_EQ(p.at(left + 11 + 100 * k, y), paper) << k;
        }
    EXPECT_EQ(p.at(left + 512, 108), faint_ink); // offset 0, above
    // Time 0, 100, ... 500 ms downwards.
    for (int k = 0; k <= 5; ++k) {
        const int y = top + static_cast<int>(100.0 * k);
        EXPECT_EQ(p.at(80, y), ink) << k;
        EXPECT_EQ(p.at(84, y), ink) << k;
        EXPECT_EQ(p.at(82, y + 1), paper) << k;
    }
    // The bar: highest level at the top; ticks at -20 and -100 dBFS at its very ends.
    EXPECT_EQ(p.at(1134, 110), colour_map()[255]);
    EXPECT_EQ(p.at(1151, 669), colour_map()[0]);
    EXPECT_EQ(p.at(1140, 389), colour_map()[128]);
    EXPECT_EQ(p.at(1155, 110), ink);
    EXPECT_EQ(p.at(1155, 669), ink);
    EXPECT_EQ(p.at(1152, 300), ink); // its frame
}

/// Whether this text, and only it, stands there: the same pixels as on an empty canvas.
void expect_text(const Canvas& p, int x, int y, const char* text, const Style& style)
{
    Canvas alone(p.width(), p.height(), paper);
    alone.text(x, y, text, style);
    const int width = text_width(text, style.size);
    const int first = x - (style.anchor == Anchor::left     ? 0
                           : style.anchor == Anchor::middle ? width / 2
                                                            : width);
    for (int v = y - style.size - 2; v < y + 2; ++v)
        for (int u = first - 1; u < first + width + 1; ++u)
            ASSERT_EQ(p.at(u, v), alone.at(u, v)) << text << " at " << u << " " << v;
}

TEST(WaterfallPicture, LabelsSayTheNumbers)
{
    const Canvas p = decoded(waterfall_picture(made_up()));
    expect_text(p, 76, 214, "100", {ink, label_size, Anchor::right});              // ms
    expect_text(p, 1163, 673, "-100", {ink, label_size});                          // dBFS
    expect_text(p, left + 512, 690, "100.0", {ink, label_size, Anchor::middle});   // MHz
    expect_text(p, left + 512, 100, "0", {faint_ink, label_size, Anchor::middle}); // kHz from it
}

TEST(WaterfallPicture, Svg)
{
    const std::vector<unsigned char> file = waterfall_picture(made_up(), Kind::svg);
    const std::string text(file.begin(), file.end());
    EXPECT_EQ(text.find("<?xml"), 0U);
    EXPECT_NE(text.find("</svg>"), std::string::npos);
    EXPECT_NE(text.find("data:image/png;base64"), std::string::npos); // the data stay pixels
}

Annotation marked(double low, double high, double start, double length, const char* label)
{
    return {start, length, low, high, label};
}

std::vector<std::pair<int, int>> box_pixels(const Canvas& p)
{
    std::vector<std::pair<int, int>> found;
    for (int y = top; y < top + 560; ++y)
        for (int x = left; x < left + 1024; ++x)
            if (p.at(x, y) == box_colour)
                found.emplace_back(x, y);
    return found;
}

TEST(WaterfallPicture, AnnotationsStandAroundWhatTheyMark)
{
    Analysis a = made_up();
    // Bins 200 to 300 and rows 100 to 150: 112 kHz above the lower edge is bin 112.
    a.recording.annotations = {marked(99.688e6, 99.788e6, 0.1004, 0.050, "")};
    const Canvas p = decoded(waterfall_picture(a));
    const std::vector<std::pair<int, int>> found = box_pixels(p);
    ASSERT_EQ(found.size(), 2UL * 103 + 2UL * 51);
    for (const auto& [x, y] : found) {
        const bool side = (x == left + 199 || x == left + 301) && y >= top + 99 && y <= top + 151;
        const bool edge = (y == top + 99 || y == top + 151) && x >= left + 199 && x <= left + 301;
        EXPECT_TRUE(side || edge) << x << " " << y;
    }
}

TEST(WaterfallPicture, LabelsStandBesideTheirBoxesAndNotOnEachOther)
{
    Analysis a = made_up();
    std::fill(a.waterfall.codes.begin(), a.waterfall.codes.end(), std::uint8_t{0});
    const auto ink_between = [&](int x0, int x1) {
        const Canvas p = decoded(waterfall_picture(a));
        int inked = 0;
        for (int y = top; y < top + 560; ++y)
            for (int x = x0; x < x1; ++x)
                inked += p.at(x, y) == colour_map()[0] ? 0 : 1;
        return inked;
    };
    a.recording.annotations = {marked(99.688e6, 99.788e6, 0.1, 0.05, "Label")};
    const auto beside = ink_between(left + 305, left + 400);
    EXPECT_GT(beside, 20);
    EXPECT_EQ(ink_between(left + 400, left + 1024), 0);
    EXPECT_EQ(ink_between(left, left + 190), 0);
    // The same burst marked piece by piece is one box, and says its name once.
    const auto once = ink_between(left, left + 1024);
    a.recording.annotations = {marked(99.688e6, 99.788e6, 0.1, 0.025, "Label"),
                               marked(99.688e6, 99.788e6, 0.125, 0.025, "Label")};
    EXPECT_EQ(ink_between(left, left + 1024), once);
    // No place on the right: on the left of it.
    a.recording.annotations = {marked(100.4e6, 100.51e6, 0.1, 0.05, "Label")};
    EXPECT_GT(ink_between(left + 820, left + 900), 20);
    // Another box on the right: on the left of it too.
    a.recording.annotations = {marked(99.688e6, 99.788e6, 0.1, 0.05, "Label"),
                               marked(99.808e6, 99.908e6, 0.1, 0.05, "")};
    EXPECT_GT(ink_between(left + 110, left + 198), 20);
    // Out of the picture.
    a.recording.annotations = {marked(98e6, 98.1e6, 0.1, 0.05, "Label"),
                               marked(99.9e6, 100e6, 3.0, 0.05, "Label")};
    EXPECT_EQ(ink_between(left, left + 1024), 0);
}

// A hundred thousand in a second or two; what finds no place is counted in the picture.
TEST(WaterfallPicture, ManyAnnotations)
{
    Analysis a = made_up();
    std::fill(a.waterfall.codes.begin(), a.waterfall.codes.end(), std::uint8_t{0});
    for (int i = 0; i != 100000; ++i) {
        const double low = 99.5e6 + i % 317 * 3e3;
        a.recording.annotations.push_back(marked(low, low + 2e3, i % 551 * 1e-3, 1e-3, "label"));
    }
    const auto start = std::chrono::steady_clock::now();
    const Canvas p = decoded(waterfall_picture(a));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_GT(box_pixels(p).size(), 1000U);
    int note = 0;
    for (int x = left + 700; x < left + 1024; ++x)
        note += p.at(x, 715).g < 0xF0 ? 1 : 0;
    EXPECT_GT(note, 20);
}

// 80 dB on 480 pixels: -90 dBFS at the bottom, -10 at the top.
TEST(WaterfallPicture, SpectrumCurvesStandAtTheirLevels)
{
    const Canvas p = decoded(spectrum_picture(made_up()));
    const auto y = [](double level) { return 589 - static_cast<int>((level + 90) * 6); };
    for (const int x : {0, 13, 300, 709, 713, 1039}) {
        EXPECT_EQ(p.at(left + x, y(-80)), mean_colour) << x;
        EXPECT_EQ(p.at(left + x, y(-60)), peak_colour) << x;
    }
    EXPECT_EQ(p.at(left + 711, y(-30)), mean_colour);
    EXPECT_NE(p.at(left + 711, y(-30) - 1), mean_colour);
    EXPECT_EQ(p.at(left + 711, y(-20)), peak_colour);
    EXPECT_NE(p.at(left + 711, y(-20) - 1), peak_colour);
    for (int x = 0; x < 64; ++x)
        EXPECT_EQ(p.at(left + x, y(-85)) == floor_colour, x % 16 < 8) << x;
    // The tick of -50 dBFS, and of 100.0 MHz in the middle of the band.
    EXPECT_EQ(p.at(82, y(-50)), ink);
    EXPECT_EQ(p.at(82, y(-50) - 1), paper);
    EXPECT_EQ(p.at(left + 520, 592), ink);
}

TEST(WaterfallPicture, NarrowLinesStayInTheSpectrum)
{
    Analysis a = made_up();
    a.bin_hz = 250;
    a.mean_db.assign(4096, -80);
    a.peak_db.assign(4096, -60);
    a.mean_db[2802] = -30; // bins 2800 to 2803 share a pixel
    a.peak_db[2802] = -20;
    const Canvas p = decoded(spectrum_picture(a));
    EXPECT_EQ(p.at(left + 711, 589 - 360), mean_colour);
    EXPECT_EQ(p.at(left + 711, 589 - 60), mean_colour); // down to the lowest of them
    EXPECT_EQ(p.at(left + 711, 589 - 420), peak_colour);
}

} // namespace
