// The report of the service: one HTML file without references to other files.
#ifndef EXAMPLES_PICTURE_SERVICE_REPORT_H
#define EXAMPLES_PICTURE_SERVICE_REPORT_H

#include <string>

#include "history.h"

// `playing` describes the film that was shown.
std::string makeReport(const std::string& playing, const History& history);

#endif
