// The pictures that the service leaves.
#ifndef EXAMPLES_PICTURE_SERVICE_REPORT_H
#define EXAMPLES_PICTURE_SERVICE_REPORT_H

#include <string>

#include "history.h"

// Each episode's frames before and after, with what was measured on them and their settings. Both return
// false, with the reason in `error`, if the file cannot be written.
bool drawContactSheet(const std::string& path, const History& history, std::string& error);

// Settings and luma over time.
bool drawTimeline(const std::string& path, const History& history, std::string& error);

#endif
