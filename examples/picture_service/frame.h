// A captured frame and what can be measured on it.
#ifndef EXAMPLES_PICTURE_SERVICE_FRAME_H
#define EXAMPLES_PICTURE_SERVICE_FRAME_H

#include <array>
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
    double greyChroma = 0;    // mean chroma of what is neutral grey, 0 if hardly anything is
    double greyLuma = 0;      // its mean luma
    double skin = 0;          // share of pixels with the colour of skin
    double skinHue = 0;       // mean hue of these pixels in degrees, 0 is red, 60 yellow
};

// `before` is the frame before, if there is one; motion is 0 without it and after a cut. `noiseSpread` tells
// noise from texture: the standard deviation of noise, as a multiple of the part of it that is measured.
Measurement measure(const Frame& frame, const Frame* before = nullptr, double noiseSpread = 1);

// Measures what the television shows of the film. A part that is clipped in the film is lost: it counts as
// clipped, too, where it is shown as a grey.
Measurement measureShown(const Frame& film, const Frame& shown);

// Whether a new scene begins between these frames of the film.
bool isCut(const Frame& before, const Frame& frame);

// The mean distance of two histograms in levels: by how much luma moved.
double histogramDistance(const Histogram& a, const Histogram& b);

// The mean chroma, the largest minus the smallest of red, green and blue, that `shown` gives to the pixels
// that are neutral grey in `film`; 0 if there are none.
double greyError(const Frame& film, const Frame& shown);

std::string toText(const Measurement& measurement);

// A frame with what was measured on it and the settings under which it was shown.
struct Shot {
    Frame frame;
    Measurement measurement;
    Settings settings;
};

#endif
