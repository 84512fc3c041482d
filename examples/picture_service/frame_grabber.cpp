#include "frame_grabber.h"

#include <cstdint>
#include <thread>
#include <utility>

using korvale::ai::PictureData;

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t FRAME_WIDTH = 256;
constexpr std::uint32_t FRAME_HEIGHT = 144;
// The capacity of the capture block. The size of a frame comes from another process, and must not exceed it.
constexpr std::uint64_t MOST_PIXEL_BYTES = 150528;

// Time for the capture's threads to start before the first request.
constexpr auto THREAD_START = 100ms;
// A request is answered or fails within 2 s. After REQUEST_LIMIT, it is lost.
constexpr auto REQUEST_LIMIT = 2500ms;

std::optional<Frame> copyOf(const PictureData& picture) {
    const std::uint64_t pixels = std::uint64_t{picture.width} * picture.height;
    if (picture.data == nullptr || pixels == 0 || pixels > MOST_PIXEL_BYTES / 3) return std::nullopt;
    return Frame{picture.width, picture.height, {picture.data, picture.data + pixels * 3}};
}

}  // namespace

FrameGrabber::FrameGrabber() {
    m_capture.registerCallBack(onFrame, this);
    m_capture.start();
    std::this_thread::sleep_for(THREAD_START);
}

FrameGrabber::~FrameGrabber() {
    // Without this wait, stop() could miss the sender thread of a pending request.
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, REQUEST_LIMIT, [this] { return !m_pending; });
}

bool FrameGrabber::idle() {
    const std::lock_guard lock(m_mutex);
    return !m_pending || Clock::now() - m_requested > REQUEST_LIMIT;
}

void FrameGrabber::request() {
    {
        const std::lock_guard lock(m_mutex);
        m_pending = true;
        m_requested = Clock::now();
        m_frame.reset();
    }
    PictureData request;
    initPictureData(request);
    request.width = FRAME_WIDTH;
    request.height = FRAME_HEIGHT;
    m_capture.getPicture(false, &request);
}

std::optional<Frame> FrameGrabber::take(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, limit, [this] { return m_frame.has_value(); });
    return std::exchange(m_frame, std::nullopt);
}

void FrameGrabber::onFrame(bool success, PictureData* picture, void* userData) {  // on the checking thread
    FrameGrabber& self = *static_cast<FrameGrabber*>(userData);
    const std::lock_guard lock(self.m_mutex);
    if (!self.m_pending) return;
    self.m_pending = false;
    // The pixels are valid only until the next request.
    if (success) self.m_frame = copyOf(*picture);
    self.m_changed.notify_all();
}
