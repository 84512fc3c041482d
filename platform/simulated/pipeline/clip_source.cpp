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
        : mapped_(gst_video_frame_map(&frame_, &info, buffer, flags) != FALSE) {}
    MappedFrame(const MappedFrame&) = delete;
    MappedFrame& operator=(const MappedFrame&) = delete;
    ~MappedFrame() {
        if (mapped_) gst_video_frame_unmap(&frame_);
    }

    bool valid() const { return mapped_; }
    GstVideoFrame* get() { return &frame_; }

  private:
    GstVideoFrame frame_{};
    bool mapped_;
};

// Scales and converts whole frames, keeping what it needs for as long as neither side changes.
class Converter {
  public:
    bool convert(GstCaps* caps, GstBuffer* buffer, Image& image);

  private:
    bool prepare(const GstVideoInfo& from, const Image& image);

    Owned<GstVideoConverter> converter_;
    GstVideoInfo from_{};
    GstVideoInfo to_{};
};

bool Converter::prepare(const GstVideoInfo& from, const Image& image) {
    const auto width = static_cast<guint>(image.width);
    const auto height = static_cast<guint>(image.height);
    if (converter_ && gst_video_info_is_equal(&from, &from_) != FALSE &&
        static_cast<guint>(to_.width) == width && static_cast<guint>(to_.height) == height) {
        return true;
    }
    converter_.reset();
    from_ = from;
    if (gst_video_info_set_format(&to_, GST_VIDEO_FORMAT_RGBA, width, height) == FALSE) return false;
    to_.fps_n = from_.fps_n;
    to_.fps_d = from_.fps_d;

    // The converter takes ownership of the options.
    GstStructure* options = gst_structure_new(
        "options", GST_VIDEO_CONVERTER_OPT_RESAMPLER_METHOD, GST_TYPE_VIDEO_RESAMPLER_METHOD,
        GST_VIDEO_RESAMPLER_METHOD_LINEAR, GST_VIDEO_CONVERTER_OPT_ALPHA_MODE, GST_TYPE_VIDEO_ALPHA_MODE,
        GST_VIDEO_ALPHA_MODE_SET, GST_VIDEO_CONVERTER_OPT_ALPHA_VALUE, G_TYPE_DOUBLE, 1.0, nullptr);
    converter_.reset(gst_video_converter_new(&from_, &to_, options));
    return converter_ != nullptr;
}

bool Converter::convert(GstCaps* caps, GstBuffer* buffer, Image& image) {
    GstVideoInfo from{};
    if (gst_video_info_from_caps(&from, caps) == FALSE) return false;
    // Interlaced frames are taken as they are woven: field by field, the comb would survive the scaling.
    from.interlace_mode = GST_VIDEO_INTERLACE_MODE_PROGRESSIVE;
    if (!prepare(from, image)) return false;

    const Owned<GstBuffer> target(gst_buffer_new_wrapped_full(
        GstMemoryFlags{}, image.rgba.data(), image.rgba.size(), 0, image.rgba.size(), nullptr, nullptr));
    MappedFrame source(from_, buffer, GST_MAP_READ);
    MappedFrame result(to_, target.get(), GST_MAP_WRITE);
    if (!source.valid() || !result.valid()) return false;
    gst_video_converter_frame(converter_.get(), source.get(), result.get());
    return true;
}

class ClipSource : public FrameSource {
  public:
    explicit ClipSource(const std::string& path) : path_(path) {}
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
    std::string cannotPlay(const std::string& why) const { return "cannot play '" + path_ + "': " + why; }
    bool hasFrame();
    void startOver();

    // Called in GStreamer's threads.
    static void onPadAdded(GstElement* decoder, GstPad* pad, gpointer sink);
    static GstFlowReturn onPreroll(GstAppSink* sink, gpointer self);
    static GstFlowReturn onFrame(GstAppSink* sink, gpointer self);
    GstFlowReturn keep(GstSample* sample);

    std::string path_;

    std::mutex mutex_;
    Frame latest_;                     // guarded by mutex_
    std::atomic<bool> shown_ = false;  // there was a frame
    std::atomic<bool> moves_ = false;  // there were more

    Converter converter_;
    bool paused_ = true;
    bool atEnd_ = false;
    Clock::time_point passStarted_ = Clock::now();
    Owned<GstBus> bus_;
    // Declared last: it must be gone before what its threads use.
    Owned<GstElement> pipeline_;
};

ClipSource::~ClipSource() {
    pipeline_.reset();
}

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
    if (source->shown_.exchange(true)) source->moves_ = true;
    return source->keep(gst_app_sink_pull_sample(sink));
}

GstFlowReturn ClipSource::keep(GstSample* sample) {
    if (sample == nullptr) return GST_FLOW_OK;
    // The sample itself must not be kept: the sink reuses it, and complains if it is still held.
    const Owned<GstSample> shortLived(sample);
    Frame newest = frameOf(gst_sample_get_caps(sample), gst_sample_get_buffer(sample));
    if (!newest.caps || !newest.buffer) return GST_FLOW_OK;
    const std::lock_guard lock(mutex_);
    std::swap(latest_, newest);
    return GST_FLOW_OK;
}

bool ClipSource::hasFrame() {
    const std::lock_guard lock(mutex_);
    return latest_.buffer != nullptr;
}

std::string ClipSource::build() {
    GError* failure = nullptr;
    const Owned<gchar> uri(gst_filename_to_uri(path_.c_str(), &failure));
    if (!uri) return Owned<GError>(failure)->message;

    pipeline_.reset(gst_pipeline_new(nullptr));
    GstElement* decoder = gst_element_factory_make("uridecodebin", nullptr);
    GstElement* sink = gst_element_factory_make("appsink", nullptr);
    if (decoder != nullptr) gst_bin_add(as<GstBin>(pipeline_.get()), decoder);
    if (sink != nullptr) gst_bin_add(as<GstBin>(pipeline_.get()), sink);
    if (decoder == nullptr || sink == nullptr)
        return "GStreamer's playback and app plugins are not installed";

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
    bus_.reset(gst_element_get_bus(pipeline_.get()));
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
        if (Clock::now() >= deadline)
            return "no frame came out of it for " + std::to_string(OPENING_LIMIT.count()) + " seconds";
        const Owned<GstMessage> message(gst_bus_timed_pop_filtered(bus_.get(), BUS_WAIT, wanted));
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
        gst_element_set_state(pipeline_.get(), GST_STATE_PAUSED);
        problem = waitForFirstFrame(stop);
    }
    return problem.empty() ? problem : cannotPlay(problem);
}

bool ClipSource::render(Image& image) {
    Frame frame;
    {
        const std::lock_guard lock(mutex_);
        frame = frameOf(latest_.caps.get(), latest_.buffer.get());
    }
    return frame.buffer && converter_.convert(frame.caps.get(), frame.buffer.get(), image);
}

void ClipSource::setPaused(bool paused) {
    paused_ = paused;
    if (pipeline_) gst_element_set_state(pipeline_.get(), paused ? GST_STATE_PAUSED : GST_STATE_PLAYING);
}

int ClipSource::eventFd() const {
    if (!pipeline_) return -1;
    GPollFD fd{};
    gst_bus_get_pollfd(bus_.get(), &fd);
    return fd.fd;
}

void ClipSource::startOver() {
    atEnd_ = false;
    // A picture that stands still would be decoded over and over for nothing.
    if (!moves_) return;
    passStarted_ = Clock::now();
    const bool sought =
        gst_element_seek_simple(pipeline_.get(), GST_FORMAT_TIME,
                                static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT),
                                0) != FALSE;
    if (sought) return;
    gst_element_set_state(pipeline_.get(), GST_STATE_READY);
    gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING);
}

std::string ClipSource::advance() {
    if (!pipeline_) return {};
    while (const Owned<GstMessage> message{gst_bus_pop(bus_.get())}) {
        if (message->type == GST_MESSAGE_EOS) atEnd_ = true;
        if (message->type == GST_MESSAGE_ERROR) {
            pipeline_.reset();
            return "stopped playing '" + path_ + "': " + reasonIn(message.get(), false) +
                   "; its last frame stays on";
        }
    }
    if (atEnd_ && !paused_ && Clock::now() - passStarted_ >= SHORTEST_PASS) startOver();
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
