// The simulated television that AIPQ_TV names, a process of its own. On a real television there is none.
#ifndef AIPQCTL_SIMULATED_TELEVISION_H
#define AIPQCTL_SIMULATED_TELEVISION_H

#include <optional>
#include <string>
#include <vector>

namespace aipqctl {

// Failure (2) if AIPQ_TV can be neither a name nor an address.
void requireTelevisionName();

// The name that AIPQ_TV gives; empty if the television is not a process of its own.
std::string televisionName();

// Identifies one run of that television; empty if it does not run. Nothing if the television is not a process
// of its own.
std::optional<std::string> televisionRun();

// The televisions of this user that run, by name.
std::vector<std::string> runningTelevisions();

// Why it has no picture, as it says itself; empty if it does not say.
std::string videoProblem();

}  // namespace aipqctl

#endif
