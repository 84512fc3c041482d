#ifndef PIPELINE_CARD_H
#define PIPELINE_CARD_H

#include <string_view>

#include "frame_source.h"

namespace pipeline {

// Draws the card of an input without a film, at a time in seconds: the input's name on a coloured ground, and
// a moving light. Draws only the letters and digits of the name.
void drawCard(std::string_view name, float seconds, Image& image);

}  // namespace pipeline

#endif
