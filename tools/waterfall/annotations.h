// tools/waterfall/annotations.h: a recording's annotations as boxes with labels over its waterfall.
#ifndef WATERFALL_ANNOTATIONS_H
#define WATERFALL_ANNOTATIONS_H

#include "waterfall/axes.h"
#include "waterfall/source.h"

#include <vector>

namespace waterfall {

/// A hue that the colour map has not.
constexpr Colour box_colour{0x5C, 0xE1, 0xE6};

/// Boxes stand just outside of what is marked. Labels that find no free place are left out.
void draw_annotations(Canvas& canvas, const Plot& plot, const Axis& frequency, const Axis& time,
                      const std::vector<Annotation>& annotations);

} // namespace waterfall

#endif // WATERFALL_ANNOTATIONS_H
