// Decoded frames as the panel shows them, before its picture settings.
#ifndef PIPELINE_FRAME_CONVERTER_H
#define PIPELINE_FRAME_CONVERTER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "frame_source.h"
#include "gst_owned.h"
#include "tone_map.h"

namespace pipeline {

// Whether the frames are HDR, and how.
std::optional<HdrTransfer> hdrTransferOf(const GstVideoInfo& info);

// Scales whole frames onto a panel of 16:9, with black bars beside or above and below a film of another
// aspect ratio. The image is the whole panel, whatever its size. Keeps what it needs for as long as neither
// side changes.
class FrameConverter {
  public:
    // False if the frames cannot be converted.
    bool convert(GstCaps* caps, GstBuffer* buffer, Image& image);

  private:
    bool prepare(const GstVideoInfo& from, const Image& image);

    Owned<GstVideoConverter> m_converter;
    GstVideoInfo m_from{};
    GstVideoInfo m_to{};
    std::vector<std::uint16_t> m_pixels;  // RGBA
    std::optional<ToneMap> m_toneMap;
};

}  // namespace pipeline

#endif
