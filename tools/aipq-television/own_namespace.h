#ifndef AIPQ_TELEVISION_OWN_NAMESPACE_H
#define AIPQ_TELEVISION_OWN_NAMESPACE_H

#include <stdexcept>

namespace television {

struct NoNamespace : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Moves this process into a new IPC namespace. If it lacks the right, it first enters a new user namespace in
// which its user and group keep their IDs. Call it before any thread is started. Throws NoNamespace, which
// says what is missing.
void enterOwnIpcNamespace();

}  // namespace television

#endif
