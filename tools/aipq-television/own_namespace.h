#ifndef AIPQ_TELEVISION_OWN_NAMESPACE_H
#define AIPQ_TELEVISION_OWN_NAMESPACE_H

#include <stdexcept>

struct NoNamespace : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Moves this process into a new IPC namespace; without the right to do so, also into a new user namespace, in
// which its user and its group have the same numbers. To be called before any thread is started. Throws
// NoNamespace, which says what is missing.
void enterOwnIpcNamespace();

#endif
