#include "waterfall/canvas.h"

#include "waterfall/font.h"

#include <algorithm>
#include <cmath>

namespace waterfall {

namespace {

constexpr int capital_units = 8 - glyph_baseline;

/// Font units to whole pixels: strokes along the axes stay sharp.
int to_pixels(int units, int size)
{
    return static_cast<int>(std::lround(static_cast<double>(units * size) / capital_units));
}

int advance(char c, int size) { return to_pixels(glyph_width(c) + glyph_space, size); }

/// Distance of a point from a line that ends at both points.
double distance(double x, double y, double x0, double y0, double x1, double y1)
{
    const double dx = x1 - x0;
    const double dy = y1 - y0;
    const double square = dx * dx + dy * dy;
    const double t =
        square > 0 ? std::clamp(((x - x0) * dx + (y - y0) * dy) / square, 0.0, 1.0) : 0.0;
    return std::hypot(x - x0 - t * dx, y - y0 - t * dy);
}

} // namespace

int text_width(std::string_view text, int size)
{
    int width = 0;
    for (const char c : text)
        width += advance(c, size);
    return text.empty() ? 0 : width - to_pixels(glyph_space, size) + 1;
}

Canvas::Canvas(int width, int height, Colour background)
    : width_(width), height_(height),
      bytes_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3)
{
    fill(0, 0, width, height, background);
}

Colour Canvas::at(int x, int y) const
{
    const unsigned char* const p =
        bytes_.data() + 3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                             static_cast<std::size_t>(x));
    return {p[0], p[1], p[2]};
}

void Canvas::blend(int x, int y, Colour colour, double share)
{
    if (x < 0 || y < 0 || x >= width_ || y >= height_)
        return;
    unsigned char* const p =
        bytes_.data() + 3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                             static_cast<std::size_t>(x));
    const auto mix = [share](unsigned char below, unsigned char above) {
        return static_cast<unsigned char>(std::lround(below + share * (above - below)));
    };
    p[0] = mix(p[0], colour.r);
    p[1] = mix(p[1], colour.g);
    p[2] = mix(p[2], colour.b);
}

void Canvas::fill(int x, int y, int width, int height, Colour colour, double share)
{
    for (int v = std::max(y, 0); v < std::min(y + height, height_); ++v)
        for (int u = std::max(x, 0); u < std::min(x + width, width_); ++u)
            blend(u, v, colour, share);
}

void Canvas::outline(int x, int y, int width, int height, Colour colour, double share)
{
    fill(x, y, width, 1, colour, share);
    if (height > 1)
        fill(x, y + height - 1, width, 1, colour, share);
    fill(x, y + 1, 1, height - 2, colour, share);
    if (width > 1)
        fill(x + width - 1, y + 1, 1, height - 2, colour, share);
}

void Canvas::line(double x0, double y0, double x1, double y1, Colour colour, double thickness)
{
    const double reach = thickness / 2 + 0.5;
    const auto low = [&](double a, double b, int most) {
        return std::clamp(static_cast<int>(std::floor(std::min(a, b) - reach)), 0, most);
    };
    const auto high = [&](double a, double b, int most) {
        return std::clamp(static_cast<int>(std::ceil(std::max(a, b) + reach)), -1, most - 1);
    };
    for (int y = low(y0, y1, height_); y <= high(y0, y1, height_); ++y)
        for (int x = low(x0, x1, width_); x <= high(x0, x1, width_); ++x) {
            const double share = reach - distance(x, y, x0, y0, x1, y1);
            if (share > 0)
                blend(x, y, colour, std::min(share, 1.0));
        }
}

void Canvas::strokes(int x, int y, std::string_view text, const Style& style, double thickness)
{
    int pen = 0;
    const int width = text_width(text, style.size);
    if (style.anchor == Anchor::middle)
        pen = -width / 2;
    if (style.anchor == Anchor::right)
        pen = -width;
    const auto draw = [&](int x0, int y0, int x1, int y1) {
        if (style.upwards)
            line(x - y0, y - x0, x - y1, y - x1, style.colour, thickness);
        else
            line(x + x0, y - y0, x + x1, y - y1, style.colour, thickness);
    };
    for (const char c : text) {
        const std::string_view points = glyph(c);
        const auto px = [&](std::size_t i) { return pen + to_pixels(points[i] - '0', style.size); };
        const auto py = [&](std::size_t i) {
            return to_pixels(points[i + 1] - '0' - glyph_baseline, style.size);
        };
        for (std::size_t i = 0; i < points.size();) {
            std::size_t last = i; // a lone point is a dot
            for (; i < points.size() && points[i] != ' '; i += 2) {
                const bool only = i + 2 >= points.size() || points[i + 2] == ' ';
                if (last != i || only)
                    draw(px(last), py(last), px(i), py(i));
                last = i;
            }
            ++i;
        }
        pen += advance(c, style.size);
    }
}

void Canvas::text(int x, int y, std::string_view text, const Style& style)
{
    strokes(x, y, text, style, style.size >= 12 ? 1.4 : 1.0);
}

void Canvas::text_with_halo(int x, int y, std::string_view text, const Style& style, Colour halo)
{
    Style below = style;
    below.colour = halo;
    strokes(x, y, text, below, 3.5);
    this->text(x, y, text, style);
}

} // namespace waterfall
