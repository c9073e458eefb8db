// tools/waterfall/canvas.h: a picture to draw on by Cairo, with text by Pango: as pixels, or as SVG.
#ifndef WATERFALL_CANVAS_H
#define WATERFALL_CANVAS_H

#include "waterfall/colour.h"

#include <cairo.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace waterfall {

enum class Anchor { left, middle, right };

/// How text is set. Its size is the height of a capital in pixels.
struct Style {
    Colour colour{0x22, 0x22, 0x22};
    int size = 9;
    Anchor anchor = Anchor::left;
    bool upwards = false; // turned by a quarter, read from below
};

/// Text is UTF-8; what is not, and control characters, become other characters.
/// Width of a line of it in pixels.
int text_width(std::string_view text, int size);

enum class Kind { pixels, svg };

/// Pixels from the top left. Everything is clipped to the picture. Rectangles cover whole pixels.
class Canvas {
public:
    Canvas(int width, int height, Colour background, Kind kind = Kind::pixels);

    int width() const { return width_; }
    int height() const { return height_; }

    void set(int x, int y, Colour colour);
    void fill(int x, int y, int width, int height, Colour colour);
    /// The outermost pixels of a rectangle.
    void outline(int x, int y, int width, int height, Colour colour);
    /// width * height pixels, row by row.
    void image(int x, int y, int width, int height, const std::vector<Colour>& pixels);
    /// (x, y) is on the baseline: its left end, middle or right end.
    void text(int x, int y, std::string_view text, const Style& style);
    /// The same over a dark or coloured ground: a halo first.
    void text_with_halo(int x, int y, std::string_view text, const Style& style, Colour halo);

    /// Of pixels only.
    Colour at(int x, int y) const;
    /// Of pixels only: 3 bytes a pixel, row by row.
    std::vector<unsigned char> bytes() const;
    /// The complete file: PNG or SVG. Nothing can be drawn afterwards. Throws Error.
    std::vector<unsigned char> file();

private:
    void put_text(int x, int y, std::string_view text, const Style& style, const Colour* halo);
    void source(Colour colour);

    int width_, height_;
    Kind kind_;
    std::unique_ptr<std::vector<unsigned char>> svg_; // its address is Cairo's
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface_;
    std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo_;
};

} // namespace waterfall

#endif // WATERFALL_CANVAS_H
