#ifndef PIPELINE_REPORT_H
#define PIPELINE_REPORT_H

#include <string>
#include <string_view>

namespace pipeline {

// The text with everything that could break a line or confuse a terminal replaced.
std::string oneLine(std::string_view text);

// One line on standard error, with the program's name.
void report(std::string_view text);

// "what: why", where why is the text of the system's error number.
std::string withReason(std::string_view what, int errorNumber);

}  // namespace pipeline

#endif
