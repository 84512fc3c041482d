#include "orbit/trace.h"

#include <cstdio>
#include <cstdlib>

int orbit_trace_prints(enum orbit_severity severity) {
    const char* const text = std::getenv("ORBIT_TRACE");
    return severity <= (text != nullptr ? std::atoi(text) : ORBIT_ERROR);
}

void orbit_vtrace(enum orbit_severity severity, const char* unit, const char* format, va_list arguments) {
    if (!orbit_trace_prints(severity)) return;
    char line[512];
    std::vsnprintf(line, sizeof line, format, arguments);
    std::fprintf(stderr, "<%d> %s: %s\n", severity, unit, line);
}
