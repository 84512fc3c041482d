#include "event_text.h"

#include <string>
#include <variant>

#include "controls.h"
#include "recent_events.h"

namespace television {

using nlohmann::json;

namespace {

json line(const char* kind, const std::string& text) { return {{"kind", kind}, {"text", text}}; }

struct Describe {
    json operator()(const simulated::SetKey& event) const {
        const json value = toJson(event.value);
        json described = line("value", event.key + " = " + asText(value));
        described["key"] = event.key;
        described["value"] = value;
        return described;
    }
    json operator()(const simulated::Announce& event) const {
        return line("value", event.key + " is announced again");
    }
    json operator()(const simulated::Invoke& event) const {
        std::string arguments;
        for (const lomodelapi::Argument& argument : event.arguments)
            arguments += ' ' + std::to_string(argument.position) + '=' + argument.value;
        return line("action", event.key + " is invoked with" + arguments);
    }
    json operator()(const simulated::SelectChannel& event) const {
        return line("remote", "channel " + event.number);
    }
    json operator()(const simulated::SetPlaying& event) const {
        return line("remote", event.playing ? "play" : "pause");
    }
    json operator()(const simulated::ShowVideo& event) const { return line("video", event.video); }
    json operator()(const simulated::ShowScene& event) const {
        return line("video", event.scene.empty() ? "the original picture" : "scene " + event.scene);
    }
    json operator()(const simulated::Notify& event) const {
        const std::string whom = event.application.empty() ? "every application" : event.application;
        return line("power", simulated::lifecycleName(event.notification) + " is sent to " + whom);
    }
    json operator()(const simulated::SetPower& event) const {
        return line("power",
                    event.suspended ? "the television is suspended to RAM" : "the television is awake");
    }
    json operator()(const simulated::SetFault& event) const {
        const std::string whose = event.key.empty() ? "" : " of " + event.key;
        return line("fault", event.fault + whose + " = " + std::to_string(event.value));
    }
    json operator()(const simulated::ClientConnected& event) const {
        return line("client", "a client subscribes to " + event.key);
    }
    json operator()(const simulated::ApplicationRegistered& event) const {
        return line("client", "the application " + event.application + " registers");
    }
    json operator()(const simulated::ApplicationReported& event) const {
        return line("client", "the application " + event.application + " reports status " +
                                  std::to_string(event.status));
    }
    json operator()(const simulated::FrameDelivered&) const { return nullptr; }
    json operator()(const simulated::PipelineDied& event) const { return line("video", event.text); }
    json operator()(const simulated::PipelineRestarted&) const {
        return line("video", "the video pipeline runs again");
    }
};

}  // namespace

json toLogLine(const simulated::Event& event) { return std::visit(Describe(), event.what); }

}  // namespace television
