// Implements the debug output with the second platform's trace.
#include <cstdarg>
#include <string>

#include "csp/debug.h"
#include "orbit/trace.h"

namespace {

orbit_severity severityOf(unsigned levelWord) {
    switch (levelWord & 0xFFFFU) {
        case 1000:
            return ORBIT_ERROR;
        case 4000:
            return ORBIT_NOTE;
        default:
            return ORBIT_DETAIL;
    }
}

}  // namespace

int cspDebugCheckLevelGetFrameAndChunk(unsigned int levelWord) {
    return orbit_trace_prints(severityOf(levelWord));
}

void cspDebugOutput0(unsigned int levelWord, const char* format, ...) {
    // The library's lines include a line end, but the platform adds one itself.
    std::string line(format);
    while (!line.empty() && line.back() == '\n') line.pop_back();
    std::va_list arguments;
    va_start(arguments, format);
    orbit_vtrace(severityOf(levelWord), "aipq", line.c_str(), arguments);
    va_end(arguments);
}
