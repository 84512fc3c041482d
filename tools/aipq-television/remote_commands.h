// What aipq-television does on a television that runs already, as another process.
#ifndef AIPQ_TELEVISION_REMOTE_COMMANDS_H
#define AIPQ_TELEVISION_REMOTE_COMMANDS_H

#include <signal.h>

#include <string>

#include "protocol.h"

namespace television {

// Both print what they do, and end early with one of `endSignals`, which every thread has blocked. They
// return an exit code; what is wrong has been said then.

// Plays the scenario in `file` and follows its steps. Nothing is played of a malformed file.
int playScenario(const remote::Place& place, const std::string& file, double speed,
                 const sigset_t& endSignals);

// Records what happens until one of the signals, into `file`.
int recordScenario(const remote::Place& place, const std::string& file, const std::string& title,
                   const sigset_t& endSignals);

}  // namespace television

#endif
