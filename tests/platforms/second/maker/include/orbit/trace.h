/* The debug output of a television of another make. */
#ifndef ORBIT_TRACE_H
#define ORBIT_TRACE_H

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The environment's ORBIT_TRACE is the highest that is printed; 1 if it is not set. */
enum orbit_severity { ORBIT_ERROR = 1, ORBIT_NOTE = 2, ORBIT_DETAIL = 3 };

int orbit_trace_prints(enum orbit_severity severity);
/* Adds the end of the line itself. */
void orbit_vtrace(enum orbit_severity severity, const char* unit, const char* format, va_list arguments);

#ifdef __cplusplus
}
#endif

#endif
