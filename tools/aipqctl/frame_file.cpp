#include "frame_file.h"

#include <png.h>

#include <cstdint>

#include "failure.h"
#include "video/capture_block.h"

namespace aipqctl {

using korvale::ai::PictureData;

std::string encodeRgb(const PictureData& picture) {
    constexpr std::uint64_t most = video::CAPTURE_PIXEL_BYTES;
    const std::uint64_t bytes = std::uint64_t{picture.width} * picture.height * 3;
    if (picture.data == nullptr || bytes == 0 || picture.width > most || picture.height > most ||
        bytes > most)
        throw Failure(EXIT_REFUSED, "no frame of " + std::to_string(picture.width) + " x " +
                                        std::to_string(picture.height) + " fits the capture block");
    return {picture.data, picture.data + bytes};
}

std::string encodePng(const PictureData& picture) {
    const std::string pixels = encodeRgb(picture);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGB;
    std::string file(PNG_IMAGE_PNG_SIZE_MAX(image), '\0');
    png_alloc_size_t size = file.size();
    if (png_image_write_to_memory(&image, file.data(), &size, 0, pixels.data(), 0, nullptr) == 0)
        throw Failure(EXIT_REFUSED, std::string("the frame cannot be encoded: ") + image.message);
    file.resize(size);
    return file;
}

}  // namespace aipqctl
