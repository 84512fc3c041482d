#ifndef AIPQ_TELEVISION_REPORT_H
#define AIPQ_TELEVISION_REPORT_H

#include <iostream>
#include <string>

namespace television {

// Prints an error. Returns the exit code.
inline int report(int exitCode, const std::string& what) {
    // A single write keeps the lines of two processes on one terminal apart.
    std::cerr << "aipq-television: " + what + '\n';
    return exitCode;
}

}  // namespace television

#endif
