#ifndef AIPQ_TELEVISION_OWN_NAMESPACE_H
#define AIPQ_TELEVISION_OWN_NAMESPACE_H

#include <stdexcept>

namespace television {

struct NoNamespace : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Moves this process into a new IPC namespace. Without the right to do so, moves it into a new user namespace
// first, in which its user and its group keep their numbers. Call it before any thread is started. Throws
// NoNamespace with what is missing.
void enterOwnIpcNamespace();

}  // namespace television

#endif
