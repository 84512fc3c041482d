// The report that the service leaves: one HTML file that refers to no other.
#ifndef EXAMPLES_PICTURE_SERVICE_REPORT_H
#define EXAMPLES_PICTURE_SERVICE_REPORT_H

#include <string>

#include "history.h"

// `playing` says what was on.
std::string makeReport(const std::string& playing, const History& history);

#endif
