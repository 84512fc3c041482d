// The words of a scenario's text form, for reading and writing.
#ifndef SCENARIO_VOCABULARY_H
#define SCENARIO_VOCABULARY_H

#include <chrono>

namespace simulated {

constexpr std::chrono::seconds DEFAULT_EVENT_LIMIT{30};

constexpr char ANY_CHANNEL[] = "any";
constexpr char SUSPEND[] = "suspend";
constexpr char RESUME[] = "resume";

}  // namespace simulated

#endif
