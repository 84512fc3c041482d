// Prefers the colour description of a stream to that of its container.
#ifndef PIPELINE_STREAM_COLOUR_H
#define PIPELINE_STREAM_COLOUR_H

#include <string>

#include "gst_owned.h"

namespace pipeline {

// For H.264 and HEVC, GStreamer uses the container's colour description even if the stream has its own, which
// loses full range in MP4. This class restores the stream's description; without one, the container's counts.
// It must outlive the elements that it follows.
class StreamColour {
  public:
    StreamColour() = default;
    StreamColour(const StreamColour&) = delete;
    StreamColour& operator=(const StreamColour&) = delete;

    // Does nothing unless the element is a parser of H.264 or HEVC.
    void follow(GstElement* element);

  private:
    static GstPadProbeReturn onContainer(GstPad* pad, GstPadProbeInfo* info, gpointer self);
    static GstPadProbeReturn onStream(GstPad* pad, GstPadProbeInfo* info, gpointer self);

    std::string m_container;  // the container's description; empty if there is none
};

}  // namespace pipeline

#endif
