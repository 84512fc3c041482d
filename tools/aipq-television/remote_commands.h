// The commands of aipq-television that act on a running television, which is another process.
#ifndef AIPQ_TELEVISION_REMOTE_COMMANDS_H
#define AIPQ_TELEVISION_REMOTE_COMMANDS_H

#include <signal.h>

#include <string>

#include "protocol.h"

namespace television {

// Both print their progress, and stop early on one of `endSignals`, which every thread must have blocked.
// They report errors themselves and return an exit code.

// Plays the scenario in `file` and prints its steps. A malformed file is rejected before its first step.
int playScenario(const remote::Place& place, const std::string& file, double speed,
                 const sigset_t& endSignals);

// Records events into `file` until one of the signals.
int recordScenario(const remote::Place& place, const std::string& file, const std::string& title,
                   const sigset_t& endSignals);

}  // namespace television

#endif
