#ifndef SIMULATED_SCENARIO_RECORDER_H
#define SIMULATED_SCENARIO_RECORDER_H

#include <chrono>
#include <functional>
#include <mutex>
#include <string>

#include "simulated/scenario.h"

namespace simulated {

// Records what happens on the television, from its construction on: at first the state that it finds, then
// what clients, people and tools do to it, not what follows from that, which happens again when it is played.
class ScenarioRecorder {
  public:
    // Receives the text of the scenario as it grows: first everything up to now, then each step. Called with
    // parts of the television locked: it must not call the television, nor wait for a thread that does.
    using Listener = std::function<void(const std::string& text)>;

    explicit ScenarioRecorder(Television& television, const std::string& title = std::string(),
                              Listener onText = {});

    // What has been recorded so far. Any thread.
    Scenario scenario() const;

  private:
    void record(const Event& event);

    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    const Listener m_onText;
    mutable std::mutex m_mutex;
    bool m_begun = false;  // the state that was found is in the scenario
    Scenario m_scenario;
    Events::Subscription m_subscription;  // last: it uses all of the above
};

}  // namespace simulated

#endif
