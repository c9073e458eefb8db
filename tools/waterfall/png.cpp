#include "waterfall/png.h"

#include "waterfall/error.h"

#include <png.h>
#include <string>

namespace waterfall {

namespace {

/// libpng's own simple interface; freed whatever happens.
class Image {
public:
    Image() { image_.version = PNG_IMAGE_VERSION; }
    ~Image() { png_image_free(&image_); }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    Image(Image&&) = delete;
    Image& operator=(Image&&) = delete;

    png_image& get() { return image_; }
    void require(int good) const
    {
        if (good == 0)
            throw Error(std::string("picture: ") + image_.message);
    }

private:
    png_image image_{};
};

} // namespace

std::vector<unsigned char> encode_png(const Canvas& canvas)
{
    Image image;
    image.get().width = static_cast<png_uint_32>(canvas.width());
    image.get().height = static_cast<png_uint_32>(canvas.height());
    image.get().format = PNG_FORMAT_RGB;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image.get());
    std::vector<unsigned char> file(size);
    const std::vector<unsigned char> pixels = canvas.bytes();
    image.require(
        png_image_write_to_memory(&image.get(), file.data(), &size, 0, pixels.data(), 0, nullptr));
    file.resize(size);
    return file;
}

} // namespace waterfall
