#ifndef AIPQCTL_WATCH_H
#define AIPQCTL_WATCH_H

#include <string>
#include <vector>

#include "command.h"
#include "event_stream.h"
#include "key_definitions.h"

namespace aipqctl {

struct Watched {
    std::string name;  // as on the command line
    KeyDefinition key;
};

// Prints the values of the keys, and then each change. Skips keys that cannot be read, unless all cannot.
void watch(const std::vector<Watched>& keys, const StreamLimits& limits, Context& context);

}  // namespace aipqctl

#endif
