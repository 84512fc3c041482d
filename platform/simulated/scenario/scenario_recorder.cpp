#include "simulated/scenario_recorder.h"

#include <type_traits>

namespace simulated {

ScenarioRecorder::ScenarioRecorder(Television& television, const std::string& title)
    : m_subscription(television.events(), [this](const Event& event) { record(event); }) {
    const VideoPipeline& video = television.video();
    const std::string clip = video.clip();
    const std::string shown = !video.running() ? "" : clip.empty() ? "scenes" : clip;
    // Only now: events come with the television's parts locked.
    const std::lock_guard lock(m_mutex);
    m_scenario.title = title;
    m_scenario.video = shown;
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
                m_scenario.steps.push_back(std::move(step));
            }
        },
        event.what);
}

}  // namespace simulated
