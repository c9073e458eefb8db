// tools/waterfall/pictures.h: the two pictures, each a complete file in memory.
#ifndef WATERFALL_PICTURES_H
#define WATERFALL_PICTURES_H

#include "waterfall/canvas.h"
#include "waterfall/chain.h"

#include <vector>

namespace waterfall {

/// Time downwards, frequency across, colour bar, annotations.
std::vector<unsigned char> waterfall_picture(const Analysis& analysis, Kind kind = Kind::pixels);

/// Mean, peak and floor over frequency.
std::vector<unsigned char> spectrum_picture(const Analysis& analysis, Kind kind = Kind::pixels);

} // namespace waterfall

#endif // WATERFALL_PICTURES_H
