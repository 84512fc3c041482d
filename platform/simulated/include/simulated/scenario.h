// The steps of a scenario on the simulated television, and the text form of a scenario (docs/scenarios.md).
#ifndef SIMULATED_SCENARIO_H
#define SIMULATED_SCENARIO_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "simulated/events.h"
#include "simulated/model.h"
#include "simulated/television.h"

namespace simulated {

// All faults are cleared.
struct ClearFaults {};

// The key must have this value within the given time.
struct Expect {
    std::string key;
    Value value;
    std::chrono::milliseconds within{0};
};

using Action = std::variant<SetKey, Announce, Invoke, SelectChannel, SetPlaying, ShowVideo, ShowScene, Notify,
                            SetPower, SetFault, ClearFaults, Expect>;

// Occurs when the key has this value, or gets it.
struct KeyReaches {
    std::string key;
    Value value;
};

// Occurs when the value of the key changes.
struct KeyChanges {
    std::string key;
};

// Occurs when a client is subscribed to the key, or subscribes.
struct ClientSubscribes {
    std::string key;
};

// Occurs when an application of this name is registered at the application manager, or registers.
struct ApplicationRegisters {
    std::string application;
};

// Occurs when an application, or the named one, reports this status to the application manager.
struct ApplicationReports {
    std::string application;
    int status;
};

// Occurs after this many delivered frames.
struct FramesArrive {
    unsigned count;
};

// Occurs when the channel of this number is selected or gets selected. With an empty number, occurs at a
// channel change.
struct ChannelChanges {
    std::string number;
};

using Condition = std::variant<KeyReaches, KeyChanges, ClientSubscribes, ApplicationRegisters,
                               ApplicationReports, FramesArrive, ChannelChanges>;

struct After {
    Condition condition;
    std::chrono::milliseconds within;
};

// A step waits for its time since the start, or for its event, then for its pause, and then acts.
struct Step {
    std::size_t line = 0;  // in the text; 0 for a step without one
    std::optional<std::chrono::milliseconds> at = {};
    std::optional<After> after = {};
    std::chrono::milliseconds wait{0};
    Action action;
};

struct Scenario {
    std::string name;  // the file name, for messages
    std::string title;
    std::string video;         // the path of a film, "scenes" or "off"; empty for no change
    bool scaleLimits = false;  // a player's speed also shortens the limits of events and expectations
    std::vector<Step> steps;
};

// Parses a scenario and opens its films. Throws std::runtime_error with the text "NAME:LINE:COLUMN: error" if
// the text is not a scenario, or if the television with these keys cannot play it.
Scenario parseScenario(std::string_view text, const std::string& name,
                       const std::vector<KeyDefinition>& keys = Television::instance().model().keys());

// Throws the same error if the text is not TOML in UTF-8. Does not check it against a television.
void checkText(std::string_view text, const std::string& name);

// Returns a text that parses to the same scenario.
std::string formatScenario(const Scenario& scenario);
// Returns the text of one step.
std::string formatStep(const Step& step);

// One line, for people.
std::string describe(const Action& action);
std::string describe(const Condition& condition);
std::string describe(const Value& value);
std::string describe(std::chrono::milliseconds time);  // in seconds

}  // namespace simulated

#endif
