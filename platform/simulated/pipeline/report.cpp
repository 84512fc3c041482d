#include "report.h"

#include <algorithm>
#include <iostream>
#include <system_error>

#include "safe_text.h"

namespace pipeline {

std::string oneLine(std::string_view text) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; },
        ' ');
    return line;
}

void report(std::string_view text) {
    // One write per line, so that the lines of two processes on one terminal do not mix.
    std::cerr << "aipq-video-pipeline: " + safeMessage(std::string(text)) + "\n" << std::flush;
}

std::string withReason(std::string_view what, int errorNumber) {
    return std::string(what) + ": " + std::generic_category().message(errorNumber);
}

}  // namespace pipeline
