#ifndef SIMULATED_SCENARIO_PLAYER_H
#define SIMULATED_SCENARIO_PLAYER_H

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "simulated/scenario.h"

namespace simulated {

// Plays a scenario on the television. The constructor starts it on its own thread.
class ScenarioPlayer {
  public:
    struct Progress {
        std::size_t line;                // of the finished step
        std::chrono::milliseconds time;  // since the start, in the scenario's time
        std::string text;                // describes the step
    };

    enum class Outcome { FINISHED, FAILED, STOPPED };

    struct Result {
        Outcome outcome;
        std::string text;  // the reason of a failure: FILE:LINE: the expected and the actual state
    };

    // Called on the player's thread, one call at a time. The functions must not throw, wait for this player
    // or destroy it. Empty functions are not called.
    struct Listener {
        std::function<void(const Progress&)> onStep = {};
        std::function<void(const Result&)> onEnd = {};
    };

    static constexpr double LOWEST_SPEED = 0.001;
    static constexpr double HIGHEST_SPEED = 1'000'000;

    // `speed` shortens the times of steps and their waits. It shortens the limits of events and expectations
    // only if the scenario requests it, and never the times of faults. Throws std::invalid_argument if the
    // speed is out of range.
    ScenarioPlayer(Television& television, Scenario scenario, Listener listener, double speed = 1);
    // Stops the player and waits for its end.
    ~ScenarioPlayer();
    ScenarioPlayer(const ScenarioPlayer&) = delete;
    ScenarioPlayer& operator=(const ScenarioPlayer&) = delete;

    // Makes the player end before its next step. Any thread; does not wait.
    void stop();

    // Waits until the player has ended and the listener's last call has returned.
    Result wait();
    // The result; none while the scenario plays. Any thread. It is set before onEnd is called.
    std::optional<Result> result() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace simulated

#endif
