#ifndef PIPELINE_CARD_H
#define PIPELINE_CARD_H

#include <string_view>

#include "frame_source.h"

namespace pipeline {

// Draws what an input without a film shows after so many seconds: its name on a ground of its own colour, and
// a light that moves. Of the name, letters and digits are drawn.
void drawCard(std::string_view name, float seconds, Image& image);

}  // namespace pipeline

#endif
