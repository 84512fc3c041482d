#ifndef EXAMPLES_PICTURE_SERVICE_PICTURE_RESPONSE_H
#define EXAMPLES_PICTURE_SERVICE_PICTURE_RESPONSE_H

#include "frame.h"
#include "settings.h"

// What the film itself looks like, estimated from a frame that shows it under `settings`. Deciding on the
// film rather than on the captured picture keeps the loop stable: the service does not answer its own
// changes.
//
// It need not be exact; the hysteresis of the SceneJudge forgives an error of a few per cent.
Frame estimateFilm(const Frame& shown, const Settings& settings);

#endif
