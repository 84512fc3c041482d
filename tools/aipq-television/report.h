#ifndef AIPQ_TELEVISION_REPORT_H
#define AIPQ_TELEVISION_REPORT_H

#include <cerrno>
#include <iostream>
#include <string>

#include "exit_code.h"
#include "output_file.h"
#include "safe_text.h"

namespace television {

// Prints an error as safe text. Returns the exit code.
inline int report(int exitCode, const std::string& what) {
    // A single write keeps the lines of two processes on one terminal apart.
    std::cerr << "aipq-television: " + safeMessage(what) + '\n';
    return exitCode;
}

// Reports that standard output cannot be written. A reader that closes it is no error. Returns the exit code.
inline int reportOutput(const CannotWrite& problem) {
    return problem.error() == EPIPE ? EXIT_DONE : report(EXIT_BAD_FILE, problem.what());
}

}  // namespace television

#endif
