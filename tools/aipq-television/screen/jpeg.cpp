#include "jpeg.h"

#include <turbojpeg.h>

#include <memory>
#include <stdexcept>

namespace television {

namespace {

constexpr int QUALITY = 88;

}  // namespace

std::string toJpeg(const simulated::Picture& picture) {
    const std::unique_ptr<void, int (*)(tjhandle)> compressor(tjInitCompress(), &tjDestroy);
    const auto width = static_cast<int>(picture.width);
    const auto height = static_cast<int>(picture.height);
    // Large enough for any picture of this size, so the JPEG library never allocates.
    std::string bytes(tjBufSize(width, height, TJSAMP_444), '\0');
    auto* target = reinterpret_cast<unsigned char*>(bytes.data());
    unsigned long size = bytes.size();
    if (!compressor || tjCompress2(compressor.get(), picture.rgba.data(), width, 0, height, TJPF_RGBA,
                                   &target, &size, TJSAMP_444, QUALITY, TJFLAG_NOREALLOC) != 0)
        throw std::runtime_error("the picture cannot be encoded as JPEG");
    bytes.resize(size);
    return bytes;
}

}  // namespace television
