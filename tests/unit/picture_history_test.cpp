// The history of the example service and its verdict on it, without a television.
#include <gmock/gmock.h>

#include <cstddef>
#include <vector>

#include "frame.h"
#include "history.h"
#include "picture_response.h"
#include "scenes.h"
#include "test_frames.h"

using testing::HasSubstr;
using testing::StartsWith;
using tests::decisionOn;
using tests::sceneFrame;

namespace {

Episode episodeOf(const Frame& film, const Settings& target) {
    Episode episode;
    episode.decision = Decision{Scene::ORDINARY, target, {}};
    episode.scene = decisionOn(measure(film)).scene;
    episode.measuredBefore = measureShown(film, film);
    const Frame after = showFilm(film, target);
    episode.measuredAfter = measureShown(film, after);
    episode.greyErrorBefore = greyError(film, film);
    episode.greyErrorAfter = greyError(film, after);
    return episode;
}

TEST(AVerdict, CountsScenesAndSaysItsNumbers) {
    const Frame train = sceneFrame("train");
    const Frame garden = sceneFrame("garden");
    const Settings good = decisionOn(measure(train)).target;
    Settings bad;
    bad.contrast = 95;
    const Verdict verdict = verdictOf(
        {episodeOf(train, good), episodeOf(train, good), episodeOf(garden, {}), episodeOf(garden, bad)});
    EXPECT_EQ(verdict.scenes, 4U);
    EXPECT_EQ(verdict.better, 2U);
    EXPECT_EQ(verdict.same, 1U);
    EXPECT_EQ(verdict.worse, 1U);
    EXPECT_GT(verdict.clippedWhiteAfter, verdict.clippedWhiteBefore);
    EXPECT_THAT(verdict.sentence,
                StartsWith("By its own measurements, the picture got better in 2 of 4 scenes, "
                           "stayed the same in 1 and got worse in 1; on average, clipped "));
}

TEST(AVerdict, ClaimsNothingThatWasNotMeasured) {
    const Frame bars = sceneFrame("bars");
    const Frame garden = sceneFrame("garden");
    EXPECT_EQ(verdictOf({}).sentence, "No scene was judged.");
    EXPECT_THAT(verdictOf({episodeOf(garden, {})}).sentence, HasSubstr("better in 0 of 1 scenes"));
    Settings onlyMotion;
    onlyMotion.memc = 5;
    EXPECT_EQ(verdictOf({episodeOf(garden, onlyMotion)}).same, 1U);
    // A white that turns grey has not come back.
    Settings grey;
    grey.rollOff = 100;
    EXPECT_EQ(verdictOf({episodeOf(bars, grey)}).clippedWhiteAfter, measure(bars).clippedWhite);
    Settings veil;
    veil.brightness = 80;
    EXPECT_EQ(verdictOf({episodeOf(garden, veil)}).better, 0U);
}

TEST(AVerdict, FindsTheGeneratedScenesBetterOrTheSame) {
    std::vector<Episode> episodes;
    for (std::size_t scene = 0; scene < pipeline::SCENE_NAMES.size(); ++scene) {
        const Frame film = sceneFrame(scene);
        episodes.push_back(episodeOf(film, decisionOn(measure(film)).target));
    }
    const Verdict verdict = verdictOf(episodes);
    EXPECT_EQ(verdict.worse, 0U) << verdict.sentence;
    EXPECT_GE(verdict.better, 5U) << verdict.sentence;
}

TEST(AHistory, GrowsOnlyWithChangesAndAbsences) {
    History history;
    for (int second = 0; second <= 86400; ++second) history.addSettings({1.0 * second, {}});
    EXPECT_EQ(history.settings.size(), 2U);
    EXPECT_EQ(history.settings.back().seconds, 86400);
    for (int second = 86401; second <= 86410; ++second)
        history.addSettings({1.0 * second, {.brightness = 60}});
    EXPECT_EQ(history.settings.size(), 4U);
    history.absences.push_back({86410.5, 86419.5});
    for (int second = 86420; second <= 86430; ++second)
        history.addSettings({1.0 * second, {.brightness = 60}});
    ASSERT_EQ(history.settings.size(), 6U);
    EXPECT_EQ(history.settings[3].seconds, 86410);
    EXPECT_EQ(history.settings[4].seconds, 86420);
}

}  // namespace
