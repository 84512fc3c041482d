#include <algorithm>
#include <cstdio>
#include <optional>

#include "history.h"

namespace {

// What is wrong with a picture, by how much; 0 is none.
struct Fault {
    double amount;
    double margin;  // a smaller difference is none
};

// Clipped shares and the colour of greys may grow by no more than this.
constexpr double CLIPPED_TOLERANCE = 0.002;
constexpr double GREY_TOLERANCE = 1;

std::vector<Fault> faultsOf(const Measurement& picture, const Measurement& film, Scene scene) {
    std::vector<Fault> faults{
        {100 * picture.clippedBlack, 0.2},
        {100 * picture.clippedWhite, 0.2},
        {std::max(0.0, picture.noise - 1), 0.4},
        {std::max(0.0, picture.colour - 115), 3},
    };
    if (scene == Scene::DARK) faults.push_back({std::max(0.0, 80 - picture.luma), 3});
    if (scene == Scene::BRIGHT) faults.push_back({std::max(0.0, picture.luma - 180), 3});
    if (scene == Scene::ORDINARY) faults.push_back({std::max(0.0, 40 - picture.contrast), 2});
    if (film.sharpness > 0) faults.push_back({std::max(0.0, 48 - picture.sharpness), 1});
    if (film.skin > 0.03 && picture.skin > 0.03)
        faults.push_back({std::max({0.0, 16 - picture.skinHue, picture.skinHue - 28}), 2});
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

    const std::vector<Fault> faultsBefore = faultsOf(before, before, episode.scene);
    const std::vector<Fault> faultsAfter = faultsOf(after, before, episode.scene);
    bool smaller = false;
    bool larger = false;
    for (std::size_t i = 0; i < std::min(faultsBefore.size(), faultsAfter.size()); ++i) {
        const double growth = faultsAfter[i].amount - faultsBefore[i].amount;
        smaller = smaller || growth <= -faultsBefore[i].margin;
        larger = larger || growth >= faultsBefore[i].margin;
    }
    return larger ? Outcome::WORSE : smaller ? Outcome::BETTER : Outcome::SAME;
}

std::string sentenceFor(const Verdict& verdict) {
    if (verdict.scenes == 0) return "No scene was judged.";
    char text[400];
    std::snprintf(
        text, sizeof text,
        "By its own measurements, the picture got %s: better in %u, the same in %u and worse in %u of "
        "%u scenes; on average, clipped black %.1f %% > %.1f %%, clipped white %.1f %% > %.1f %%, colour "
        "in greys %.1f > %.1f levels.",
        verdict.better > verdict.worse   ? "better"
        : verdict.worse > verdict.better ? "worse"
                                         : "neither better nor worse",
        verdict.better, verdict.same, verdict.worse, verdict.scenes, 100 * verdict.clippedBlackBefore,
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
