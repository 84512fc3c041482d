// A video file that is decoded in real time and repeated endlessly.
#ifndef PIPELINE_CLIP_SOURCE_H
#define PIPELINE_CLIP_SOURCE_H

#include <memory>
#include <stop_token>
#include <string>

#include "frame_source.h"

namespace pipeline {

struct OpenedClip {
    std::unique_ptr<FrameSource> source;
    std::string problem;  // the reason if there is no source
};

// Returns when the first frame is decoded; then the clip plays. This can take seconds. A stop request ends it
// early.
OpenedClip openClip(const std::string& path, const std::stop_token& stop);

}  // namespace pipeline

#endif
