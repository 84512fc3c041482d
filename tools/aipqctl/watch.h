#ifndef AIPQCTL_WATCH_H
#define AIPQCTL_WATCH_H

#include <set>
#include <string>
#include <vector>

#include "command.h"
#include "event_stream.h"
#include "key_definitions.h"
#include "television_presence.h"

namespace aipqctl {

struct Watched {
    std::string name;  // as on the command line
    KeyDefinition key;
};

// Distinguishes a television that leaves from a single key that leaves.
class Presence {
  public:
    // Returns the event to print when a key leaves or returns; null if it was printed already.
    Json change(const std::string& name, const std::string& key, bool available);

  private:
    std::string m_run = answeringRun();
    bool m_left = false;
    std::set<std::string> m_gone;
};

// Prints the values of the keys, and then each change. Skips keys that cannot be read, unless all cannot.
void watch(const std::vector<Watched>& keys, const StreamLimits& limits, Context& context);

}  // namespace aipqctl

#endif
