// A television that belongs to one command.
#ifndef AIPQ_TELEVISION_RUN_COMMAND_H
#define AIPQ_TELEVISION_RUN_COMMAND_H

#include <string>
#include <vector>

#include "serve.h"

namespace television {

struct RunOptions {
    TelevisionOptions television;
    std::string scenario;  // the file to play; empty for none
    std::string log;       // the file for the television's output; empty for none
    std::vector<std::string> command;
};

// Runs the command with a television of its own, in an IPC namespace of its own, until one of them ends, and
// ends all other processes of both. Returns the command's exit code, 128 and the number of the signal that
// ended it, or an exit code of its own (exit_code.h), after it has printed the problem. Throws BadFile. Call
// it before any thread is started, with the argv of main(), over which the other processes write their names.
//
// Three processes do this:
//
//   the caller      forwards signals to the keeper
//   the keeper      a child of the caller, and the parent of the television and of the command
//   the television  a child of the keeper, in a session of its own
//
// Any of them may be killed. When the caller ends, the keeper kills its descendants and removes the folder;
// when the keeper ends, the caller does the same. The command is in the caller's process group and session.
int runCommand(const RunOptions& options, char** words);

}  // namespace television

#endif
