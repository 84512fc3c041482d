// The measurements and predictions of the example service, without a television.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "frame.h"
#include "picture_response.h"
#include "scenes.h"
#include "test_frames.h"

using tests::blurredEdge;
using tests::decisionOn;
using tests::flatFrame;
using tests::greyFrame;
using tests::HEIGHT;
using tests::sceneFrame;
using tests::withNoise;

namespace {

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

}  // namespace
