#ifndef AIPQ_TELEVISION_CHILDREN_H
#define AIPQ_TELEVISION_CHILDREN_H

#include <sys/types.h>

#include <vector>

namespace television {

// Starts a child process, to which the kernel sends `signalAtEnd` when the calling thread ends. Returns 0 in
// the child. Throws std::runtime_error.
pid_t startChild(int signalAtEnd);

// The children of this process.
std::vector<pid_t> children();

// From now on, a descendant whose parent ends becomes this process's child.
void adoptOrphans();

// Kills all descendants of this process except its children `spared` and their descendants. Ignores
// descendants that it has no right to kill. Call adoptOrphans() first.
void killDescendants(const std::vector<pid_t>& spared);

}  // namespace television

#endif
