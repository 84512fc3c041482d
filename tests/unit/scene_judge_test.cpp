// The decisions of the example service on a scene, without a television.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "frame.h"
#include "picture_response.h"
#include "scene_judge.h"
#include "scenes.h"
#include "test_frames.h"

using testing::HasSubstr;
using testing::StartsWith;
using tests::blurredEdge;
using tests::changed;
using tests::decisionOn;
using tests::flatFrame;
using tests::sceneFrame;
using tests::WIDTH;
using tests::withNoise;

namespace {

std::string textOf(const Decision& decision) {
    std::string text;
    for (const Reason& reason : decision.reasons) text += reason.change + ": " + reason.why + '\n';
    return text;
}

// Each rule answers more to more, and not at all to none.
void expectGraded(const std::vector<Measurement>& films, int Settings::*setting, int sign) {
    const int neutral = Settings{}.*setting;
    int last = decisionOn(films.front()).target.*setting;
    EXPECT_EQ(last, neutral);
    for (const Measurement& film : films) {
        const int now = decisionOn(film).target.*setting;
        EXPECT_GE(sign * now, sign * last);
        last = now;
    }
    EXPECT_GT(sign * last, sign * neutral);
}

TEST(AJudge, LiftsAPictureMoreTheDarkerItIs) {
    std::vector<Measurement> films;
    for (const double gain : {1.0, 0.8, 0.6, 0.4, 0.3, 0.2})
        films.push_back(
            measure(changed(sceneFrame("sunset"), [gain](double value) { return gain * value; })));
    expectGraded(films, &Settings::darkLift, 1);
}

TEST(AJudge, CalmsAPictureMoreTheBrighterItIs) {
    std::vector<Measurement> films;
    for (const double lost : {100.0, 80.0, 60.0, 40.0, 20.0, 0.0})
        films.push_back(measure(changed(sceneFrame("snow"), [lost](double value) { return value - lost; })));
    expectGraded(films, &Settings::rollOff, 1);
}

TEST(AJudge, StretchesAPictureMoreTheDullerItIs) {
    std::vector<Measurement> films;
    for (const double gain : {1.0, 0.8, 0.6, 0.5, 0.4, 0.3})
        films.push_back(measure(
            changed(sceneFrame("sunset"), [gain](double value) { return 128 + gain * (value - 110); })));
    expectGraded(films, &Settings::contrast, 1);
}

TEST(AJudge, ReducesMoreNoiseTheMoreThereIs) {
    std::vector<Measurement> films;
    for (const double noise : {0.0, 1.0, 2.0, 3.0, 5.0, 8.0})
        films.push_back(measure(withNoise(flatFrame(110, 110, 110), noise, 5)));
    expectGraded(films, &Settings::noiseReduction, 1);
}

TEST(AJudge, SharpensMoreTheSofterAPictureIsButNotNoise) {
    std::vector<Measurement> films;
    for (const double width : {0.1, 0.8, 1.4, 2.0, 3.0}) films.push_back(measure(blurredEdge(width)));
    expectGraded(films, &Settings::sharpness, 1);
    EXPECT_EQ(decisionOn(measure(withNoise(blurredEdge(3), 6, 1))).target.sharpness, 50);
}

TEST(AJudge, CompensatesMoreMotionTheMoreThereIs) {
    std::vector<Measurement> films;
    for (const double motion : {0.0, 3.0, 6.0, 9.0, 15.0}) {
        films.push_back(measure(sceneFrame("garden")));
        films.back().motion = motion;
    }
    expectGraded(films, &Settings::memc, 1);
}

TEST(AJudge, RaisesPaleColoursAndLowersLoudOnes) {
    std::vector<Measurement> films;
    for (const double colour : {60.0, 35.0, 25.0, 15.0}) {
        films.push_back(measure(sceneFrame("sunset")));
        films.back().colour = colour;
    }
    expectGraded(films, &Settings::saturation, 1);
    films.clear();
    for (const double colour : {60.0, 120.0, 140.0, 160.0}) {
        films.push_back(measure(sceneFrame("sunset")));
        films.back().colour = colour;
    }
    expectGraded(films, &Settings::saturation, -1);
    films.back().colour = 0;  // black and white
    EXPECT_EQ(decisionOn(films.back()).target.saturation, 50);
}

TEST(AJudge, BringsSkinTowardsItsNaturalHue) {
    const Frame film = sceneFrame("portrait");
    const Measurement before = measure(film);
    const Decision decision = decisionOn(before);
    EXPECT_EQ(decision.target.tunerMode, 1);
    EXPECT_THAT(textOf(decision), HasSubstr("tuner mode 0 -> 1, tuner hue 0 -> "));
    const double after = measure(showFilm(film, decision.target)).skinHue;
    EXPECT_LT(std::abs(after - 22), std::abs(before.skinHue - 22) - 3);

    Measurement natural = before;
    natural.skinHue = 22;
    EXPECT_EQ(decisionOn(natural).target.tunerMode, 0);
    // The user's own tuner is the user's.
    Settings user;
    user.tunerMode = 3;
    user.tunerHue = 20;
    EXPECT_EQ(decisionOn(before, user).target.tunerMode, 3);
    EXPECT_EQ(decisionOn(before, user).target.tunerHue, 20);
}

// A tenth of a per cent of the pixels, and one level of colour.
TEST(AJudge, AnchorsBlackAndWhite) {
    Settings neutral;
    Settings strong;
    strong.contrast = 60;
    strong.saturation = 60;
    for (const Settings& user : {neutral, strong}) {
        for (std::size_t scene = 0; scene < pipeline::SCENE_NAMES.size(); ++scene) {
            const Frame film = sceneFrame(scene);
            const Frame before = showFilm(film, user);
            Settings target = decisionOn(measure(film), user).target;
            // Of a black that the user has clipped, noise reduction removes the grain.
            if (user == strong) target.noiseReduction = user.noiseReduction;
            const Frame after = showFilm(film, target);
            const auto name = pipeline::SCENE_NAMES[scene];
            EXPECT_LE(measure(after).clippedBlack, measure(before).clippedBlack + 0.001) << name;
            EXPECT_LE(measure(after).clippedWhite, measure(before).clippedWhite + 0.001) << name;
            EXPECT_LE(greyError(film, after), greyError(film, before) + 1) << name;
        }
        // Black and white bars stay so beside a dark and a bright picture.
        for (const char* const name : {"night", "snow"}) {
            Frame film = sceneFrame(name);
            std::fill(film.rgb.begin(), film.rgb.begin() + 30 * 3 * WIDTH, std::uint8_t{0});
            std::fill(film.rgb.end() - 10 * 3 * WIDTH, film.rgb.end(), std::uint8_t{255});
            const Frame after = showFilm(film, decisionOn(measure(film)).target);
            EXPECT_LE(after.rgb.front(), 4) << name;
            EXPECT_GE(after.rgb.back(), 244) << name;
        }
    }
}

TEST(AJudge, SaysWhyNothingIsNeeded) {
    for (const char* const scene : {"sunset", "garden"}) {
        const Decision decision = decisionOn(measure(sceneFrame(scene)));
        EXPECT_EQ(decision.target, Settings{});
        EXPECT_THAT(textOf(decision), StartsWith("no change: luma ")) << scene;
    }
}

TEST(AJudge, StartsFromTheUsersSettings) {
    Settings user;
    user.brightness = 45;
    user.contrast = 58;
    user.saturation = 40;
    user.sharpness = 30;
    EXPECT_EQ(decisionOn(measure(sceneFrame("garden")), user).target, user);
    const Settings night = decisionOn(measure(sceneFrame("night")), user).target;
    EXPECT_GT(night.darkLift, user.darkLift);
    EXPECT_EQ(night.sharpness, user.sharpness);
}

// One test for each scene, because a hundred frames take 18 s with the thread sanitizer.
class AJudgeOfAScene : public testing::TestWithParam<std::string> {};

TEST_P(AJudgeOfAScene, DecidesOnceOnAHundredNoisyFrames) {
    SceneJudge judge(Settings{});
    unsigned decisions = 0;
    const Frame still = sceneFrame(GetParam());
    Frame before;
    for (unsigned i = 0; i < 100; ++i) {
        const Frame frame = withNoise(still, 3, i + 1);
        const Measurement film = measure(frame, i == 0 ? nullptr : &before);
        if (judge.judge(film, i > 0 && isCut(before, frame), 0.3 * i)) ++decisions;
        before = frame;
    }
    EXPECT_EQ(decisions, 1U);
}

INSTANTIATE_TEST_SUITE_P(Of, AJudgeOfAScene, testing::Values("night", "cellar", "train", "portrait"),
                         [](const auto& scene) { return scene.param; });

TEST(AJudge, DecidesAnewAfterACut) {
    SceneJudge judge(Settings{});
    const Measurement night = measure(sceneFrame("night"));
    const Measurement snow = measure(sceneFrame("snow"));
    EXPECT_FALSE(judge.judge(night, false, 0));
    ASSERT_TRUE(judge.judge(night, false, 0.3));
    EXPECT_TRUE(judge.sceneBegan());
    EXPECT_FALSE(judge.judge(snow, true, 0.6));
    const std::optional<Decision> decision = judge.judge(snow, false, 0.9);
    ASSERT_TRUE(decision);
    EXPECT_TRUE(judge.sceneBegan());
    EXPECT_EQ(decision->scene, Scene::BRIGHT);
    EXPECT_EQ(decision->target.darkLift, 0);
}

TEST(AJudge, IsNotMovedByAFlash) {
    SceneJudge judge(Settings{});
    const Measurement night = measure(sceneFrame("night"));
    const Measurement flash = measure(flatFrame(255, 255, 255));
    EXPECT_FALSE(judge.judge(night, false, 0));
    ASSERT_TRUE(judge.judge(night, false, 0.3));
    EXPECT_FALSE(judge.judge(flash, true, 5));
    EXPECT_TRUE(judge.waiting());
    EXPECT_FALSE(judge.judge(night, true, 5.3));
    EXPECT_FALSE(judge.waiting());
    for (int i = 0; i < 10; ++i) EXPECT_FALSE(judge.judge(night, false, 5.6 + i));
}

TEST(AJudge, TakesASlowFadeForNewScenesAndABlackPictureForNone) {
    SceneJudge judge(Settings{});
    Settings last;
    unsigned scenes = 0;
    const Frame sunset = sceneFrame("sunset");
    for (int i = 0; i <= 60; ++i) {
        const double gain = 1 - i / 60.0;
        const Measurement film = measure(changed(sunset, [gain](double value) { return gain * value; }));
        const std::optional<Decision> decision = judge.judge(film, false, i);
        if (!decision) continue;
        if (judge.sceneBegan()) ++scenes;
        EXPECT_GE(decision->target.darkLift, last.darkLift);
        last = decision->target;
    }
    EXPECT_GT(scenes, 1U);
    EXPECT_GT(last.darkLift, 20);
    const std::optional<Decision> black = [&] {
        static_cast<void>(judge.judge(measure(flatFrame(0, 0, 0)), true, 100));
        return judge.judge(measure(flatFrame(0, 0, 0)), false, 101);
    }();
    ASSERT_TRUE(black);
    EXPECT_EQ(black->scene, Scene::BLACK);
    EXPECT_EQ(black->target, last);
}

TEST(AJudge, MovesNoSettingBackWithinAScene) {
    SceneJudge judge(Settings{});
    Settings last;
    const Frame sunset = sceneFrame("sunset");
    std::array<int, SETTING_NAMES.size()> directions{};
    double lastDecision = -10;
    unsigned decisions = 0;
    for (int i = 0; i < 150; ++i) {
        // A lamp that swings: the luma goes up and down, by less than a new scene would.
        const double gain = 0.42 + 0.09 * std::sin(i / 9.0);
        const double seconds = 0.3 * i;
        const Measurement film = measure(changed(sunset, [gain](double value) { return gain * value; }));
        const std::optional<Decision> decision = judge.judge(film, false, seconds);
        if (!decision) continue;
        ++decisions;
        EXPECT_GE(seconds - lastDecision, 2);
        lastDecision = seconds;
        for (std::size_t s = 0; s < SETTING_NAMES.size(); ++s) {
            const int move = decision->target.*SETTING_NAMES[s].value - last.*SETTING_NAMES[s].value;
            EXPECT_GE(move * directions[s], 0) << SETTING_NAMES[s].name;
            if (move != 0) directions[s] = move;
        }
        last = decision->target;
    }
    EXPECT_GE(decisions, 2U);
    EXPECT_LE(decisions, 3U);
}

}  // namespace
