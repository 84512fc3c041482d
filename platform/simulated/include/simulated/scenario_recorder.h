#ifndef SIMULATED_SCENARIO_RECORDER_H
#define SIMULATED_SCENARIO_RECORDER_H

#include <chrono>
#include <mutex>
#include <string>

#include "simulated/scenario.h"

namespace simulated {

// Records what happens on the television, from its construction on: what clients, people and tools do to it,
// not what follows from that, which happens again when it is played.
class ScenarioRecorder {
  public:
    explicit ScenarioRecorder(Television& television, const std::string& title = std::string());

    // What has been recorded so far. Any thread.
    Scenario scenario() const;

  private:
    void record(const Event& event);

    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    mutable std::mutex m_mutex;
    Scenario m_scenario;
    Events::Subscription m_subscription;  // last: it uses all of the above
};

}  // namespace simulated

#endif
