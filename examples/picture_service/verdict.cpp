#include <algorithm>
#include <cstdio>
#include <optional>

#include "history.h"

namespace {

// The most by which clipped shares and the colour of greys may grow.
constexpr double CLIPPED_TOLERANCE = 0.002;
constexpr double GREY_TOLERANCE = 1;

// The sum of a picture's faults, each in steps that are just visible. `film` determines which faults can be
// measured.
double faultsOf(const Measurement& picture, const Measurement& film, Scene scene) {
    const auto steps = [](double fault, double step) { return std::max(0.0, fault) / step; };
    double faults = steps(picture.clippedBlack, 0.005) + steps(picture.clippedWhite, 0.005) +
                    steps(picture.noise - 1, 0.5) + steps(picture.colour - 115, 5);
    if (scene == Scene::DARK) faults += steps(80 - picture.luma, 5);
    if (scene == Scene::BRIGHT) faults += steps(picture.luma - 180, 3);
    if (scene == Scene::ORDINARY) faults += steps(40 - picture.contrast, 3);
    // Noise produces edges: sharpness is measured only with little noise.
    if (film.sharpness > 0 && film.noise < 2) faults += steps(48 - picture.sharpness, 2);
    if (film.skin > 0.03 && picture.skin > 0.03)
        faults += steps(13 - picture.skinHue, 3) + steps(picture.skinHue - 31, 3);
    return faults;
}

enum class Outcome { BETTER, SAME, WORSE };

Outcome outcomeOf(const Episode& episode) {
    const Measurement& before = episode.measuredBefore;
    const Measurement& after = episode.measuredAfter;
    if (after.clippedBlack > before.clippedBlack + CLIPPED_TOLERANCE ||
        after.clippedWhite > before.clippedWhite + CLIPPED_TOLERANCE ||
        episode.greyErrorAfter > episode.greyErrorBefore + GREY_TOLERANCE)
        return Outcome::WORSE;
    const double growth = faultsOf(after, before, episode.scene) - faultsOf(before, before, episode.scene);
    return growth <= -1 ? Outcome::BETTER : growth >= 1 ? Outcome::WORSE : Outcome::SAME;
}

std::string sentenceFor(const Verdict& verdict) {
    if (verdict.scenes == 0) return "No scene was judged.";
    char text[400];
    std::snprintf(
        text, sizeof text,
        "By its own measurements, the picture got better in %u of %u scenes, stayed the same in %u and got "
        "worse in %u; on average, clipped black %.1f %% -> %.1f %%, clipped white %.1f %% -> %.1f %%, colour "
        "in greys %.1f -> %.1f levels.",
        verdict.better, verdict.scenes, verdict.same, verdict.worse, 100 * verdict.clippedBlackBefore,
        100 * verdict.clippedBlackAfter, 100 * verdict.clippedWhiteBefore, 100 * verdict.clippedWhiteAfter,
        verdict.greyErrorBefore, verdict.greyErrorAfter);
    return text;
}

}  // namespace

Verdict verdictOf(const std::vector<Episode>& episodes) {
    Verdict verdict;
    const double share = episodes.empty() ? 0 : 1.0 / static_cast<double>(episodes.size());
    for (const Episode& episode : episodes) {
        ++verdict.scenes;
        const Outcome outcome = outcomeOf(episode);
        ++(outcome == Outcome::BETTER ? verdict.better
           : outcome == Outcome::SAME ? verdict.same
                                      : verdict.worse);
        verdict.clippedBlackBefore += share * episode.measuredBefore.clippedBlack;
        verdict.clippedBlackAfter += share * episode.measuredAfter.clippedBlack;
        verdict.clippedWhiteBefore += share * episode.measuredBefore.clippedWhite;
        verdict.clippedWhiteAfter += share * episode.measuredAfter.clippedWhite;
        verdict.greyErrorBefore += share * episode.greyErrorBefore;
        verdict.greyErrorAfter += share * episode.greyErrorAfter;
    }
    verdict.sentence = sentenceFor(verdict);
    return verdict;
}
