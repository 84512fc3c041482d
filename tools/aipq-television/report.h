#ifndef AIPQ_TELEVISION_REPORT_H
#define AIPQ_TELEVISION_REPORT_H

#include <iostream>
#include <string>

#include "safe_text.h"

namespace television {

// Prints an error as safe text. Returns the exit code.
inline int report(int exitCode, const std::string& what) {
    // A single write keeps the lines of two processes on one terminal apart.
    std::cerr << "aipq-television: " + safeMessage(what) + '\n';
    return exitCode;
}

}  // namespace television

#endif
