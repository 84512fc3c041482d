// A captured frame and its measurements.
#ifndef EXAMPLES_PICTURE_SERVICE_FRAME_H
#define EXAMPLES_PICTURE_SERVICE_FRAME_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "settings.h"

// A copy of a captured picture.
struct Frame {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> rgb;
};

using Histogram = std::array<double, 64>;

struct Measurement {
    double luma = 0;          // mean, 0 to 255
    double contrast = 0;      // standard deviation of the luma
    double colour = 0;        // colourfulness after Hasler and Suesstrunk: 0 grey, above 60 vivid
    Histogram histogram{};    // shares of luma, in bins of 4 levels
    double clippedBlack = 0;  // share of pixels with all of red, green and blue at most 2
    double clippedWhite = 0;  // share of pixels with all of red, green and blue at least 253
    double noise = 0;         // standard deviation of the luma in flat parts
    double sharpness = 0;     // steepness of the edges, 0 to 100: an edge of one pixel has 100
    double motion = 0;        // mean absolute luma difference to the frame before
    double greyChroma = 0;    // mean chroma of the neutral greys, 0 if there are hardly any
    double greyLuma = 0;      // mean luma of the neutral greys
    double skin = 0;          // share of pixels with the colour of skin
    double skinHue = 0;       // mean hue of these pixels in degrees, 0 is red, 60 yellow
};

// `before` is the previous frame, if any. Without it, and after a cut, motion is 0. `noiseSpread` separates
// noise from texture: it is the standard deviation of all noise divided by that of the measured noise.
Measurement measure(const Frame& frame, const Frame* before = nullptr, double noiseSpread = 1);

// Measures the shown picture of a film. A part that is clipped in the film also counts as clipped if it is
// shown as grey.
Measurement measureShown(const Frame& film, const Frame& shown);

// Whether a new scene begins between these frames of the film.
bool isCut(const Frame& before, const Frame& frame);

// The mean distance of two histograms in levels, that is, the change of luma.
double histogramDistance(const Histogram& a, const Histogram& b);

// The mean chroma (largest minus smallest of red, green and blue) in `shown` of the pixels that are neutral
// grey in `film`; 0 if there are none.
double greyError(const Frame& film, const Frame& shown);

std::string toText(const Measurement& measurement);

// A frame, its measurements, and the settings under which it was shown.
struct Shot {
    Frame frame;
    Measurement measurement;
    Settings settings;
};

#endif
