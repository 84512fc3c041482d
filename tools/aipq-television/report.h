#ifndef AIPQ_TELEVISION_REPORT_H
#define AIPQ_TELEVISION_REPORT_H

#include <iostream>
#include <string>

namespace television {

// Prints what is wrong. Returns the exit code.
inline int report(int exitCode, const std::string& what) {
    // One write: the lines of two processes on one terminal do not mix.
    std::cerr << "aipq-television: " + what + '\n';
    return exitCode;
}

}  // namespace television

#endif
