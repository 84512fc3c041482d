// C++ owners of GStreamer's objects.
#ifndef PIPELINE_GST_OWNED_H
#define PIPELINE_GST_OWNED_H

#include <gst/gst.h>
#include <gst/video/video.h>

#include <memory>

namespace pipeline {

struct Release {
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
    void operator()(GstMessage* message) const { gst_message_unref(message); }
    void operator()(GstSample* sample) const { gst_sample_unref(sample); }
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
    void operator()(GstPad* pad) const { gst_object_unref(pad); }
    void operator()(GstBus* bus) const { gst_object_unref(bus); }
    void operator()(GstElementFactory* factory) const { gst_object_unref(factory); }
    void operator()(GstVideoConverter* converter) const { gst_video_converter_free(converter); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
    void operator()(GstElement* pipeline) const {
        gst_element_set_state(pipeline, GST_STATE_NULL);
        gst_object_unref(pipeline);
    }
};

template <typename T>
using Owned = std::unique_ptr<T, Release>;

// GStreamer's own cast macros are C casts, which this project's warnings forbid. This function casts between
// the base and derived types of instances.
template <typename To, typename From>
To* as(From* instance) {
    return reinterpret_cast<To*>(instance);
}

}  // namespace pipeline

#endif
