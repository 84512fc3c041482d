#include "clip_source.h"

#include <fcntl.h>
#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gst/video/video.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <string_view>
#include <utility>

#include "file_descriptor.h"
#include "report.h"

namespace pipeline {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto OPENING_LIMIT = 10s;
constexpr GstClockTime BUS_WAIT = 100'000'000;  // nanoseconds; how late a stop may be noticed

// A clip is not started over sooner than this after its last start: without times in it, it would be decoded
// in a circle as fast as the machine can.
constexpr auto SHORTEST_PASS = 40ms;

struct Release {
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
    void operator()(GstMessage* message) const { gst_message_unref(message); }
    void operator()(GstSample* sample) const { gst_sample_unref(sample); }
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
    void operator()(GstPad* pad) const { gst_object_unref(pad); }
    void operator()(GstBus* bus) const { gst_object_unref(bus); }
    void operator()(GstVideoConverter* converter) const { gst_video_converter_free(converter); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
    void operator()(GstElement* pipeline) const {
        gst_element_set_state(pipeline, GST_STATE_NULL);
        gst_object_unref(pipeline);
    }
};

template <typename T>
using Owned = std::unique_ptr<T, Release>;

// GStreamer's own cast macros are C casts, which this project's warnings forbid; these are its instances'
// base and derived types.
template <typename To, typename From>
To* as(From* instance) {
    return reinterpret_cast<To*>(instance);
}

struct Frame {
    Owned<GstCaps> caps;
    Owned<GstBuffer> buffer;
};

Frame frameOf(GstCaps* caps, GstBuffer* buffer) {
    return {Owned<GstCaps>(caps == nullptr ? nullptr : gst_caps_ref(caps)),
            Owned<GstBuffer>(buffer == nullptr ? nullptr : gst_buffer_ref(buffer))};
}

// A frame's memory, accessible for as long as this lives.
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

// Scales and converts whole frames, keeping what it needs for as long as neither side changes.
class Converter {
  public:
    bool convert(GstCaps* caps, GstBuffer* buffer, Image& image);

  private:
    bool prepare(const GstVideoInfo& from, const Image& image);

    Owned<GstVideoConverter> m_converter;
    GstVideoInfo m_from{};
    GstVideoInfo m_to{};
};

bool Converter::prepare(const GstVideoInfo& from, const Image& image) {
    const auto width = static_cast<guint>(image.width);
    const auto height = static_cast<guint>(image.height);
    if (m_converter && gst_video_info_is_equal(&from, &m_from) != FALSE &&
        static_cast<guint>(m_to.width) == width && static_cast<guint>(m_to.height) == height) {
        return true;
    }
    m_converter.reset();
    m_from = from;
    if (gst_video_info_set_format(&m_to, GST_VIDEO_FORMAT_RGBA, width, height) == FALSE) return false;
    m_to.fps_n = m_from.fps_n;
    m_to.fps_d = m_from.fps_d;

    // The converter takes ownership of the options.
    GstStructure* options = gst_structure_new(
        "options", GST_VIDEO_CONVERTER_OPT_RESAMPLER_METHOD, GST_TYPE_VIDEO_RESAMPLER_METHOD,
        GST_VIDEO_RESAMPLER_METHOD_LINEAR, GST_VIDEO_CONVERTER_OPT_ALPHA_MODE, GST_TYPE_VIDEO_ALPHA_MODE,
        GST_VIDEO_ALPHA_MODE_SET, GST_VIDEO_CONVERTER_OPT_ALPHA_VALUE, G_TYPE_DOUBLE, 1.0, nullptr);
    m_converter.reset(gst_video_converter_new(&m_from, &m_to, options));
    return m_converter != nullptr;
}

bool Converter::convert(GstCaps* caps, GstBuffer* buffer, Image& image) {
    GstVideoInfo from{};
    if (gst_video_info_from_caps(&from, caps) == FALSE) return false;
    // Interlaced frames are taken as they are woven: field by field, the comb would survive the scaling.
    from.interlace_mode = GST_VIDEO_INTERLACE_MODE_PROGRESSIVE;
    if (!prepare(from, image)) return false;

    const Owned<GstBuffer> target(gst_buffer_new_wrapped_full(
        GstMemoryFlags{}, image.rgba.data(), image.rgba.size(), 0, image.rgba.size(), nullptr, nullptr));
    MappedFrame source(m_from, buffer, GST_MAP_READ);
    MappedFrame result(m_to, target.get(), GST_MAP_WRITE);
    if (!source.valid() || !result.valid()) return false;
    gst_video_converter_frame(m_converter.get(), source.get(), result.get());
    return true;
}

class ClipSource : public FrameSource {
  public:
    explicit ClipSource(const std::string& path) : m_path(path) {}
    ~ClipSource() override;

    // Empty when the first frame is there.
    std::string open(const std::stop_token& stop);

    bool render(Image& image) override;
    void setPaused(bool paused) override;
    int eventFd() const override;
    std::string advance() override;

  private:
    std::string build();
    std::string waitForFirstFrame(const std::stop_token& stop);
    std::string cannotPlay(const std::string& why) const { return "cannot play '" + m_path + "': " + why; }
    bool hasFrame();
    void startOver();

    // Called in GStreamer's threads.
    static void onPadAdded(GstElement* decoder, GstPad* pad, gpointer sink);
    static GstFlowReturn onPreroll(GstAppSink* sink, gpointer self);
    static GstFlowReturn onFrame(GstAppSink* sink, gpointer self);
    GstFlowReturn keep(GstSample* sample);

    std::string m_path;

    std::mutex m_mutex;
    Frame m_latest;                     // guarded by m_mutex
    std::atomic<bool> m_shown = false;  // there was a frame
    std::atomic<bool> m_moves = false;  // there were more

    Converter m_converter;
    bool m_paused = true;
    bool m_atEnd = false;
    Clock::time_point m_passStarted = Clock::now();
    Owned<GstBus> m_bus;
    // Declared last: it must be gone before what its threads use.
    Owned<GstElement> m_pipeline;
};

ClipSource::~ClipSource() { m_pipeline.reset(); }

void ClipSource::onPadAdded(GstElement* /*decoder*/, GstPad* pad, gpointer sink) {
    const Owned<GstPad> target(gst_element_get_static_pad(static_cast<GstElement*>(sink), "sink"));
    // Of several videos, the first one is shown.
    if (gst_pad_is_linked(target.get()) == FALSE) gst_pad_link(pad, target.get());
}

GstFlowReturn ClipSource::onPreroll(GstAppSink* sink, gpointer self) {
    return static_cast<ClipSource*>(self)->keep(gst_app_sink_pull_preroll(sink));
}

GstFlowReturn ClipSource::onFrame(GstAppSink* sink, gpointer self) {
    ClipSource* source = static_cast<ClipSource*>(self);
    if (source->m_shown.exchange(true)) source->m_moves = true;
    return source->keep(gst_app_sink_pull_sample(sink));
}

GstFlowReturn ClipSource::keep(GstSample* sample) {
    if (sample == nullptr) return GST_FLOW_OK;
    // The sample itself must not be kept: the sink reuses it, and complains if it is still held.
    const Owned<GstSample> shortLived(sample);
    Frame newest = frameOf(gst_sample_get_caps(sample), gst_sample_get_buffer(sample));
    if (!newest.caps || !newest.buffer) return GST_FLOW_OK;
    const std::lock_guard lock(m_mutex);
    std::swap(m_latest, newest);
    return GST_FLOW_OK;
}

bool ClipSource::hasFrame() {
    const std::lock_guard lock(m_mutex);
    return m_latest.buffer != nullptr;
}

std::string ClipSource::build() {
    GError* failure = nullptr;
    const Owned<gchar> uri(gst_filename_to_uri(m_path.c_str(), &failure));
    if (!uri) return Owned<GError>(failure)->message;

    m_pipeline.reset(gst_pipeline_new(nullptr));
    GstElement* decoder = gst_element_factory_make("uridecodebin", nullptr);
    GstElement* sink = gst_element_factory_make("appsink", nullptr);
    if (decoder != nullptr) gst_bin_add(as<GstBin>(m_pipeline.get()), decoder);
    if (sink != nullptr) gst_bin_add(as<GstBin>(m_pipeline.get()), sink);
    if (decoder == nullptr || sink == nullptr) {
        return "GStreamer's playback and app plugins are not installed";
    }

    // Other streams than video are not even decoded. This must be any video: with plain caps, decoders that
    // could also put out other kinds of memory or fields are passed over. The sink takes only plain frames.
    const Owned<GstCaps> anyVideo(gst_caps_from_string("video/x-raw(ANY)"));
    g_object_set(decoder, "uri", uri.get(), "caps", anyVideo.get(), "expose-all-streams", FALSE, nullptr);
    const Owned<GstCaps> plainVideo(gst_caps_new_empty_simple("video/x-raw"));
    // With QoS, a decoder that falls behind skips frames instead of playing slower and slower.
    g_object_set(sink, "caps", plainVideo.get(), "sync", TRUE, "qos", TRUE, "max-buffers", 1U, "drop", TRUE,
                 "enable-last-sample", FALSE, nullptr);
    g_signal_connect_data(decoder, "pad-added", reinterpret_cast<GCallback>(&ClipSource::onPadAdded), sink,
                          nullptr, GConnectFlags{});
    GstAppSinkCallbacks callbacks{};
    callbacks.new_preroll = &ClipSource::onPreroll;
    callbacks.new_sample = &ClipSource::onFrame;
    gst_app_sink_set_callbacks(as<GstAppSink>(sink), &callbacks, this, nullptr);
    m_bus.reset(gst_element_get_bus(m_pipeline.get()));
    return {};
}

// Whether the message says that something is missing to decode a video. Decoders for other streams are always
// reported as missing, since they do not yield what is asked for.
bool missesVideoDecoder(GstMessage* message) {
    const GstStructure* content = gst_message_get_structure(message);
    if (content == nullptr || gst_structure_has_name(content, "missing-plugin") == FALSE) return false;
    const GValue* detail = gst_structure_get_value(content, "detail");
    if (detail == nullptr || !G_VALUE_HOLDS(detail, GST_TYPE_CAPS)) return false;
    const GstCaps* caps = gst_value_get_caps(detail);
    if (caps == nullptr || gst_caps_get_size(caps) == 0) return false;
    const std::string_view type = gst_structure_get_name(gst_caps_get_structure(caps, 0));
    return !type.starts_with("audio/") && !type.starts_with("text/") && !type.starts_with("subpicture/");
}

// What a person can do something with, instead of GStreamer's sentences.
std::string reasonIn(GstMessage* message, bool videoDecoderMissing) {
    GError* failure = nullptr;
    gst_message_parse_error(message, &failure, nullptr);
    const Owned<GError> error(failure);
    if (error->domain == GST_CORE_ERROR && error->code == GST_CORE_ERROR_MISSING_PLUGIN) {
        return videoDecoderMissing ? "no decoder for its video is installed" : "no video in it";
    }
    if (error->domain == GST_STREAM_ERROR) {
        switch (error->code) {
            case GST_STREAM_ERROR_TYPE_NOT_FOUND:
            case GST_STREAM_ERROR_WRONG_TYPE:
                return "no video in it";
            case GST_STREAM_ERROR_FAILED:
            case GST_STREAM_ERROR_DECODE:
            case GST_STREAM_ERROR_DEMUX:
                return "it is damaged";
            default:
                break;
        }
    }
    std::string reason = oneLine(error->message);
    if (reason.ends_with('.')) reason.pop_back();
    return reason;
}

std::string ClipSource::waitForFirstFrame(const std::stop_token& stop) {
    const auto deadline = Clock::now() + OPENING_LIMIT;
    const auto wanted = static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS |
                                                    GST_MESSAGE_ASYNC_DONE | GST_MESSAGE_ELEMENT);
    bool videoDecoderMissing = false;
    while (!stop.stop_requested()) {
        if (Clock::now() >= deadline) {
            return "no frame came out of it for " + std::to_string(OPENING_LIMIT.count()) + " seconds";
        }
        const Owned<GstMessage> message(gst_bus_timed_pop_filtered(m_bus.get(), BUS_WAIT, wanted));
        if (!message) continue;
        if (message->type == GST_MESSAGE_ERROR) return reasonIn(message.get(), videoDecoderMissing);
        if (message->type == GST_MESSAGE_ELEMENT) {
            videoDecoderMissing = videoDecoderMissing || missesVideoDecoder(message.get());
            continue;
        }
        return hasFrame() ? "" : "no frame in it can be decoded";
    }
    return "interrupted";
}

std::string ClipSource::open(const std::stop_token& stop) {
    std::string problem = build();
    if (problem.empty()) {
        gst_element_set_state(m_pipeline.get(), GST_STATE_PAUSED);
        problem = waitForFirstFrame(stop);
    }
    return problem.empty() ? problem : cannotPlay(problem);
}

bool ClipSource::render(Image& image) {
    Frame frame;
    {
        const std::lock_guard lock(m_mutex);
        frame = frameOf(m_latest.caps.get(), m_latest.buffer.get());
    }
    return frame.buffer && m_converter.convert(frame.caps.get(), frame.buffer.get(), image);
}

void ClipSource::setPaused(bool paused) {
    m_paused = paused;
    if (m_pipeline) gst_element_set_state(m_pipeline.get(), paused ? GST_STATE_PAUSED : GST_STATE_PLAYING);
}

int ClipSource::eventFd() const {
    if (!m_pipeline) return -1;
    GPollFD fd{};
    gst_bus_get_pollfd(m_bus.get(), &fd);
    return fd.fd;
}

void ClipSource::startOver() {
    m_atEnd = false;
    // A picture that stands still would be decoded over and over for nothing.
    if (!m_moves) return;
    m_passStarted = Clock::now();
    const bool sought =
        gst_element_seek_simple(m_pipeline.get(), GST_FORMAT_TIME,
                                static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT),
                                0) != FALSE;
    if (sought) return;
    gst_element_set_state(m_pipeline.get(), GST_STATE_READY);
    gst_element_set_state(m_pipeline.get(), GST_STATE_PLAYING);
}

std::string ClipSource::advance() {
    if (!m_pipeline) return {};
    while (const Owned<GstMessage> message{gst_bus_pop(m_bus.get())}) {
        if (message->type == GST_MESSAGE_EOS) m_atEnd = true;
        if (message->type == GST_MESSAGE_ERROR) {
            m_pipeline.reset();
            return "stopped playing '" + m_path + "': " + reasonIn(message.get(), false) +
                   "; its last frame stays on";
        }
    }
    if (m_atEnd && !m_paused && Clock::now() - m_passStarted >= SHORTEST_PASS) startOver();
    return {};
}

std::string problemWithFile(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return withReason("", errno).substr(2);
    if (S_ISDIR(status.st_mode)) return "it is a directory";
    if (!S_ISREG(status.st_mode)) return "it is not a regular file";
    if (status.st_size == 0) return "it is empty";
    const FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return fd.valid() ? "" : withReason("", errno).substr(2);
}

std::string startGStreamer() {
    GError* failure = nullptr;
    if (gst_init_check(nullptr, nullptr, &failure) != FALSE) return {};
    return Owned<GError>(failure)->message;
}

}  // namespace

OpenedClip openClip(const std::string& path, const std::stop_token& stop) {
    std::string problem = problemWithFile(path);
    if (!problem.empty()) return {nullptr, "cannot play '" + path + "': " + problem};
    problem = startGStreamer();
    if (!problem.empty()) return {nullptr, "cannot start GStreamer: " + problem};

    auto clip = std::make_unique<ClipSource>(path);
    problem = clip->open(stop);
    if (!problem.empty()) return {nullptr, problem};
    clip->setPaused(false);
    return {std::move(clip), {}};
}

}  // namespace pipeline
