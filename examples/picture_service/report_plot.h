// The drawings of the report: SVG lines with labels in HTML. HTML labels keep their size when the drawing is
// narrow.
#ifndef EXAMPLES_PICTURE_SERVICE_REPORT_PLOT_H
#define EXAMPLES_PICTURE_SERVICE_REPORT_PLOT_H

#include <cstddef>
#include <string>

#include "history.h"

// The number of the oldest scene in the history, which drops older scenes.
std::size_t firstScene(const History& history);

std::string drawHistograms(const Measurement& before, const Measurement& after);

// The luma and each setting that changed, over time.
std::string drawTimeline(const History& history);

#endif
