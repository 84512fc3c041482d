#ifndef EXAMPLES_PICTURE_SERVICE_FRAME_GRABBER_H
#define EXAMPLES_PICTURE_SERVICE_FRAME_GRABBER_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

#include "frame.h"
#include "platform_adaptation/picture_capture.h"

// Requests frames without waiting and keeps a copy of the one that arrives. One thread uses it; the copies
// are made on the checking thread.
class FrameGrabber {
  public:
    FrameGrabber();
    ~FrameGrabber();

    FrameGrabber(const FrameGrabber&) = delete;
    FrameGrabber& operator=(const FrameGrabber&) = delete;

    // Whether the request before is over, one way or the other.
    bool idle();
    // Only when idle.
    void request();
    // The frame requested, as soon as it is there; nothing if it is not within `limit`.
    std::optional<Frame> take(std::chrono::milliseconds limit);

  private:
    using Clock = std::chrono::steady_clock;

    static void onFrame(bool success, korvale::ai::PictureData* picture, void* userData);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_pending = false;
    Clock::time_point m_requested;
    std::optional<Frame> m_frame;
    PictureCapture m_capture;  // last, so that it goes first: it calls back once more while it stops
};

#endif
