#ifndef TELEVISION_EVENT_TEXT_H
#define TELEVISION_EVENT_TEXT_H

#include <nlohmann/json.hpp>

#include "simulated/events.h"

namespace television {

// A line of the page's log: "kind" and "text", and "key" and "value" if a key has another value. Null for an
// event that comes too often to be read.
nlohmann::json toLogLine(const simulated::Event& event);

}  // namespace television

#endif
