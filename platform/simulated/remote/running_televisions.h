// The simulated televisions that run.
#ifndef REMOTE_RUNNING_TELEVISIONS_H
#define REMOTE_RUNNING_TELEVISIONS_H

#include <string>
#include <vector>

#include "protocol.h"

namespace remote {

// Identifies one run of the television; empty if it does not run.
std::string runAt(const Place& place);

// Returns the sorted names of this user's running televisions with a private bus.
std::vector<std::string> runningTelevisions();

}  // namespace remote

#endif
