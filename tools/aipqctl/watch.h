#ifndef AIPQCTL_WATCH_H
#define AIPQCTL_WATCH_H

#include <string>
#include <vector>

#include "event_stream.h"
#include "key_definitions.h"

namespace aipqctl {

struct Watched {
    std::string name;  // as on the command line
    KeyDefinition key;
};

// Prints the values of the keys, and then each change.
void watch(const std::vector<Watched>& keys, const StreamLimits& limits, bool json);

}  // namespace aipqctl

#endif
