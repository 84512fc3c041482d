// A private television for one command.
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

// Runs the command with its own television in a new IPC namespace until one of the two ends. Then ends all
// other processes of both. Returns the command's exit code, or 128 plus the number of the signal that killed
// it. After an error, prints it and returns a code of exit_code.h. Throws BadFile. Call it before any thread
// is started, with the argv of main(): the other processes overwrite it with their names.
//
// Three processes take part:
//
//   the caller      forwards signals to the keeper
//   the keeper      a child of the caller, in a session of its own, and the parent of the television and of
//                   the command
//   the television  a child of the keeper, in the keeper's session
//
// Any of them may be killed. When the caller ends, the keeper kills its descendants and removes the folder.
// When the keeper ends, the caller does the same. The command runs in the caller's process group and session.
int runCommand(const RunOptions& options, char** words);

}  // namespace television

#endif
