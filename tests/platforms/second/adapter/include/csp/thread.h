// This platform creates threads with POSIX functions.
#ifndef CSP_THREAD_H
#define CSP_THREAD_H

#include <pthread.h>

inline int _cspOsalPOSIX_pthread_attr_init(pthread_attr_t* attributes) {
    return pthread_attr_init(attributes);
}

inline int _cspOsalPOSIX_pthread_attr_destroy(pthread_attr_t* attributes) {
    return pthread_attr_destroy(attributes);
}

inline int _cspOsalPOSIX_pthread_create_line(pthread_t* thread, const pthread_attr_t* attributes,
                                             void* (*routine)(void*), void* argument, const char*, int) {
    return pthread_create(thread, attributes, routine, argument);
}

#endif
