#ifndef AIPQ_TELEVISION_KEEPER_H
#define AIPQ_TELEVISION_KEEPER_H

#include <signal.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "run_folder.h"
#include "serve.h"

namespace television {

// A command and its television.
struct Run {
    TelevisionOptions television;
    std::optional<simulated::Scenario> scenario;
    int log;  // a descriptor; -1 for none
    std::string logName;
    std::vector<std::string> command;
    char** words;  // the program's own command line
    // The command's signal mask: the mask with which the caller was started.
    sigset_t signalMask;
    void (*childAction)(int);
};

// The signals that the caller forwards to the keeper. It calls sigqueue() with one of these values.
sigset_t forwardedSignals();
constexpr int FOR_COMMAND = 1;
constexpr int COMMAND_HAS_IT = 2;  // the command got it too: the terminal sent it to the whole group

// Runs the keeper process (see run_command.h), a child of `caller`. The keeper receives SIGCHLD when `caller`
// ends. Returns the exit code of the run.
int keep(const Run& run, const RunFolder& folder, pid_t caller);

}  // namespace television

#endif
