#include "clip_problem.h"

#include <fcntl.h>
#include <gst/pbutils/pbutils.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <string_view>
#include <vector>

#include "file_descriptor.h"
#include "report.h"

namespace pipeline {
namespace {

constexpr std::string_view BASE = "gstreamer1.0-plugins-base";
constexpr std::string_view GOOD = "gstreamer1.0-plugins-good";
constexpr std::string_view BAD = "gstreamer1.0-plugins-bad";
constexpr std::string_view UGLY = "gstreamer1.0-plugins-ugly";
constexpr std::string_view LIBAV = "gstreamer1.0-libav";

// An element that a media type needs, and the Debian package that contains it.
struct Part {
    std::string_view type;
    const char* element;
    std::string_view package;
    bool container = false;
};

constexpr std::array PARTS{
    Part{"video/mpegts", "tsdemux", BAD, true},
    Part{"video/mpeg; systemstream", "mpegpsdemux", BAD, true},
    Part{"video/quicktime", "qtdemux", GOOD, true},
    Part{"video/x-matroska", "matroskademux", GOOD, true},
    Part{"video/webm", "matroskademux", GOOD, true},
    Part{"video/x-msvideo", "avidemux", GOOD, true},
    Part{"video/x-flv", "flvdemux", GOOD, true},
    Part{"application/mxf", "mxfdemux", BAD, true},
    Part{"application/ogg", "oggdemux", BASE, true},
    Part{"video/x-ms-asf", "asfdemux", UGLY, true},
    Part{"video/x-h264", "h264parse", BAD},
    Part{"video/x-h264", "avdec_h264", LIBAV},
    Part{"video/x-h265", "h265parse", BAD},
    Part{"video/x-h265", "avdec_h265", LIBAV},
    Part{"video/mpeg", "mpegvideoparse", BAD},
    Part{"video/mpeg", "avdec_mpeg2video", LIBAV},
    Part{"video/x-av1", "av1parse", BAD},
    Part{"video/x-av1", "av1dec", BAD},
    Part{"video/x-vp8", "vp8dec", GOOD},
    Part{"video/x-vp9", "vp9dec", GOOD},
    Part{"image/jpeg", "jpegdec", GOOD},
    Part{"image/png", "pngdec", GOOD},
};

bool isInstalled(const char* element) {
    return Owned<GstElementFactory>(gst_element_factory_find(element)) != nullptr;
}

std::string typeOf(const GstCaps* caps) {
    const GstStructure* const content = gst_caps_get_structure(caps, 0);
    std::string type = gst_structure_get_name(content);
    gboolean systemStream = FALSE;
    if (gst_structure_get_boolean(content, "systemstream", &systemStream) != FALSE && systemStream != FALSE &&
        type == "video/mpeg") {
        type += "; systemstream";
    }
    return type;
}

// " X: install the Debian package Y".
std::string describeMissing(const std::string& type, const GstCaps* caps) {
    const Owned<gchar> name(gst_pb_utils_get_codec_description(caps));
    std::string packages;
    bool container = false;
    for (const Part& part : PARTS) {
        if (part.type != type) continue;
        container = part.container;
        if (isInstalled(part.element) || packages.ends_with(part.package)) continue;
        packages += packages.empty() ? ": install the Debian package " : " and ";
        packages += part.package;
    }
    return (container ? "no demuxer for its container" : "no decoder for its video") + std::string(" (") +
           name.get() + ") is installed" + packages;
}

// Whether most packets of a transport stream are scrambled. Without the key, they cannot be decoded.
bool isScrambled(const std::string& path) {
    constexpr std::size_t PACKET = 188;
    constexpr unsigned char SYNC = 0x47;
    constexpr std::size_t MOST_BYTES = 1'000'000;
    std::vector<char> begin(MOST_BYTES);
    std::ifstream file(path, std::ios::binary);
    file.read(begin.data(), MOST_BYTES);
    begin.resize(static_cast<std::size_t>(file.gcount()));
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(begin[i]); };
    std::size_t packets = 0;
    std::size_t scrambled = 0;
    for (std::size_t i = 0; i + PACKET <= begin.size(); i += PACKET) {
        if (byteAt(i) != SYNC) return false;
        const unsigned stream = (byteAt(i + 1) & 0x1FU) << 8U | byteAt(i + 2);
        if (stream < 0x20 || stream == 0x1FFF) continue;  // tables and null packets
        ++packets;
        if ((byteAt(i + 3) & 0x80U) != 0) ++scrambled;
    }
    return scrambled > packets / 2;
}

constexpr char ENCRYPTED[] = "it is encrypted";
constexpr char NO_VIDEO[] = "no video in it";

}  // namespace

std::string problemWithFile(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT && path.find("://") != std::string::npos) return "it is a URL, not a file";
        return withReason("", errno).substr(2);
    }
    if (S_ISDIR(status.st_mode)) return "it is a directory";
    if (S_ISFIFO(status.st_mode)) return "it is a named pipe";
    if (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)) return "it is a device";
    if (!S_ISREG(status.st_mode)) return "it is not a regular file";
    if (status.st_size == 0) return "it is empty";
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.valid()) return withReason("", errno).substr(2);
    return isScrambled(path) ? ENCRYPTED : "";
}

// Decoders for other streams than video are always reported as missing, because only video is requested.
void ClipProblem::note(GstMessage* message) {
    const GstStructure* content = gst_message_get_structure(message);
    if (content == nullptr || gst_structure_has_name(content, "missing-plugin") == FALSE) return;
    const GValue* detail = gst_structure_get_value(content, "detail");
    if (detail == nullptr || !G_VALUE_HOLDS(detail, GST_TYPE_CAPS)) return;
    const GstCaps* caps = gst_value_get_caps(detail);
    if (caps == nullptr || gst_caps_get_size(caps) == 0) return;
    const std::string type = typeOf(caps);
    const auto startsWith = [&](std::string_view begin) { return type.starts_with(begin); };
    constexpr std::array<std::string_view, 4> OTHER_STREAMS{"audio/", "text/", "subpicture/",
                                                            "application/x-id3"};
    constexpr std::array<std::string_view, 3> ENCRYPTION{"application/x-cenc", "application/x-cbcs",
                                                         "application/x-webm-enc"};
    if (std::any_of(OTHER_STREAMS.begin(), OTHER_STREAMS.end(), startsWith)) return;
    const bool encrypted = std::any_of(ENCRYPTION.begin(), ENCRYPTION.end(), startsWith);
    m_missing = encrypted ? ENCRYPTED : describeMissing(type, caps);
}

std::string ClipProblem::reason(GstMessage* error) const {
    GError* failure = nullptr;
    gst_message_parse_error(error, &failure, nullptr);
    const Owned<GError> owned(failure);
    if (owned->domain == GST_CORE_ERROR && owned->code == GST_CORE_ERROR_MISSING_PLUGIN) {
        return m_missing.empty() ? NO_VIDEO : m_missing;
    }
    if (owned->domain == GST_STREAM_ERROR) {
        switch (owned->code) {
            case GST_STREAM_ERROR_CODEC_NOT_FOUND:
                return m_missing.empty() ? NO_VIDEO : m_missing;
            case GST_STREAM_ERROR_TYPE_NOT_FOUND:
            case GST_STREAM_ERROR_WRONG_TYPE:
                return NO_VIDEO;
            case GST_STREAM_ERROR_DECRYPT:
            case GST_STREAM_ERROR_DECRYPT_NOKEY:
                return ENCRYPTED;
            case GST_STREAM_ERROR_FAILED:
            case GST_STREAM_ERROR_DECODE:
            case GST_STREAM_ERROR_DEMUX:
                return "it is damaged";
            default:
                break;
        }
    }
    std::string reason = oneLine(owned->message);
    if (reason.ends_with('.')) reason.pop_back();
    return reason;
}

}  // namespace pipeline
