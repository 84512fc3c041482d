// A video file, decoded in real time and repeated without end.
#ifndef PIPELINE_CLIP_SOURCE_H
#define PIPELINE_CLIP_SOURCE_H

#include <memory>
#include <stop_token>
#include <string>

#include "frame_source.h"

namespace pipeline {

struct OpenedClip {
    std::unique_ptr<FrameSource> source;
    std::string problem;  // why there is no source
};

// Returns when the first frame is there, and starts playing then. This can take seconds; a stop ends it
// early.
OpenedClip openClip(const std::string& path, const std::stop_token& stop);

}  // namespace pipeline

#endif
