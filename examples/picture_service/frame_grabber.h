#ifndef EXAMPLES_PICTURE_SERVICE_FRAME_GRABBER_H
#define EXAMPLES_PICTURE_SERVICE_FRAME_GRABBER_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

#include "frame.h"
#include "platform_adaptation/picture_capture.h"

// Requests frames without waiting, and keeps a copy of each frame. Use it on one thread; the copies are made
// on the checking thread.
class FrameGrabber {
  public:
    FrameGrabber();
    ~FrameGrabber();

    FrameGrabber(const FrameGrabber&) = delete;
    FrameGrabber& operator=(const FrameGrabber&) = delete;

    // Whether no request is pending.
    bool idle();
    // Requests a frame. Call it only when idle.
    void request();
    // Waits for the requested frame. Returns nothing after `limit`.
    std::optional<Frame> take(std::chrono::milliseconds limit);

  private:
    using Clock = std::chrono::steady_clock;

    static void onFrame(bool success, korvale::ai::PictureData* picture, void* userData);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_pending = false;
    Clock::time_point m_requested;
    std::optional<Frame> m_frame;
    PictureCapture m_capture;  // declared last, so destroyed first: stopping it calls onFrame() once more
};

#endif
