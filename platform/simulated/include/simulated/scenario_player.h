#ifndef SIMULATED_SCENARIO_PLAYER_H
#define SIMULATED_SCENARIO_PLAYER_H

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "simulated/scenario.h"

namespace simulated {

// Plays a scenario on the television, on a thread of its own, from its construction on.
class ScenarioPlayer {
  public:
    struct Progress {
        std::size_t line;                // of the step that has been done
        std::chrono::milliseconds time;  // since the start, in the scenario's time
        std::string text;                // what was done
    };

    enum class Outcome { FINISHED, FAILED, STOPPED };

    struct Result {
        Outcome outcome;
        std::string text;  // why it failed: FILE:LINE: what was expected, and what was there
    };

    // Called on the player's thread, one at a time; they must not throw, nor wait for this player or destroy
    // it. Empty ones are not called.
    struct Listener {
        std::function<void(const Progress&)> onStep = {};
        std::function<void(const Result&)> onEnd = {};
    };

    static constexpr double LOWEST_SPEED = 0.001;
    static constexpr double HIGHEST_SPEED = 1'000'000;

    // `speed` shortens the times of steps and their waits. It shortens the limits within which something is
    // to happen only if the scenario says so, and never the times of faults. Throws std::invalid_argument for
    // a speed beyond its limits.
    ScenarioPlayer(Television& television, Scenario scenario, Listener listener, double speed = 1);
    // Stops it and waits for its end.
    ~ScenarioPlayer();
    ScenarioPlayer(const ScenarioPlayer&) = delete;
    ScenarioPlayer& operator=(const ScenarioPlayer&) = delete;

    // It ends before its next step. Any thread; does not wait.
    void stop();

    // Waits until it has ended and the last call of the listener has returned.
    Result wait();
    // None while it plays. Any thread; onEnd finds it set.
    std::optional<Result> result() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace simulated

#endif
