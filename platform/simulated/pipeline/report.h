#ifndef PIPELINE_REPORT_H
#define PIPELINE_REPORT_H

#include <string>
#include <string_view>

namespace pipeline {

// Replaces the characters that could break a line or change the state of a terminal.
std::string oneLine(std::string_view text);

// Prints one line of safe text on standard error, with the program's name.
void report(std::string_view text);

// Returns "what: reason"; the reason is the system's text for the error number.
std::string withReason(std::string_view what, int errorNumber);

}  // namespace pipeline

#endif
