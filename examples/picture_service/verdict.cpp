#include <cstdio>

#include "history.h"

namespace {

std::string sentenceFor(const Verdict& verdict) {
    if (verdict.scenes == 0) return "No scene was judged: the film was too short, or nothing was shown.";
    char text[300];
    std::snprintf(text, sizeof text,
                  "%u of %u scenes got better, %u stayed as they were, %u got worse; clipped black %.1f %% > "
                  "%.1f %%, clipped white %.1f %% > %.1f %%, colour in greys %.1f > %.1f levels.",
                  verdict.better, verdict.scenes, verdict.same, verdict.worse,
                  100 * verdict.clippedBlackBefore, 100 * verdict.clippedBlackAfter,
                  100 * verdict.clippedWhiteBefore, 100 * verdict.clippedWhiteAfter, verdict.greyErrorBefore,
                  verdict.greyErrorAfter);
    return text;
}

}  // namespace

Verdict verdictOf(const std::vector<Episode>& episodes) {
    Verdict verdict;
    for (const Episode& episode : episodes) {
        ++verdict.scenes;
        ++verdict.same;
        const double share = 1.0 / static_cast<double>(episodes.size());
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
