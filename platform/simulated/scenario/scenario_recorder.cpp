#include "simulated/scenario_recorder.h"

#include <stdexcept>
#include <type_traits>
#include <utility>

#include "catalogue/catalogue.h"
#include "catalogue/keys.h"
#include "simulated/faults.h"

namespace simulated {

namespace {

std::string shownBy(const VideoPipeline& video) {
    if (!video.running() && !video.killed()) return "off";
    const std::string clip = video.clip();
    return clip.empty() ? "scenes" : clip;
}

std::string channelOf(Television& television) {
    try {
        return television.sourceSwitch().channelNumber();
    } catch (const std::out_of_range&) {
        return {};  // the catalogue may have no channel list
    }
}

// Whether a scenario file can contain the value: it must pass the checks of a scenario.
bool canBeWritten(const KeyDefinition& key, const Value& value) {
    const auto* const text = std::get_if<std::string>(&value);
    return !std::holds_alternative<std::monostate>(value) && refusal(key, value).empty() &&
           (text == nullptr || text->find('\0') == std::string::npos);
}

// The actions that bring any television into the state of this television.
std::vector<Action> stateOf(Television& television) {
    std::vector<Action> actions{ClearFaults{}, SetPower{false}};
    // Values that change other values come first.
    if (const std::string channel = channelOf(television); !channel.empty())
        actions.push_back(SelectChannel{channel});
    actions.push_back(SetPlaying{television.sourceSwitch().playing()});
    actions.push_back(ShowScene{television.video().programme()});
    const bool suspended = television.suspended();
    for (const KeyDefinition& key : television.model().keys()) {
        const bool isKept = suspended && key.name == catalogue::keys::VIDEO_FORMAT;
        const Value value = isKept ? television.suspendedFormat() : television.model().value(key.name);
        if (canBeWritten(key, value)) actions.push_back(SetKey{key.name, value});
    }
    for (const SetFault& fault : activeFaults(television)) actions.push_back(fault);
    if (suspended) actions.push_back(SetPower{true});
    return actions;
}

}  // namespace

ScenarioRecorder::ScenarioRecorder(Television& television, const std::string& title, Listener onText)
    : m_onText(std::move(onText)),
      m_subscription(television.events(), [this](const Event& event) { record(event); }) {
    Scenario scenario;
    scenario.title = title;
    scenario.video = shownBy(television.video());
    for (Action& action : stateOf(television)) {
        Step step;
        step.action = std::move(action);
        scenario.steps.push_back(std::move(step));
    }
    // Locked only now: events arrive while parts of the television are locked.
    const std::lock_guard lock(m_mutex);
    scenario.steps.insert(scenario.steps.end(), m_scenario.steps.begin(), m_scenario.steps.end());
    m_scenario = std::move(scenario);
    m_begun = true;
    if (m_onText) m_onText(formatScenario(m_scenario));
}

Scenario ScenarioRecorder::scenario() const {
    const std::lock_guard lock(m_mutex);
    return m_scenario;
}

void ScenarioRecorder::record(const Event& event) {
    if (event.consequence) return;
    std::visit(
        [this](const auto& what) {
            if constexpr (std::is_constructible_v<Action, decltype(what)>) {
                const auto time = std::chrono::steady_clock::now() - m_start;
                const std::lock_guard lock(m_mutex);
                Step step;
                step.at = std::chrono::duration_cast<std::chrono::milliseconds>(time);
                step.action = what;
                if (m_begun && m_onText) m_onText(std::string("\n").append(formatStep(step)));
                m_scenario.steps.push_back(std::move(step));
            }
        },
        event.what);
}

}  // namespace simulated
