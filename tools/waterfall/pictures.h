// tools/waterfall/pictures.h: the two pictures, each a complete PNG file in memory.
#ifndef WATERFALL_PICTURES_H
#define WATERFALL_PICTURES_H

#include "waterfall/chain.h"

#include <vector>

namespace waterfall {

/// Time downwards, frequency across, colour bar, annotations.
std::vector<unsigned char> waterfall_png(const Analysis& analysis);

/// Mean, peak and floor over frequency.
std::vector<unsigned char> spectrum_png(const Analysis& analysis);

} // namespace waterfall

#endif // WATERFALL_PICTURES_H
