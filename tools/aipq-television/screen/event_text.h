#ifndef TELEVISION_EVENT_TEXT_H
#define TELEVISION_EVENT_TEXT_H

#include <nlohmann/json.hpp>

#include "simulated/events.h"

namespace television {

// Converts an event to a line of the page's log: "kind" and "text", and "key" and "value" after a value
// change. Returns null for an event that is too frequent for the log.
nlohmann::json toLogLine(const simulated::Event& event);

}  // namespace television

#endif
