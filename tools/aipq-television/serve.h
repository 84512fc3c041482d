// The simulated television as this very process, for clients on a bus.
#ifndef AIPQ_TELEVISION_SERVE_H
#define AIPQ_TELEVISION_SERVE_H

#include <signal.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "protocol.h"

struct TelevisionOptions {
    std::string name = remote::DEFAULT_NAME;
    std::string bus;  // its address; empty for a bus of its own
    std::string video = "scenes";
    std::string catalogue;  // empty for the one that the environment names, or the built-in one
    std::optional<int> screenPort;
};

// Why a file named on the command line cannot be used.
struct BadFile : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Blocks the signals that end a television, and returns them; to be called before any thread is started, so
// that all of them leave these signals to serve().
sigset_t takeEndSignals();

// Serves until one of `endSignals`; returns an exit code. Throws std::invalid_argument for a name or an
// address that cannot be one, BadFile, and std::runtime_error for what else is wrong.
int serve(const TelevisionOptions& options, const sigset_t& endSignals);

#endif
