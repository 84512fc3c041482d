// Decoded frames as the panel shows them without picture settings.
#ifndef PIPELINE_FRAME_CONVERTER_H
#define PIPELINE_FRAME_CONVERTER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "frame_source.h"
#include "gst_owned.h"
#include "tone_map.h"

namespace pipeline {

// The HDR transfer function of the frames; none for SDR.
std::optional<HdrTransfer> hdrTransferOf(const GstVideoInfo& info);

// Scales whole frames to a 16:9 panel. A film of another aspect ratio gets black bars beside it or above and
// below it. The image is the whole panel, whatever its size. The converter is reused while neither side
// changes.
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
