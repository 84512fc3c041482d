#include "frame_converter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace pipeline {
namespace {

constexpr double PANEL_ASPECT = 16.0 / 9.0;
// A film whose aspect ratio is this close to the panel's fills the panel: 854 x 480 is intended as 16:9.
constexpr double ASPECT_TOLERANCE = 0.01;

// Maps a frame's memory while the object lives.
class MappedFrame {
  public:
    MappedFrame(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags flags)
        : m_mapped(gst_video_frame_map(&m_frame, &info, buffer, flags) != FALSE) {}
    MappedFrame(const MappedFrame&) = delete;
    MappedFrame& operator=(const MappedFrame&) = delete;
    ~MappedFrame() {
        if (m_mapped) gst_video_frame_unmap(&m_frame);
    }

    bool valid() const { return m_mapped; }
    GstVideoFrame* get() { return &m_frame; }

  private:
    GstVideoFrame m_frame{};
    bool m_mapped;
};

struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// The part of the image that the film covers.
Area filmArea(const GstVideoInfo& film, const Image& image) {
    Area area{0, 0, static_cast<int>(image.width), static_cast<int>(image.height)};
    const double aspect = static_cast<double>(film.width) * film.par_n / film.height / film.par_d;
    const double part = aspect / PANEL_ASPECT;
    const auto partOf = [](int edge, double factor) {
        return std::max(1, static_cast<int>(std::lround(edge * factor)));
    };
    if (part < 1.0 - ASPECT_TOLERANCE) {
        area.width = partOf(area.width, part);
        area.x = (static_cast<int>(image.width) - area.width) / 2;
    } else if (part > 1.0 + ASPECT_TOLERANCE) {
        area.height = partOf(area.height, 1.0 / part);
        area.y = (static_cast<int>(image.height) - area.height) / 2;
    }
    return area;
}

}  // namespace

std::optional<HdrTransfer> hdrTransferOf(const GstVideoInfo& info) {
    if (info.colorimetry.transfer == GST_VIDEO_TRANSFER_SMPTE2084) return HdrTransfer::PQ;
    if (info.colorimetry.transfer == GST_VIDEO_TRANSFER_ARIB_STD_B67) return HdrTransfer::HLG;
    return std::nullopt;
}

bool FrameConverter::prepare(const GstVideoInfo& from, const Image& image) {
    const auto width = static_cast<guint>(image.width);
    const auto height = static_cast<guint>(image.height);
    if (m_converter && gst_video_info_is_equal(&from, &m_from) != FALSE &&
        static_cast<guint>(m_to.width) == width && static_cast<guint>(m_to.height) == height) {
        return true;
    }
    m_converter.reset();
    m_from = from;
    // With 8 bits, the converted RGB values are up to three levels too dark.
    if (gst_video_info_set_format(&m_to, GST_VIDEO_FORMAT_RGBA64_LE, width, height) == FALSE) return false;
    m_to.fps_n = m_from.fps_n;
    m_to.fps_d = m_from.fps_d;
    m_pixels.resize(image.rgba.size());

    const Area area = filmArea(from, image);
    // The converter takes ownership of the options.
    GstStructure* options = gst_structure_new(
        "options", GST_VIDEO_CONVERTER_OPT_RESAMPLER_METHOD, GST_TYPE_VIDEO_RESAMPLER_METHOD,
        GST_VIDEO_RESAMPLER_METHOD_LINEAR, GST_VIDEO_CONVERTER_OPT_ALPHA_MODE, GST_TYPE_VIDEO_ALPHA_MODE,
        GST_VIDEO_ALPHA_MODE_SET, GST_VIDEO_CONVERTER_OPT_ALPHA_VALUE, G_TYPE_DOUBLE, 1.0,
        GST_VIDEO_CONVERTER_OPT_DEST_X, G_TYPE_INT, area.x, GST_VIDEO_CONVERTER_OPT_DEST_Y, G_TYPE_INT,
        area.y, GST_VIDEO_CONVERTER_OPT_DEST_WIDTH, G_TYPE_INT, area.width,
        GST_VIDEO_CONVERTER_OPT_DEST_HEIGHT, G_TYPE_INT, area.height, nullptr);
    m_converter.reset(gst_video_converter_new(&m_from, &m_to, options));
    return m_converter != nullptr;
}

bool FrameConverter::convert(GstCaps* caps, GstBuffer* buffer, Image& image) {
    GstVideoInfo from{};
    if (gst_video_info_from_caps(&from, caps) == FALSE) return false;
    const std::optional<HdrTransfer> hdr = hdrTransferOf(from);
    // If a stream names only the transfer function, GStreamer chooses the matrix by the frame's size. That
    // choice is wrong for HDR.
    if (hdr && GST_VIDEO_INFO_IS_YUV(&from)) from.colorimetry.matrix = GST_VIDEO_COLOR_MATRIX_BT2020;
    if (!prepare(from, image)) return false;

    const std::size_t bytes = m_pixels.size() * sizeof m_pixels[0];
    const Owned<GstBuffer> target(
        gst_buffer_new_wrapped_full(GstMemoryFlags{}, m_pixels.data(), bytes, 0, bytes, nullptr, nullptr));
    {
        MappedFrame source(m_from, buffer, GST_MAP_READ);
        MappedFrame result(m_to, target.get(), GST_MAP_WRITE);
        if (!source.valid() || !result.valid()) return false;
        gst_video_converter_frame(m_converter.get(), source.get(), result.get());
    }
    if (hdr) {
        if (!m_toneMap || m_toneMap->transfer() != *hdr) m_toneMap.emplace(*hdr);
        m_toneMap->apply(m_pixels, image);
    } else {
        std::transform(m_pixels.begin(), m_pixels.end(), image.rgba.begin(), [](std::uint16_t value) {
            return static_cast<std::uint8_t>((value * 255U + 32767U) / 65535U);
        });
    }
    return true;
}

}  // namespace pipeline
