#ifndef AIPQ_TELEVISION_CHILDREN_H
#define AIPQ_TELEVISION_CHILDREN_H

#include <sys/types.h>

#include <vector>

namespace television {

// Starts a child process. The kernel sends it `signalAtEnd` when the calling thread ends. Returns 0 in the
// child. Throws std::runtime_error.
pid_t startChild(int signalAtEnd);

// Returns the children of this process.
std::vector<pid_t> children();

// From now on, an orphaned descendant becomes a child of this process.
void adoptOrphans();

// Kills all descendants of this process except its children `spared` and their descendants. Ignores a
// descendant that this process must not signal. Call adoptOrphans() first.
void killDescendants(const std::vector<pid_t>& spared);

}  // namespace television

#endif
