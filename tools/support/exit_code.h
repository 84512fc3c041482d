// The exit codes of the tools. Scripts rely on these numbers.
#ifndef TOOLS_SUPPORT_EXIT_CODE_H
#define TOOLS_SUPPORT_EXIT_CODE_H

enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_REFUSED = 1,        // the television refused, failed, or did not answer in time; a check failed
    EXIT_WRONG_USE = 2,      // the command line
    EXIT_UNKNOWN = 3,        // no such name, key, channel
    EXIT_WRONG_TYPE = 4,     // the value, or the operation, does not fit the key's type
    EXIT_OUT_OF_RANGE = 5,   // the value
    EXIT_BAD_FILE = 6,       // a file cannot be read or written, or is malformed
    EXIT_NO_TELEVISION = 7,  // no television answers
    EXIT_NO_RIGHTS = 8,      // the queue, the segment or the socket cannot be opened, a namespace created

    // Codes of a program that runs a command; other codes are the command's own.
    EXIT_TELEVISION_DIED = 124,  // while the command ran
    EXIT_NOT_STARTED = 125,      // the television
    EXIT_NOT_EXECUTABLE = 126,   // the command
    EXIT_NOT_FOUND = 127,        // the command
};

#endif
