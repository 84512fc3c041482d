// What the example service measures, predicts and decides, without a television.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "frame.h"
#include "history.h"
#include "picture_response.h"
#include "scene_judge.h"
#include "scenes.h"
#include "simulated_picture/picture.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr std::uint32_t WIDTH = 256;
constexpr std::uint32_t HEIGHT = 144;

std::uint8_t toByte(double value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0) + 0.5); }

Frame greyFrame(const std::function<double(std::uint32_t, std::uint32_t)>& level) {
    Frame frame{WIDTH, HEIGHT, {}};
    for (std::uint32_t y = 0; y < HEIGHT; ++y)
        for (std::uint32_t x = 0; x < WIDTH; ++x) frame.rgb.insert(frame.rgb.end(), 3, toByte(level(x, y)));
    return frame;
}

Frame flatFrame(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    Frame frame{WIDTH, HEIGHT, {}};
    for (std::uint32_t i = 0; i < WIDTH * HEIGHT; ++i) frame.rgb.insert(frame.rgb.end(), {red, green, blue});
    return frame;
}

Frame sceneFrame(std::size_t scene, float seconds = 1) {
    simulated::Image image(WIDTH, HEIGHT);
    pipeline::drawScene(scene, seconds, image);
    Frame frame{WIDTH, HEIGHT, {}};
    for (std::size_t i = 0; i < image.rgba.size(); i += 4)
        frame.rgb.insert(frame.rgb.end(), &image.rgba[i], &image.rgba[i + 3]);
    return frame;
}

Frame sceneFrame(const std::string& name, float seconds = 1) {
    const auto scene = std::find(pipeline::SCENE_NAMES.begin(), pipeline::SCENE_NAMES.end(), name);
    return sceneFrame(static_cast<std::size_t>(scene - pipeline::SCENE_NAMES.begin()), seconds);
}

Frame changed(Frame frame, const std::function<double(double)>& change) {
    for (std::uint8_t& value : frame.rgb) value = toByte(change(value));
    return frame;
}

// The same noise in red, green and blue; another for each seed.
Frame withNoise(Frame frame, double deviation, unsigned seed) {
    static const std::vector<double> NOISE = [] {
        std::minstd_rand random;
        std::normal_distribution<double> noise;
        std::vector<double> values(WIDTH * HEIGHT);
        for (double& value : values) value = noise(random);
        return values;
    }();
    for (std::size_t i = 0; i < frame.rgb.size(); i += 3) {
        const double value = deviation * NOISE[(i / 3 + 7919 * seed) % NOISE.size()];
        for (std::size_t c = 0; c < 3; ++c) frame.rgb[i + c] = toByte(frame.rgb[i + c] + value);
    }
    return frame;
}

Frame blurredEdge(double width) {
    return greyFrame([width](std::uint32_t x, std::uint32_t) {
        return 128 + 80 * std::tanh((x - WIDTH / 2.0 + 0.5) / width);
    });
}

// The first decision on a scene.
Decision decisionOn(const Measurement& film, const Settings& user = {}) {
    SceneJudge judge(user);
    EXPECT_FALSE(judge.judge(film, false, 0));
    const std::optional<Decision> decision = judge.judge(film, false, 0.3);
    EXPECT_TRUE(decision);
    return decision.value_or(Decision{});
}

std::string textOf(const Decision& decision) {
    std::string text;
    for (const Reason& reason : decision.reasons) text += reason.change + ": " + reason.why + '\n';
    return text;
}

TEST(AMeasurement, FindsTheNoiseOfAFlatPicture) {
    for (const double deviation : {1.0, 2.0, 4.0, 8.0})
        EXPECT_NEAR(measure(withNoise(flatFrame(120, 120, 120), deviation, 7)).noise, deviation,
                    0.12 * deviation);
}

TEST(AMeasurement, TakesNeitherASlopeNorTextureForNoise) {
    EXPECT_LT(measure(greyFrame([](std::uint32_t x, std::uint32_t) { return x; })).noise, 0.4);
    // Stripes in the lower half.
    EXPECT_LT(measure(greyFrame([](std::uint32_t x, std::uint32_t y) {
                  return y < HEIGHT / 2 ? 100 : 100 + 60 * static_cast<int>(x % 2);
              })).noise,
              0.4);
}

TEST(AMeasurement, TakesGrassForNoNoise) {
    // Blades two pixels wide, everywhere.
    const Frame grass = greyFrame([](std::uint32_t x, std::uint32_t y) {
        return 110 + 40 * std::sin(1.1 * x + 0.7 * y) * std::sin(0.5 * x - 1.3 * y);
    });
    EXPECT_LT(measure(grass).noise, 1);
    EXPECT_EQ(decisionOn(measure(grass)).target.noiseReduction, 0);
}

TEST(AMeasurement, FindsTheSharesThatAreClipped) {
    const Measurement measured = measure(greyFrame([](std::uint32_t, std::uint32_t y) {
        return y < 36 ? 0 : y < 54 ? 255 : 128;
    }));
    EXPECT_DOUBLE_EQ(measured.clippedBlack, 0.25);
    EXPECT_DOUBLE_EQ(measured.clippedWhite, 0.125);
    EXPECT_DOUBLE_EQ(measured.histogram[32], 0.625);
    // A colour is not clipped while one of its channels is not.
    EXPECT_EQ(measure(flatFrame(255, 255, 200)).clippedWhite, 0);
    EXPECT_EQ(measure(flatFrame(0, 0, 20)).clippedBlack, 0);
}

TEST(AMeasurement, CallsAnEdgeLessSharpTheWiderItIs) {
    EXPECT_NEAR(measure(blurredEdge(0.01)).sharpness, 100, 1);
    double last = 101;
    for (const double width : {0.01, 0.6, 1.2, 2.0, 3.0}) {
        const double sharpness = measure(blurredEdge(width)).sharpness;
        EXPECT_LT(sharpness, last) << width;
        last = sharpness;
    }
    EXPECT_LT(last, 30);
}

TEST(AMeasurement, SeesMotionButNotNoiseNorACut) {
    const Frame bars = greyFrame([](std::uint32_t x, std::uint32_t) { return x / 16 % 2 == 0 ? 80 : 160; });
    const Frame moved =
        greyFrame([](std::uint32_t x, std::uint32_t) { return (x + 8) / 16 % 2 == 0 ? 80 : 160; });
    EXPECT_EQ(measure(bars).motion, 0);
    EXPECT_EQ(measure(bars, &bars).motion, 0);
    EXPECT_NEAR(measure(moved, &bars).motion, 40, 1);
    const Frame noisy = withNoise(bars, 6, 1);
    EXPECT_LT(measure(withNoise(bars, 6, 2), &noisy).motion, 2.5);
    const Frame night = sceneFrame("night");
    const Frame snow = sceneFrame("snow");
    EXPECT_TRUE(isCut(night, snow));
    EXPECT_EQ(measure(snow, &night).motion, 0);
}

TEST(AMeasurement, FindsACutBetweenAnyTwoScenesAndNoneWithin) {
    for (std::size_t scene = 0; scene < pipeline::SCENE_NAMES.size(); ++scene) {
        EXPECT_FALSE(isCut(sceneFrame(scene, 0.1F), sceneFrame(scene, 2.9F))) << pipeline::SCENE_NAMES[scene];
        for (std::size_t other = 0; other < scene; ++other)
            EXPECT_TRUE(isCut(sceneFrame(other, 2.9F), sceneFrame(scene, 0.1F)))
                << pipeline::SCENE_NAMES[other] << ' ' << pipeline::SCENE_NAMES[scene];
    }
}

TEST(AMeasurement, FindsSkinAndItsHue) {
    const Measurement skin = measure(flatFrame(200, 152, 120));
    EXPECT_EQ(skin.skin, 1);
    EXPECT_NEAR(skin.skinHue, 24, 0.1);
    EXPECT_EQ(measure(flatFrame(120, 152, 200)).skin, 0);
    EXPECT_EQ(measure(flatFrame(128, 128, 128)).skin, 0);
}

TEST(AMeasurement, CountsWhatTheFilmHasLostAsLost) {
    const Frame film = flatFrame(255, 255, 255);
    const Frame grey = flatFrame(230, 230, 230);
    EXPECT_EQ(measure(grey).clippedWhite, 0);
    EXPECT_EQ(measureShown(film, grey).clippedWhite, 1);
    EXPECT_EQ(measureShown(grey, film).clippedWhite, 1);
}

TEST(AMeasurement, FindsTheColourThatAGreyGets) {
    Frame film = flatFrame(100, 100, 100);
    for (std::size_t i = 0; i < film.rgb.size() / 2; i += 3) film.rgb[i] = 200;  // red is not judged
    EXPECT_EQ(greyError(film, film), 0);
    EXPECT_EQ(greyError(film, flatFrame(110, 104, 100)), 10);
    // What is grey by chance is not enough.
    EXPECT_EQ(greyError(flatFrame(110, 104, 100), flatFrame(200, 100, 0)), 0);
}

TEST(TheResponse, IsUndoneByTheEstimate) {
    Settings night;
    night.darkLift = 60;
    night.contrast = 54;
    night.saturation = 56;
    Settings snow;
    snow.rollOff = 40;
    snow.contrast = 46;
    snow.brightness = 47;
    Settings portrait;
    portrait.tunerMode = 1;
    portrait.tunerHue = -12;
    portrait.tunerSaturation = -6;
    portrait.sharpness = 62;
    for (const Settings& settings : {night, snow, portrait}) {
        for (std::size_t scene = 0; scene < pipeline::SCENE_NAMES.size(); ++scene) {
            const Frame film = sceneFrame(scene);
            const Measurement real = measure(film);
            const Measurement estimated =
                measureFilm(estimateFilm(showFilm(film, settings), settings), settings);
            EXPECT_LT(histogramDistance(real.histogram, estimated.histogram), 2)
                << pipeline::SCENE_NAMES[scene];
            EXPECT_NEAR(estimated.colour, real.colour, 5) << pipeline::SCENE_NAMES[scene];
            EXPECT_NEAR(estimated.skinHue, real.skinHue, 3) << pipeline::SCENE_NAMES[scene];
        }
    }
}

TEST(TheResponse, AccountsForNoiseReductionAndSharpness) {
    const Frame film = withNoise(flatFrame(90, 90, 90), 5, 3);
    for (int noiseReduction = 0; noiseReduction <= 3; ++noiseReduction) {
        Settings settings;
        settings.noiseReduction = noiseReduction;
        EXPECT_NEAR(measureFilm(showFilm(film, settings), settings).noise, 5, 1) << noiseReduction;
    }
    Settings sharp;
    sharp.sharpness = 66;
    const Frame portrait = sceneFrame("portrait");
    EXPECT_NEAR(measureFilm(showFilm(portrait, sharp), sharp).sharpness, measure(portrait).sharpness, 4);
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

TEST(AJudge, DecidesOnceOnAHundredNoisyFramesOfAScene) {
    for (const std::string scene : {"night", "cellar", "train", "portrait"}) {
        SceneJudge judge(Settings{});
        unsigned decisions = 0;
        const Frame still = sceneFrame(scene);
        Frame before;
        for (unsigned i = 0; i < 100; ++i) {
            const Frame frame = withNoise(still, 3, i + 1);
            const Measurement film = measure(frame, i == 0 ? nullptr : &before);
            if (judge.judge(film, i > 0 && isCut(before, frame), 0.3 * i)) ++decisions;
            before = frame;
        }
        EXPECT_EQ(decisions, 1U) << scene;
    }
}

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

}  // namespace
