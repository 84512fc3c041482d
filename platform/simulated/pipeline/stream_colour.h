// The colours that a stream says it has, where its container contradicts.
#ifndef PIPELINE_STREAM_COLOUR_H
#define PIPELINE_STREAM_COLOUR_H

#include <string>

#include "gst_owned.h"

namespace pipeline {

// GStreamer takes a container's description of the colours for H.264 and HEVC, also where the stream has its
// own: full range in MP4 is lost that way. With this, the stream's own description counts, and the
// container's where the stream has none. To outlive the elements that it follows.
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

    std::string m_container;  // its description; empty if there is none
};

}  // namespace pipeline

#endif
