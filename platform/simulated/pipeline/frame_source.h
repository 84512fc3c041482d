// Where the frames come from.
#ifndef PIPELINE_FRAME_SOURCE_H
#define PIPELINE_FRAME_SOURCE_H

#include <string>

#include "simulated_picture/picture.h"

namespace pipeline {

// The layout a requester wishes is made at the very end, so that sources and picture settings know only RGBA.
using simulated::Image;

class FrameSource {
  public:
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;
    virtual ~FrameSource() = default;

    // Fills the image, in the size it has, with the frame that is on now. False if that is impossible.
    virtual bool render(Image& image) = 0;

    virtual void setPaused(bool paused) = 0;

    // Becomes readable when advance() has something to do; -1 if that never happens.
    virtual int eventFd() const { return -1; }

    // Does what is due; called often. A text is returned when the source has failed; it then keeps its last
    // frame.
    virtual std::string advance() { return {}; }

    // The film that is on, as the control line describes it; empty if it is no film.
    virtual std::string film() { return {}; }
};

}  // namespace pipeline

#endif
