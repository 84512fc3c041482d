#include "clip_source.h"

#include <gst/app/gstappsink.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "clip_problem.h"
#include "film_format.h"
#include "frame_converter.h"
#include "gst_owned.h"
#include "stream_colour.h"

namespace pipeline {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto OPENING_LIMIT = 10s;
// One thread of GStreamer may report an error before another thread reports the missing decoder.
constexpr auto REPORT_LIMIT = 500ms;
constexpr GstClockTime BUS_WAIT = 100'000'000;  // nanoseconds; the longest delay until a stop is noticed

// The shortest time between two starts of a clip. Without it, a clip without timestamps would be decoded
// repeatedly, as fast as possible.
constexpr auto SHORTEST_PASS = 40ms;

// The last frame of a film of at least this length stays for END_LASTS. A shorter film is repeated without a
// gap, because its end would otherwise be announced very often.
constexpr GstClockTime SHORTEST_FILM_WITH_AN_END = 3 * GST_SECOND;
constexpr auto END_LASTS = 500ms;

// The deinterlacer does not change interlaced frames of more than 8 bits. Only those frames are converted for
// it.
constexpr char DEINTERLACEABLE[] =
    "video/x-raw, interlace-mode=progressive; video/x-raw(format:Interlaced);"
    "video/x-raw, format={I420, YV12, NV12, NV21, Y42B, Y444, YUY2, UYVY, AYUV, RGB, BGRx}";

// These limits keep the process below 500 MB. A decoder holds up to sixteen frames, and more for each of its
// threads. Late frames are skipped.
constexpr int DECODER_THREADS = 1;
constexpr std::int64_t MOST_PIXELS = std::int64_t{4096} * 2304;
constexpr std::int64_t MOST_PIXELS_OF_A_STILL = std::int64_t{8192} * 4608;

struct Frame {
    Owned<GstCaps> caps;
    Owned<GstBuffer> buffer;
};

Frame frameOf(GstCaps* caps, GstBuffer* buffer) {
    return {Owned<GstCaps>(caps == nullptr ? nullptr : gst_caps_ref(caps)),
            Owned<GstBuffer>(buffer == nullptr ? nullptr : gst_buffer_ref(buffer))};
}

class ClipSource : public FrameSource {
  public:
    explicit ClipSource(const std::string& path) : m_path(path) {}
    ~ClipSource() override;

    // Returns an empty text when the first frame is decoded; otherwise the problem.
    std::string open(const std::stop_token& stop);

    bool render(Image& image) override;
    void setPaused(bool paused) override;
    int eventFd() const override;
    std::string advance() override;
    std::string film() override;

  private:
    std::string build();
    std::string waitForFirstFrame(const std::stop_token& stop);
    std::string cannotPlay(const std::string& why) const { return "cannot play '" + m_path + "': " + why; }
    bool hasFrame();
    bool hasAnEnd();
    void startOver();

    // Called on GStreamer's threads.
    static void onElementAdded(GstBin* pipeline, GstBin* bin, GstElement* element, gpointer self);
    static GstPadProbeReturn onDecoderInput(GstPad* pad, GstPadProbeInfo* info, gpointer decoder);
    static void onPadAdded(GstElement* decoder, GstPad* pad, gpointer decoded);
    static GstFlowReturn onPreroll(GstAppSink* sink, gpointer self);
    static GstFlowReturn onFrame(GstAppSink* sink, gpointer self);
    GstFlowReturn keep(GstSample* sample);

    std::string m_path;

    StreamColour m_colour;  // used on one of GStreamer's threads

    std::mutex m_mutex;
    // Guarded by m_mutex.
    Frame m_latest;
    Owned<GstCaps> m_film;                           // the caps of the frames before deinterlacing
    GstClockTime m_firstTime = GST_CLOCK_TIME_NONE;  // the first timestamp of this pass
    GstClockTime m_lastTime = GST_CLOCK_TIME_NONE;

    std::atomic<bool> m_shown = false;  // at least one frame was shown
    std::atomic<bool> m_moves = false;  // at least two frames were shown
    std::atomic<bool> m_ended = false;  // nothing plays until the next frame

    FrameConverter m_converter;
    bool m_paused = true;
    std::optional<Clock::time_point> m_end;
    Clock::time_point m_passStarted = Clock::now();
    Owned<GstBus> m_bus;
    Owned<GstPad> m_decoded;  // the pad for the decoded frames
    // Declared last: its threads use the other members.
    Owned<GstElement> m_pipeline;
};

ClipSource::~ClipSource() { m_pipeline.reset(); }

void ClipSource::onElementAdded(GstBin* /*pipeline*/, GstBin* /*bin*/, GstElement* element, gpointer self) {
    static_cast<ClipSource*>(self)->m_colour.follow(element);
    const bool isDecoder = gst_element_factory_list_is_type(gst_element_get_factory(element),
                                                            GST_ELEMENT_FACTORY_TYPE_DECODER) != FALSE;
    const Owned<GstPad> in(gst_element_get_static_pad(element, "sink"));
    if (!isDecoder || !in) return;
    for (const char* const name : {"max-threads", "threads"}) {
        const bool exists = g_object_class_find_property(G_OBJECT_GET_CLASS(element), name) != nullptr;
        if (exists) g_object_set(element, name, DECODER_THREADS, nullptr);
    }
    gst_pad_add_probe(in.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, &ClipSource::onDecoderInput, element,
                      nullptr);
}

GstPadProbeReturn ClipSource::onDecoderInput(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer decoder) {
    GstEvent* const event = gst_pad_probe_info_get_event(info);
    if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) return GST_PAD_PROBE_OK;
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    const GstStructure* const film = gst_caps_get_structure(caps, 0);
    int width = 0;
    int height = 0;
    gst_structure_get(film, "width", G_TYPE_INT, &width, "height", G_TYPE_INT, &height, nullptr);
    const bool isStill = std::string_view(gst_structure_get_name(film)).starts_with("image/");
    if (std::int64_t{width} * height <= (isStill ? MOST_PIXELS_OF_A_STILL : MOST_PIXELS))
        return GST_PAD_PROBE_OK;
    const std::string problem = "its size of " + std::to_string(width) + "x" + std::to_string(height) +
                                " takes more than the 500 MB that the video pipeline may use; films of up to "
                                "4096x2304 play";
    gst_element_message_full(static_cast<GstElement*>(decoder), GST_MESSAGE_ERROR, GST_RESOURCE_ERROR,
                             GST_RESOURCE_ERROR_NO_SPACE_LEFT, g_strdup(problem.c_str()), nullptr, "", "", 0);
    return GST_PAD_PROBE_DROP;
}

void ClipSource::onPadAdded(GstElement* /*decoder*/, GstPad* pad, gpointer decoded) {
    // Of several videos, the first is shown.
    GstPad* const target = static_cast<GstPad*>(decoded);
    if (gst_pad_is_linked(target) == FALSE) gst_pad_link(pad, target);
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
    // The sample itself must not be kept: the sink reuses it, and reports an error if it is still held.
    const Owned<GstSample> shortLived(sample);
    Frame newest = frameOf(gst_sample_get_caps(sample), gst_sample_get_buffer(sample));
    if (!newest.caps || !newest.buffer) return GST_FLOW_OK;
    Owned<GstCaps> film(gst_pad_get_current_caps(m_decoded.get()));
    const GstClockTime time = GST_BUFFER_PTS(newest.buffer.get());
    m_ended = false;
    const std::lock_guard lock(m_mutex);
    std::swap(m_latest, newest);
    std::swap(m_film, film);
    if (!GST_CLOCK_TIME_IS_VALID(time)) return GST_FLOW_OK;
    if (!GST_CLOCK_TIME_IS_VALID(m_firstTime)) m_firstTime = m_lastTime = time;
    m_lastTime = std::max(m_lastTime, time);
    return GST_FLOW_OK;
}

bool ClipSource::hasFrame() {
    const std::lock_guard lock(m_mutex);
    return m_latest.buffer != nullptr;
}

bool ClipSource::hasAnEnd() {
    const std::lock_guard lock(m_mutex);
    return m_moves && GST_CLOCK_TIME_IS_VALID(m_firstTime) &&
           m_lastTime - m_firstTime >= SHORTEST_FILM_WITH_AN_END;
}

std::string ClipSource::build() {
    GError* failure = nullptr;
    const Owned<gchar> uri(gst_filename_to_uri(m_path.c_str(), &failure));
    if (!uri) return Owned<GError>(failure)->message;

    m_pipeline.reset(gst_pipeline_new(nullptr));
    GstElement* const decoder = gst_element_factory_make("uridecodebin", nullptr);
    GstElement* const convert = gst_element_factory_make("videoconvert", nullptr);
    GstElement* const filter = gst_element_factory_make("capsfilter", nullptr);
    GstElement* const deinterlacer = gst_element_factory_make("deinterlace", nullptr);
    GstElement* const sink = gst_element_factory_make("appsink", nullptr);
    for (GstElement* const element : {decoder, convert, filter, deinterlacer, sink}) {
        if (element == nullptr) {
            return "install the Debian packages gstreamer1.0-plugins-base and gstreamer1.0-plugins-good";
        }
        gst_bin_add(as<GstBin>(m_pipeline.get()), element);
    }
    gst_element_link_many(convert, filter, deinterlacer, sink, nullptr);
    const Owned<GstCaps> deinterlaceable(gst_caps_from_string(DEINTERLACEABLE));
    g_object_set(filter, "caps", deinterlaceable.get(), nullptr);
    gst_util_set_object_arg(as<GObject>(deinterlacer), "method", "yadif");
    m_decoded.reset(gst_element_get_static_pad(convert, "sink"));

    // Other streams than video are not decoded. The caps must accept any video: plain caps would exclude
    // decoders that can also output other kinds of memory or fields. The sink accepts only plain frames.
    const Owned<GstCaps> anyVideo(gst_caps_from_string("video/x-raw(ANY)"));
    g_object_set(decoder, "uri", uri.get(), "caps", anyVideo.get(), "expose-all-streams", FALSE, nullptr);
    const Owned<GstCaps> plainVideo(gst_caps_new_empty_simple("video/x-raw"));
    // With QoS, a slow decoder skips frames instead of falling further behind.
    g_object_set(sink, "caps", plainVideo.get(), "sync", TRUE, "qos", TRUE, "max-buffers", 1U, "drop", TRUE,
                 "enable-last-sample", FALSE, nullptr);
    g_signal_connect_data(m_pipeline.get(), "deep-element-added",
                          reinterpret_cast<GCallback>(&ClipSource::onElementAdded), this, nullptr,
                          GConnectFlags{});
    g_signal_connect_data(decoder, "pad-added", reinterpret_cast<GCallback>(&ClipSource::onPadAdded),
                          m_decoded.get(), nullptr, GConnectFlags{});
    GstAppSinkCallbacks callbacks{};
    callbacks.new_preroll = &ClipSource::onPreroll;
    callbacks.new_sample = &ClipSource::onFrame;
    gst_app_sink_set_callbacks(as<GstAppSink>(sink), &callbacks, this, nullptr);
    m_bus.reset(gst_element_get_bus(m_pipeline.get()));
    return {};
}

std::string ClipSource::waitForFirstFrame(const std::stop_token& stop) {
    auto deadline = Clock::now() + OPENING_LIMIT;
    const auto wanted = static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS |
                                                    GST_MESSAGE_ASYNC_DONE | GST_MESSAGE_ELEMENT);
    ClipProblem problem;
    Owned<GstMessage> error;
    while (!stop.stop_requested()) {
        const bool isLate = Clock::now() >= deadline;
        if (error && (isLate || problem.hasMissing())) return problem.reason(error.get());
        if (isLate) {
            return "no frame could be decoded for " + std::to_string(OPENING_LIMIT.count()) + " seconds";
        }
        Owned<GstMessage> message(
            gst_bus_timed_pop_filtered(m_bus.get(), BUS_WAIT, error ? GST_MESSAGE_ELEMENT : wanted));
        if (!message) continue;
        if (message->type == GST_MESSAGE_ERROR) {
            error = std::move(message);
            deadline = Clock::now() + REPORT_LIMIT;
            continue;
        }
        if (message->type == GST_MESSAGE_ELEMENT) {
            problem.note(message.get());
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
    m_end.reset();
    // Decoding a still picture again has no use.
    if (!m_moves) return;
    m_passStarted = Clock::now();
    {
        const std::lock_guard lock(m_mutex);
        m_firstTime = m_lastTime = GST_CLOCK_TIME_NONE;
    }
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
        if (message->type == GST_MESSAGE_EOS) m_end = Clock::now();
        if (message->type == GST_MESSAGE_ERROR) {
            m_pipeline.reset();
            return "stopped playing '" + m_path + "': " + ClipProblem().reason(message.get()) +
                   "; its last frame stays on";
        }
    }
    if (!m_end || m_paused) return {};
    m_ended = hasAnEnd();
    const auto now = Clock::now();
    if (now - m_passStarted >= SHORTEST_PASS && (!m_ended || now - *m_end >= END_LASTS)) startOver();
    return {};
}

std::string ClipSource::film() {
    const std::lock_guard lock(m_mutex);
    if (!m_film) return {};
    return (m_ended ? "-" : formatOf(m_film.get())) + ' ' + hdrTypeOf(m_film.get());
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
