// The drawings of the report: HTML with lines in SVG. The texts are HTML, so that they keep their size when
// the drawing is narrow.
#ifndef EXAMPLES_PICTURE_SERVICE_REPORT_PLOT_H
#define EXAMPLES_PICTURE_SERVICE_REPORT_PLOT_H

#include <string>

#include "history.h"

std::string drawHistograms(const Measurement& before, const Measurement& after);

// The luma and each setting that changed, over time.
std::string drawTimeline(const History& history);

#endif
