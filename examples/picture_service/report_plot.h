// The drawings of the report: HTML with lines in SVG. The texts are HTML, so that they keep their size when
// the drawing is narrow.
#ifndef EXAMPLES_PICTURE_SERVICE_REPORT_PLOT_H
#define EXAMPLES_PICTURE_SERVICE_REPORT_PLOT_H

#include <cstddef>
#include <string>

#include "history.h"

// The number of the oldest scene that the history still has; a long history drops older ones.
std::size_t firstScene(const History& history);

std::string drawHistograms(const Measurement& before, const Measurement& after);

// The luma and each setting that changed, over time.
std::string drawTimeline(const History& history);

#endif
