// What the television's picture settings make of a film, and what the film looks like without them.
//
// A service decides on the film, not on the picture that its own changes have made: it then never answers its
// own changes. For that it must know its television's response. Here the response is the simulated panel's
// own code. For another television, replace showFilm(): show it a grey ramp, colour bars and noise under each
// setting, capture them, and put what you measure there. estimateFilm() follows from showFilm().
#ifndef EXAMPLES_PICTURE_SERVICE_PICTURE_RESPONSE_H
#define EXAMPLES_PICTURE_SERVICE_PICTURE_RESPONSE_H

#include <array>
#include <cstdint>

#include "frame.h"
#include "settings.h"

// What the television shows of `film` under `settings`.
Frame showFilm(const Frame& film, const Settings& settings);

// The film, estimated from a frame that shows it under `settings`. Undoes the settings of tone and colour;
// measureFilm() accounts for noise reduction and sharpness. It is not exact: what was clipped stays lost.
Frame estimateFilm(const Frame& shown, const Settings& settings);

// What the television shows of each grey level.
using ToneCurve = std::array<std::uint8_t, 256>;
ToneCurve toneCurve(const Settings& settings);

// The hue, in degrees, that it gives to skin of this hue.
double shownSkinHue(double hue, const Settings& settings);

// What measure() gives for the film, from the estimate that estimateFilm() made under `settings`.
Measurement measureFilm(const Frame& estimate, const Settings& settings, const Frame* before = nullptr);

#endif
