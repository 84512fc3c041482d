// The history of the service, for its report and its summary.
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

// A scene of the film, even without a change of settings.
struct Episode {
    double from = 0;
    double to = 0;
    Scene scene = Scene::ORDINARY;
    Decision decision;  // the last one

    // A captured frame of the film, as the television shows it with the original settings and with the
    // decided settings. Both are computed from the television's response.
    Frame before;
    Frame after;
    Measurement measuredBefore;
    Measurement measuredAfter;
    double greyErrorBefore = 0;
    double greyErrorAfter = 0;

    // A frame that was captured later in the scene, with the decided settings.
    std::optional<Shot> captured;
    // Whether the film's frame was captured with the original settings. Otherwise the effect of the service's
    // settings was removed by estimate.
    bool exact = false;
};

// A period in which the television was away.
struct Absence {
    double from;
    double to;
};

struct History {
    std::vector<Sample> settings;
    std::vector<LumaSample> shown;
    std::vector<LumaSample> film;  // estimated
    std::vector<Episode> episodes;
    std::vector<double> cuts;  // the starts of new scenes
    std::vector<Absence> absences;

    // Adds a sample to `settings`. While nothing changes, only the last sample moves: a service may run for
    // days.
    void addSettings(const Sample& sample);
};

// Whether the picture got better. Shares and errors are means over the scenes.
struct Verdict {
    unsigned scenes = 0;
    unsigned better = 0;  // scenes with fewer visible faults
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
