// The simulated television that AIPQ_TV names, if it runs in another process. On a real television there is
// none.
#ifndef AIPQCTL_SIMULATED_TELEVISION_H
#define AIPQCTL_SIMULATED_TELEVISION_H

#include <optional>
#include <string>
#include <vector>

namespace aipqctl {

// Throws Failure (2) if AIPQ_TV is neither a valid name nor a valid address.
void requireTelevisionName();

// Returns the name or the address in AIPQ_TV; empty if the television does not run in another process.
std::string televisionName();

// Identifies one run of that television; empty if it does not run. Returns nothing if the television does not
// run in another process.
std::optional<std::string> televisionRun();

// Returns the names of this user's running televisions.
std::vector<std::string> runningTelevisions();

// Returns the television's reason for a missing picture; empty if it reports none.
std::string videoProblem();

}  // namespace aipqctl

#endif
