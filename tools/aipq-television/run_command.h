// A television that belongs to one command.
#ifndef AIPQ_TELEVISION_RUN_COMMAND_H
#define AIPQ_TELEVISION_RUN_COMMAND_H

#include <string>
#include <vector>

#include "serve.h"

struct RunOptions {
    TelevisionOptions television;
    std::string scenario;  // the file that is played; empty for none
    std::string log;       // the file for what the television prints; empty for none
    std::vector<std::string> command;
};

// Runs the command with a television of its own, in an IPC namespace of its own, until one of them ends, and
// ends what is left of both. Returns the command's exit code, 128 and the number of the signal that ended it,
// or one of its own (exit_code.h); what is wrong has been said then. Throws BadFile. To be called before any
// thread is started, with the words of main(), which other processes of this program lose.
//
// Three processes do this:
//
//   the caller   forwards signals to the keeper; starts nothing else
//   the keeper   a child of the caller, and the parent of the television and of the command
//   television   a child of the keeper, in a session of its own
//
// Any of them may be killed: when the caller ends, the keeper kills its descendants and removes the folder;
// when the keeper ends, the caller does. The command is in the caller's process group and session.
int runCommand(const RunOptions& options, char** words);

#endif
