// tools/waterfall/colour.h: colours, and the map from codes to them.
#ifndef WATERFALL_COLOUR_H
#define WATERFALL_COLOUR_H

#include <array>
#include <cstdint>

namespace waterfall {

struct Colour {
    std::uint8_t r, g, b;
    bool operator==(const Colour&) const = default;
};

/// 256 colours from nearly black over violet, red and orange to pale yellow. Lightness rises all
/// the way, and neighbours look equally far apart: a step of so many dB looks the same everywhere.
const std::array<Colour, 256>& colour_map();

} // namespace waterfall

#endif // WATERFALL_COLOUR_H
