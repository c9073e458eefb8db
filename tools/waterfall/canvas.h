// tools/waterfall/canvas.h: a small picture to draw on: rectangles, smooth lines, text.
#ifndef WATERFALL_CANVAS_H
#define WATERFALL_CANVAS_H

#include "waterfall/colour.h"

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

/// Width of a line of text in pixels.
int text_width(std::string_view text, int size);

/// Pixels from the top left. Everything is clipped to the picture.
class Canvas {
public:
    Canvas(int width, int height, Colour background);

    int width() const { return width_; }
    int height() const { return height_; }
    Colour at(int x, int y) const;
    /// 3 bytes a pixel, row by row.
    const std::vector<unsigned char>& bytes() const { return bytes_; }

    void set(int x, int y, Colour colour) { blend(x, y, colour, 1.0); }
    /// share 1 covers, 0 leaves.
    void blend(int x, int y, Colour colour, double share);
    void fill(int x, int y, int width, int height, Colour colour, double share = 1.0);
    /// The outermost pixels of a rectangle.
    void outline(int x, int y, int width, int height, Colour colour, double share = 1.0);
    /// From pixel centre to pixel centre, with smooth edges and round ends.
    void line(double x0, double y0, double x1, double y1, Colour colour, double thickness = 1.0);
    /// (x, y) is on the baseline: its left end, middle or right end.
    void text(int x, int y, std::string_view text, const Style& style);
    /// The same over a dark or coloured ground: a halo first.
    void text_with_halo(int x, int y, std::string_view text, const Style& style, Colour halo);

private:
    void strokes(int x, int y, std::string_view text, const Style& style, double thickness);

    int width_, height_;
    std::vector<unsigned char> bytes_;
};

} // namespace waterfall

#endif // WATERFALL_CANVAS_H
