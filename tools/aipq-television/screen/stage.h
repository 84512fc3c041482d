#ifndef TELEVISION_STAGE_H
#define TELEVISION_STAGE_H

#include <functional>

#include "simulated/scenario_player.h"

namespace television {

// Plays the television's scenarios, one at a time. All functions are callable from any thread.
struct Stage {
    // Starts playing a scenario. Throws std::runtime_error if another scenario is playing.
    std::function<void(simulated::Scenario scenario, simulated::ScenarioPlayer::Listener listener)> play;
    // Stops the scenario that is playing.
    std::function<void()> stop;
    std::function<bool()> plays;
};

}  // namespace television

#endif
