// Playing and recording of scenarios from the page.
#ifndef TELEVISION_SCENARIOS_H
#define TELEVISION_SCENARIOS_H

#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>

#include "recent_events.h"
#include "simulated/scenario_recorder.h"
#include "stage.h"

namespace television {

// All operations are callable from any thread. Those that take a request throw Refusal.
class Scenarios {
  public:
    Scenarios(simulated::Television& television, Stage stage, std::shared_ptr<RecentEvents> recent);

    // {"name", "text"}: the name and the content of a scenario file
    std::string play(const nlohmann::json& request);
    // {}
    std::string stop(const nlohmann::json& request);
    // {"on": BOOLEAN}
    std::string record(const nlohmann::json& request);

    bool plays() const { return m_stage.plays(); }
    bool records() const;
    // Returns the current or the last recording. Throws Refusal if there is none.
    std::string recording() const;

  private:
    simulated::Television& m_television;
    const Stage m_stage;
    const std::shared_ptr<RecentEvents> m_recent;
    mutable std::mutex m_mutex;
    std::unique_ptr<simulated::ScenarioRecorder> m_recorder;
    std::string m_recorded;
};

}  // namespace television

#endif
