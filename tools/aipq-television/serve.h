// Runs the simulated television in this process, for clients on a bus.
#ifndef AIPQ_TELEVISION_SERVE_H
#define AIPQ_TELEVISION_SERVE_H

#include <signal.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "protocol.h"
#include "simulated/scenario.h"

namespace television {

struct TelevisionOptions {
    std::string name = remote::DEFAULT_NAME;
    std::string bus;  // the address; empty for a private bus
    std::string video = "scenes";
    std::string catalogue;  // empty for AIPQ_TV_CATALOGUE or the built-in catalogue
    std::optional<int> screenPort;
};

// Why a file named on the command line cannot be used.
struct BadFile : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The options of a television that belongs to one command.
struct RunRequest {
    std::optional<simulated::Scenario> scenario;
    // Called when the television is on and the leading steps of the scenario that do not wait are done. If it
    // throws, the television ends.
    std::function<void()> onReady;
    // Called on the scenario's thread.
    std::function<void(const std::string& why)> onScenarioFailure;
};

// Throws BadFile for a film that cannot be read.
void checkFilm(const std::string& video);

// Throws BadFile for a catalogue that cannot be used.
std::vector<simulated::KeyDefinition> loadKeys(const TelevisionOptions& options);

// Blocks the signals that end a television, and returns them. Call it before any thread is started: only
// serve() may receive these signals.
sigset_t takeEndSignals();

// Serves until one of `endSignals`. Throws std::invalid_argument for a malformed name or address, BadFile,
// and std::runtime_error for other errors. If the picture fails, it throws only for a television that belongs
// to a command.
void serve(const TelevisionOptions& options, const sigset_t& endSignals, const RunRequest* request = nullptr);

}  // namespace television

#endif
