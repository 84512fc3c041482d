// The platform's debug output. A television's own header offers the same two functions with C linkage. If it
// declares them nothrow, as here, the library is about 4 KiB smaller.
#ifndef CSP_DEBUG_H
#define CSP_DEBUG_H

#ifdef __cplusplus
extern "C" {
#endif

// Non-zero if lines of `levelWord` are to be printed. The upper 16 bits are the module code, the lower 16 the
// level: 1 entry and exit traces, 1000 errors, 4000 information. Any thread; never blocks.
int cspDebugCheckLevelGetFrameAndChunk(unsigned int levelWord) __attribute__((nothrow));

// Prints one line, printf-style. Any thread. Callers check the level first. A line is neither printed twice
// nor interleaved with another.
void cspDebugOutput0(unsigned int levelWord, const char* format, ...)
    __attribute__((nothrow, format(printf, 2, 3)));

#ifdef __cplusplus
}
#endif

#endif
