#include "message.h"

#include <cstdio>

void complain(const std::string& program, const std::string& error) {
    std::fprintf(stderr, "%s: %s\n", safeText(program).c_str(), safeMessage(error).c_str());
}
