#ifndef TELEVISION_STAGE_H
#define TELEVISION_STAGE_H

#include <functional>

#include "simulated/scenario_player.h"

namespace television {

// Where the television's scenarios play, one at a time. All of it: any thread.
struct Stage {
    // Plays a scenario from now on. Throws std::runtime_error if one plays already.
    std::function<void(simulated::Scenario scenario, simulated::ScenarioPlayer::Listener listener)> play;
    // Ends what plays.
    std::function<void()> stop;
    std::function<bool()> plays;
};

}  // namespace television

#endif
