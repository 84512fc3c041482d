#include "stream_colour.h"

#include <string_view>

namespace pipeline {
namespace {

constexpr char FIELD[] = "colorimetry";

// Returns null for other events than caps.
Owned<GstCaps> capsIn(GstPadProbeInfo* info) {
    GstEvent* const event = gst_pad_probe_info_get_event(info);
    if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) return nullptr;
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    return Owned<GstCaps>(gst_caps_copy(caps));
}

void replace(GstPadProbeInfo* info, GstCaps* caps) {
    gst_event_unref(gst_pad_probe_info_get_event(info));
    info->data = gst_event_new_caps(caps);
}

}  // namespace

void StreamColour::follow(GstElement* element) {
    const std::string_view name = gst_plugin_feature_get_name(gst_element_get_factory(element));
    if (name != "h264parse" && name != "h265parse") return;
    m_container.clear();
    const Owned<GstPad> in(gst_element_get_static_pad(element, "sink"));
    const Owned<GstPad> out(gst_element_get_static_pad(element, "src"));
    gst_pad_add_probe(in.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, &StreamColour::onContainer, this,
                      nullptr);
    gst_pad_add_probe(out.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, &StreamColour::onStream, this, nullptr);
}

GstPadProbeReturn StreamColour::onContainer(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer self) {
    const Owned<GstCaps> caps = capsIn(info);
    if (!caps) return GST_PAD_PROBE_OK;
    GstStructure* const content = gst_caps_get_structure(caps.get(), 0);
    const gchar* const colours = gst_structure_get_string(content, FIELD);
    if (colours == nullptr) return GST_PAD_PROBE_OK;
    static_cast<StreamColour*>(self)->m_container = colours;
    gst_structure_remove_field(content, FIELD);
    replace(info, caps.get());
    return GST_PAD_PROBE_OK;
}

GstPadProbeReturn StreamColour::onStream(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer self) {
    const std::string& colours = static_cast<StreamColour*>(self)->m_container;
    const Owned<GstCaps> caps = capsIn(info);
    if (!caps || colours.empty()) return GST_PAD_PROBE_OK;
    GstStructure* const content = gst_caps_get_structure(caps.get(), 0);
    if (gst_structure_has_field(content, FIELD) != FALSE) return GST_PAD_PROBE_OK;
    gst_structure_set(content, FIELD, G_TYPE_STRING, colours.c_str(), nullptr);
    replace(info, caps.get());
    return GST_PAD_PROBE_OK;
}

}  // namespace pipeline
