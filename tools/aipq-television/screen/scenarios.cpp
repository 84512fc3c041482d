#include "scenarios.h"

#include <stdexcept>
#include <utility>

#include "controls.h"
#include "http_status.h"
#include "simulated/television.h"

namespace television {

using nlohmann::json;
using simulated::ScenarioPlayer;

namespace {

std::string describe(const ScenarioPlayer::Result& result) {
    switch (result.outcome) {
        case ScenarioPlayer::Outcome::FINISHED:
            return "the scenario has ended";
        case ScenarioPlayer::Outcome::STOPPED:
            return "the scenario was stopped";
        case ScenarioPlayer::Outcome::FAILED:
            break;
    }
    return "the scenario failed: " + result.text;
}

}  // namespace

Scenarios::Scenarios(simulated::Television& television, Stage stage, std::shared_ptr<RecentEvents> recent)
    : m_television(television), m_stage(std::move(stage)), m_recent(std::move(recent)) {}

std::string Scenarios::play(const json& request) {
    const std::string name = textMember(request, "name");
    const std::string text = textMember(request, "text");
    if (m_stage.plays()) throw Refusal(CONFLICT, "a scenario is already playing");
    try {
        simulated::Scenario scenario = simulated::parseScenario(text, name, m_television.model().keys());
        m_recent->add({{"kind", "scenario"}, {"text", name + " plays"}});
        // The player may outlive the page.
        const auto onEnd = [recent = m_recent](const ScenarioPlayer::Result& result) {
            recent->add({{"kind", "scenario"}, {"text", describe(result)}});
        };
        m_stage.play(std::move(scenario), {{}, onEnd});
    } catch (const std::runtime_error& error) {
        throw Refusal(UNPROCESSABLE, error.what());
    }
    return {};
}

std::string Scenarios::stop(const json&) {
    if (!m_stage.plays()) throw Refusal(CONFLICT, "no scenario plays");
    m_stage.stop();
    return {};
}

std::string Scenarios::record(const json& request) {
    const bool on = flagMember(request, "on");
    const std::lock_guard lock(m_mutex);
    if (on == (m_recorder != nullptr))
        throw Refusal(CONFLICT, on ? "the page is already recording" : "the page is not recording");
    if (on) {
        m_recorder = std::make_unique<simulated::ScenarioRecorder>(m_television);
    } else {
        m_recorded = simulated::formatScenario(m_recorder->scenario());
        m_recorder.reset();
    }
    m_recent->add({{"kind", "scenario"}, {"text", on ? "the page is recording" : "the recording has ended"}});
    return {};
}

bool Scenarios::records() const {
    const std::lock_guard lock(m_mutex);
    return m_recorder != nullptr;
}

std::string Scenarios::recording() const {
    const std::lock_guard lock(m_mutex);
    if (m_recorder) return simulated::formatScenario(m_recorder->scenario());
    if (m_recorded.empty()) throw Refusal(NOT_FOUND, "nothing has been recorded");
    return m_recorded;
}

}  // namespace television
