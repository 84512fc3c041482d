// The platform's thread creation. A television's own header offers the same three functions with C linkage.
#ifndef CSP_THREAD_H
#define CSP_THREAD_H

#include <pthread.h>

#ifdef __cplusplus
extern "C" {
#endif

// Initialises `attributes` with the platform's defaults; 0 on success.
int _cspOsalPOSIX_pthread_attr_init(pthread_attr_t* attributes);

// Releases the resources of the initialisation; 0 on success.
int _cspOsalPOSIX_pthread_attr_destroy(pthread_attr_t* attributes);

// Starts `routine(argument)` on a new thread and stores its handle in `*thread`. `file` and `line` name the
// caller in the platform's list of threads; `file` must stay valid as long as the process runs. Returns 0 on
// success; otherwise an errno value, and `*thread` is unchanged.
int _cspOsalPOSIX_pthread_create_line(pthread_t* thread, const pthread_attr_t* attributes,
                                      void* (*routine)(void*), void* argument, const char* file, int line);

#ifdef __cplusplus
}
#endif

#endif
