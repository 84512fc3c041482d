// What the service did, for the pictures and the summary at its end.
#ifndef EXAMPLES_PICTURE_SERVICE_HISTORY_H
#define EXAMPLES_PICTURE_SERVICE_HISTORY_H

#include <optional>
#include <vector>

#include "frame.h"
#include "scene_judge.h"
#include "settings.h"

struct Sample {
    double seconds;
    Settings settings;
};

struct LumaSample {
    double seconds;
    double luma;
};

// A decision, with the frame that it was made on and one that shows its effect; there is none if the scene
// was over before.
struct Episode {
    double seconds;
    Scene scene;
    Shot before;
    std::optional<Shot> after;
};

// The television was away.
struct Absence {
    double from;
    double to;
};

struct History {
    std::vector<Sample> settings;
    std::vector<LumaSample> shown;
    std::vector<LumaSample> film;  // estimated
    std::vector<Episode> episodes;
    std::vector<Absence> absences;
};

#endif
