// What a scenario does on the simulated television, and its text form (docs/scenarios.md).
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

// Every fault is taken away.
struct ClearFaults {};

// The key has this value, at the latest after so long.
struct Expect {
    std::string key;
    Value value;
    std::chrono::milliseconds within{0};
};

using Action = std::variant<SetKey, Announce, Invoke, SelectChannel, SetPlaying, ShowVideo, ShowScene, Tell,
                            SetPower, SetFault, ClearFaults, Expect>;

// The key has this value, or gets it.
struct KeyReaches {
    std::string key;
    Value value;
};

// The key gets another value.
struct KeyChanges {
    std::string key;
};

// A client is subscribed to the key, or subscribes.
struct ClientSubscribes {
    std::string key;
};

// An application of this name is registered at the application manager, or registers.
struct ApplicationRegisters {
    std::string application;
};

// An application, or the one of this name, reports this status to the application manager.
struct ApplicationReports {
    std::string application;
    int status;
};

// So many frames are delivered.
struct FramesArrive {
    unsigned count;
};

// The channel of this number is on, or comes on; for an empty number, the channel changes.
struct ChannelChanges {
    std::string number;
};

using Condition = std::variant<KeyReaches, KeyChanges, ClientSubscribes, ApplicationRegisters,
                               ApplicationReports, FramesArrive, ChannelChanges>;

struct After {
    Condition condition;
    std::chrono::milliseconds within;
};

// Waits for its time since the start, or its event, and then for as long as it says; then acts.
struct Step {
    std::size_t line = 0;  // in the text; 0 for a step without one
    std::optional<std::chrono::milliseconds> at = {};
    std::optional<After> after = {};
    std::chrono::milliseconds wait{0};
    Action action;
};

struct Scenario {
    std::string name;  // of the file, for messages
    std::string title;
    std::string video;         // the path of a film, "scenes" or "off"; empty for what is shown already
    bool scaleLimits = false;  // a player's speed shortens the limits of events and expectations, too
    std::vector<Step> steps;
};

// Throws std::runtime_error, NAME:LINE:COLUMN: what is wrong, for a text that is no scenario, or one that the
// television with these keys cannot play. Opens its films.
Scenario parseScenario(std::string_view text, const std::string& name,
                       const std::vector<KeyDefinition>& keys = Television::instance().model().keys());

// Throws the same for a text that is no TOML in UTF-8, whatever the television.
void checkText(std::string_view text, const std::string& name);

// A text that parses to the same scenario.
std::string formatScenario(const Scenario& scenario);
// A part of it.
std::string formatStep(const Step& step);

// In one line, for people.
std::string describe(const Action& action);
std::string describe(const Condition& condition);
std::string describe(const Value& value);
std::string describe(std::chrono::milliseconds time);  // the seconds

}  // namespace simulated

#endif
