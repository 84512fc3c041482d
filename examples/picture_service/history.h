// What the service did, for the pictures and the summary at its end.
#ifndef EXAMPLES_PICTURE_SERVICE_HISTORY_H
#define EXAMPLES_PICTURE_SERVICE_HISTORY_H

#include <optional>
#include <string>
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

// A scene of the film, also one in which nothing was changed.
struct Episode {
    double from = 0;
    double to = 0;
    Scene scene = Scene::ORDINARY;
    Decision decision;  // the last one

    // One captured frame of the film, as the television shows it with the settings that the service found,
    // and with those that it decided on. Both are computed by the television's response.
    Frame before;
    Frame after;
    Measurement measuredBefore;
    Measurement measuredAfter;
    double greyErrorBefore = 0;
    double greyErrorAfter = 0;

    // A frame captured later in the scene, with the decided settings in force.
    std::optional<Shot> captured;
    // Whether the film's frame was captured while nothing was changed. Otherwise the service's own changes
    // were undone by estimate.
    bool exact = false;
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
    std::vector<double> cuts;  // when a new scene began
    std::vector<Absence> absences;
};

// Whether the picture got better. Shares and errors are means over the scenes.
struct Verdict {
    unsigned scenes = 0;
    unsigned better = 0;  // its faults, weighed by what can be seen, became smaller
    unsigned same = 0;
    unsigned worse = 0;
    double clippedBlackBefore = 0;
    double clippedBlackAfter = 0;
    double clippedWhiteBefore = 0;
    double clippedWhiteAfter = 0;
    double greyErrorBefore = 0;
    double greyErrorAfter = 0;
    std::string sentence;
};

Verdict verdictOf(const std::vector<Episode>& episodes);

#endif
