#ifndef SIMULATED_SCENARIO_RECORDER_H
#define SIMULATED_SCENARIO_RECORDER_H

#include <chrono>
#include <functional>
#include <mutex>
#include <string>

#include "simulated/scenario.h"

namespace simulated {

// Records what happens on the television; the constructor starts it. First records the state of the
// television, then the operations of clients, people and tools. Does not record their consequences, which
// playing repeats.
class ScenarioRecorder {
  public:
    // Receives the text of the scenario as it grows: first everything up to now, then each step. Parts of the
    // television are locked during the call: the listener must not call the television, and must not wait for
    // a thread that does.
    using Listener = std::function<void(const std::string& text)>;

    explicit ScenarioRecorder(Television& television, const std::string& title = std::string(),
                              Listener onText = {});

    // Returns the scenario recorded until now. Any thread.
    Scenario scenario() const;

  private:
    void record(const Event& event);

    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    const Listener m_onText;
    mutable std::mutex m_mutex;
    bool m_begun = false;  // the scenario contains the initial state
    Scenario m_scenario;
    Events::Subscription m_subscription;  // last: it uses all of the above
};

}  // namespace simulated

#endif
