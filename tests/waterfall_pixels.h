// tests/waterfall_pixels.h: pictures as a viewer sees them.
#ifndef WATERFALL_PIXELS_H
#define WATERFALL_PIXELS_H

#include "waterfall/canvas.h"
#include "waterfall/error.h"

#include <png.h>
#include <vector>

namespace waterfall_test {

/// What a viewer sees: the file decoded.
inline waterfall::Canvas decoded(const std::vector<unsigned char>& file)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image, file.data(), file.size()) == 0)
        throw waterfall::Error(image.message);
    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> bytes(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr) == 0)
        throw waterfall::Error(image.message);
    waterfall::Canvas canvas(static_cast<int>(image.width), static_cast<int>(image.height),
                             {0, 0, 0});
    std::size_t i = 0;
    for (int y = 0; y < canvas.height(); ++y)
        for (int x = 0; x < canvas.width(); ++x, i += 3)
            canvas.set(x, y, {bytes[i], bytes[i + 1], bytes[i + 2]});
    return canvas;
}

} // namespace waterfall_test

#endif // WATERFALL_PIXELS_H
