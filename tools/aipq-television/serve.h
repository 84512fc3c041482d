// The simulated television as this process, for clients on a bus.
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
    std::string bus;  // its address; empty for a bus of its own
    std::string video = "scenes";
    std::string catalogue;  // empty for that of the environment, or else the built-in one
    std::optional<int> screenPort;
};

// Why a file named on the command line cannot be used.
struct BadFile : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// For a television that belongs to one command.
struct RunRequest {
    std::optional<simulated::Scenario> scenario;
    // Called when the television is on and the scenario's steps that wait for nothing are done. An exception
    // from it ends the television.
    std::function<void()> onReady;
    // Called on the scenario's thread.
    std::function<void(const std::string& why)> onScenarioFailure;
};

// Throws BadFile for a film that cannot be read.
void checkFilm(const std::string& video);

// Throws BadFile for a catalogue that cannot be used.
std::vector<simulated::KeyDefinition> loadKeys(const TelevisionOptions& options);

// Blocks the signals that end a television, and returns them. Call it before any thread is started: serve()
// waits for these signals, and no thread may receive them.
sigset_t takeEndSignals();

// Serves until one of `endSignals`. Throws std::invalid_argument for a name or an address that cannot be one,
// BadFile, and std::runtime_error for other problems. Without a picture, only a television that belongs to a
// command throws.
void serve(const TelevisionOptions& options, const sigset_t& endSignals, const RunRequest* request = nullptr);

}  // namespace television

#endif
