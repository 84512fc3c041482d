#ifndef CSP_DEBUG_H
#define CSP_DEBUG_H

extern "C" {
int cspDebugCheckLevelGetFrameAndChunk(unsigned int levelWord);
void cspDebugOutput0(unsigned int levelWord, const char* format, ...) __attribute__((format(printf, 2, 3)));
}

#endif
