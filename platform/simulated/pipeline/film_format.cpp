#include "film_format.h"

#include <iomanip>
#include <sstream>

#include "frame_converter.h"

namespace pipeline {

std::string hdrTypeOf(const GstCaps* film) {
    GstVideoInfo info{};
    if (gst_video_info_from_caps(&info, film) == FALSE) return "sdr";
    const auto transfer = hdrTransferOf(info);
    if (!transfer) return "sdr";
    return *transfer == HdrTransfer::PQ ? "hdr_10" : "hdr_hlg";
}

std::string formatOf(const GstCaps* film) {
    GstVideoInfo info{};
    if (gst_video_info_from_caps(&info, film) == FALSE) return {};
    const bool interlaced = GST_VIDEO_INFO_IS_INTERLACED(&info);
    std::ostringstream text;
    text << info.width << 'x' << info.height << (interlaced ? 'i' : 'p');
    if (info.fps_n > 0 && info.fps_d > 0) {
        // If each buffer is a field, the rate is already that of the fields.
        const bool countsFrames = interlaced && info.interlace_mode != GST_VIDEO_INTERLACE_MODE_ALTERNATE;
        const double rate = static_cast<double>(info.fps_n) / info.fps_d * (countsFrames ? 2 : 1);
        // At most three decimals: 23.976.
        text << '@' << std::setprecision(rate < 100 ? 5 : 6) << rate;
    }
    return text.str();
}

}  // namespace pipeline
