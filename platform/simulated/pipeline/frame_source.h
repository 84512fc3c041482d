// The interface of the sources of frames.
#ifndef PIPELINE_FRAME_SOURCE_H
#define PIPELINE_FRAME_SOURCE_H

#include <string>

#include "simulated_picture/picture.h"

namespace pipeline {

// Sources and picture settings use only RGBA. The requested layout is produced last.
using simulated::Image;

class FrameSource {
  public:
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;
    virtual ~FrameSource() = default;

    // Draws the current frame into the image, in the image's size. Returns false on failure.
    virtual bool render(Image& image) = 0;

    virtual void setPaused(bool paused) = 0;

    // Becomes readable when advance() has something to do; -1 if that never happens.
    virtual int eventFd() const { return -1; }

    // Does the work that is due. Call it often. Returns the error if the source has failed; the source then
    // keeps its last frame.
    virtual std::string advance() { return {}; }

    // The current film in the form of the control connection's `film` event; empty if there is no film.
    virtual std::string film() { return {}; }
};

}  // namespace pipeline

#endif
