#include "png_file.h"

#include <png.h>

#include <cstdint>

#include "file.h"

namespace {

// The capacity of the capture block.
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
    std::string file(PNG_IMAGE_PNG_SIZE_MAX(image), '\0');
    png_alloc_size_t size = file.size();
    if (png_image_write_to_memory(&image, file.data(), &size, 0, picture.data, 0, nullptr) == 0) {
        error = path + ": " + image.message;
        return false;
    }
    file.resize(size);
    return saveFile(path, file, error);
}
