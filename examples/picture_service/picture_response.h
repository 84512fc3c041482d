// The effect of the television's picture settings on a film, and the estimate of the film without them.
//
// A service decides on the film, not on the picture that its own changes have made, so that it never reacts
// to its own changes. It must know its television's response. Here the response is the simulated panel's own
// code. For another television, replace showFilm(): show a grey ramp, colour bars and noise with each
// setting, capture them, and use the measured values. estimateFilm() follows from showFilm().
#ifndef EXAMPLES_PICTURE_SERVICE_PICTURE_RESPONSE_H
#define EXAMPLES_PICTURE_SERVICE_PICTURE_RESPONSE_H

#include <array>
#include <cstdint>

#include "frame.h"
#include "settings.h"

// The picture that the television shows of `film` with `settings`.
Frame showFilm(const Frame& film, const Settings& settings);

// Estimates the film from a frame that shows it with `settings`. Removes the effect of the tone and colour
// settings; measureFilm() accounts for noise reduction and sharpness. The estimate is not exact: clipped
// values stay lost.
Frame estimateFilm(const Frame& shown, const Settings& settings);

// The shown level of each grey level.
using ToneCurve = std::array<std::uint8_t, 256>;
ToneCurve toneCurve(const Settings& settings);

// The shown hue, in degrees, of skin of this hue.
double shownSkinHue(double hue, const Settings& settings);

// Estimates the result of measure() for the film, from the estimate that estimateFilm() made with `settings`.
Measurement measureFilm(const Frame& estimate, const Settings& settings, const Frame* before = nullptr);

#endif
