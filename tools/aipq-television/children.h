#ifndef AIPQ_TELEVISION_CHILDREN_H
#define AIPQ_TELEVISION_CHILDREN_H

#include <sys/types.h>

#include <vector>

// The children of this process.
std::vector<pid_t> children();

// From now on, a descendant whose parent ends becomes this process's child.
void adoptOrphans();

// Kills all descendants of this process, which must adopt orphans, but for its children `spared` and their
// descendants. Ignores descendants that it has no right to kill.
void killDescendants(const std::vector<pid_t>& spared);

// To be called in a new child of `parent`: the child gets this signal when the parent ends.
void signalAtEndOf(pid_t parent, int signal);

#endif
