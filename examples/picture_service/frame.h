// A captured frame and what can be measured on it.
#ifndef EXAMPLES_PICTURE_SERVICE_FRAME_H
#define EXAMPLES_PICTURE_SERVICE_FRAME_H

#include <cstdint>
#include <string>
#include <vector>

#include "settings.h"

// A copy of a delivered picture.
struct Frame {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> rgb;
};

struct Measurement {
    double luma = 0;      // mean, 0 to 255
    double contrast = 0;  // standard deviation of the luma
    double colour = 0;    // colourfulness after Hasler and Suesstrunk: 0 grey, above 60 vivid
};

Measurement measure(const Frame& frame);

std::string toText(const Measurement& measurement);

// A frame with what was measured on it and the settings under which it was shown.
struct Shot {
    Frame frame;
    Measurement measurement;
    Settings settings;
};

#endif
