#include "waterfall/colour.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace waterfall {

namespace {

/// A colour by lightness (0 to 1), chroma and hue (degrees), in the Oklab space, whose distances
/// are about those that people see.
struct Shade {
    double lightness, chroma, hue;
};

using Triple = std::array<double, 3>;

Triple to_lab(Shade s)
{
    const double angle = s.hue * std::numbers::pi / 180;
    return {s.lightness, s.chroma * std::cos(angle), s.chroma * std::sin(angle)};
}

Triple to_linear_rgb(Shade s)
{
    const auto [lightness, a, b] = to_lab(s);
    const auto cube = [](double x) { return x * x * x; };
    const double l = cube(lightness + 0.3963377774 * a + 0.2158037573 * b);
    const double m = cube(lightness - 0.1055613458 * a - 0.0638541728 * b);
    const double n = cube(lightness - 0.0894841775 * a - 1.2914855480 * b);
    return {4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * n,
            -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * n,
            -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * n};
}

bool displayable(Shade s)
{
    const Triple rgb = to_linear_rgb(s);
    return std::all_of(rgb.begin(), rgb.end(), [](double x) { return x >= 0 && x <= 1; });
}

/// The richest colour of this lightness and hue that a display has, up to the chroma asked for.
Shade fitted(Shade s)
{
    double good = 0;
    double bad = s.chroma;
    if (displayable(s))
        return s;
    for (int i = 0; i < 40; ++i) {
        s.chroma = (good + bad) / 2;
        (displayable(s) ? good : bad) = s.chroma;
    }
    s.chroma = good;
    return s;
}

Shade along_path(double t)
{
    const double hue = 285.0 + 180.0 * t; // violet to red to yellow
    const double chroma = 0.20 * std::min(1.0, 3.2 * (1.0 - t) + 0.35);
    return fitted({0.10 + 0.88 * t, chroma, hue});
}

std::uint8_t encoded(double linear)
{
    const double x = std::clamp(linear, 0.0, 1.0);
    const double y = x <= 0.0031308 ? 12.92 * x : 1.055 * std::pow(x, 1 / 2.4) - 0.055;
    return static_cast<std::uint8_t>(std::lround(255 * y));
}

Colour to_colour(Shade s)
{
    const Triple rgb = to_linear_rgb(s);
    return {encoded(rgb[0]), encoded(rgb[1]), encoded(rgb[2])};
}

double distance(Shade a, Shade b)
{
    const Triple p = to_lab(a);
    const Triple q = to_lab(b);
    return std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]);
}

/// Equal lengths of the path between neighbours.
std::array<Colour, 256> walk()
{
    constexpr std::size_t fine = 4096;
    std::vector<double> length(fine + 1, 0.0);
    const auto at = [](std::size_t i) { return static_cast<double>(i) / fine; };
    for (std::size_t i = 1; i <= fine; ++i)
        length[i] = length[i - 1] + distance(along_path(at(i - 1)), along_path(at(i)));
    std::array<Colour, 256> map{};
    for (std::size_t k = 0; k < map.size(); ++k) {
        const double wanted = length[fine] * static_cast<double>(k) / 255;
        const auto found = std::lower_bound(length.begin(), length.end(), wanted);
        map[k] = to_colour(along_path(at(static_cast<std::size_t>(found - length.begin()))));
    }
    return map;
}

} // namespace

const std::array<Colour, 256>& colour_map()
{
    static const std::array<Colour, 256> map = walk();
    return map;
}

} // namespace waterfall
