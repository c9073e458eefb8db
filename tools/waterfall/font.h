// tools/waterfall/font.h: a stroke font for ASCII, drawn for these pictures.
#ifndef WATERFALL_FONT_H
#define WATERFALL_FONT_H

#include <string>
#include <string_view>

namespace waterfall {

/// The glyph's strokes, separated by blanks; each a row of digit pairs "xy" to be joined by lines
/// (a single point is a dot). x runs from 0 to 4 rightwards, y from 0 to 9 upwards: descenders end
/// at 0, the baseline is 2, small letters end at 6, capitals at 8. Characters out of ASCII give a
/// question mark.
std::string_view glyph(char c);

/// Width of a glyph in the same units, without the space to the next one. Digits are equally wide.
int glyph_width(char c);

constexpr int glyph_baseline = 2;
constexpr int glyph_space = 2;

/// Plain ASCII: each other character becomes one question mark, line ends and tabs a blank.
std::string to_ascii(std::string_view utf8);

} // namespace waterfall

#endif // WATERFALL_FONT_H
