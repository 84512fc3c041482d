#include "png_file.h"

#include <png.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

// What the capture block has room for.
constexpr std::uint64_t MOST_PIXEL_BYTES = 224 * 224 * 3;

}  // namespace

bool savePng(const std::string& path, const korvale::ai::PictureData& picture, std::string& error) {
    const std::uint64_t bytes = std::uint64_t{picture.width} * picture.height * 3;
    if (picture.data == nullptr || bytes == 0 || picture.width > MOST_PIXEL_BYTES ||
        picture.height > MOST_PIXEL_BYTES || bytes > MOST_PIXEL_BYTES) {
        error = "no frame of " + std::to_string(picture.width) + " x " + std::to_string(picture.height) +
                " fits the capture block";
        return false;
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, path.c_str(), 0, picture.data, 0, nullptr) == 0) {
        error = path + ": " + (errno != 0 ? std::strerror(errno) : image.message);
        return false;
    }
    return true;
}
