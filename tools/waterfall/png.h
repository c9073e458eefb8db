// tools/waterfall/png.h: a canvas as a PNG file.
#ifndef WATERFALL_PNG_H
#define WATERFALL_PNG_H

#include "waterfall/canvas.h"

#include <vector>

namespace waterfall {

/// The complete file, in memory. Throws Error.
std::vector<unsigned char> encode_png(const Canvas& canvas);

} // namespace waterfall

#endif // WATERFALL_PNG_H
