// What the panel makes of a frame with its picture settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "simulated_picture/picture.h"

using simulated::applyPicture;
using simulated::Image;
using simulated::PictureSettings;
using simulated::setPicture;

namespace {

using Colour = std::array<int, 3>;

constexpr Colour RED{200, 30, 30};
constexpr Colour YELLOW{190, 180, 30};
constexpr Colour GREEN{30, 170, 40};
constexpr Colour CYAN{30, 170, 170};
constexpr Colour BLUE{30, 40, 200};
constexpr Colour MAGENTA{190, 40, 180};
constexpr Colour SKIN{224, 172, 140};
constexpr Colour DARK_SKIN{141, 85, 36};
constexpr Colour SKY{120, 170, 230};

Colour shown(const Colour& colour, const PictureSettings& settings) {
    Image image(3, 3);
    for (std::size_t i = 0; i < image.rgba.size(); ++i)
        image.rgba[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 255 : colour[i % 4]);
    applyPicture(settings, image);
    return {image.rgba[0], image.rgba[1], image.rgba[2]};
}

PictureSettings tuner(int mode, int saturation, int hue = 0, int luma = 0) {
    PictureSettings settings;
    settings.tunerMode = mode;
    settings.tunerSaturation = saturation;
    settings.tunerHue = hue;
    settings.tunerLuma = luma;
    return settings;
}

int spread(const Colour& colour) {
    return *std::max_element(colour.begin(), colour.end()) - *std::min_element(colour.begin(), colour.end());
}

double luma(const Colour& colour) { return 0.2126 * colour[0] + 0.7152 * colour[1] + 0.0722 * colour[2]; }

TEST(ThePanel, LeavesEveryByteWithNeutralSettings) {
    for (const Colour& colour : {RED, YELLOW, GREEN, SKIN, SKY, Colour{0, 0, 0}, Colour{255, 255, 255}}) {
        EXPECT_EQ(shown(colour, {}), colour);
        EXPECT_EQ(shown(colour, tuner(0, 50, 50, 50)), colour) << "the tuner is off";
        for (int mode = 1; mode <= 6; ++mode) EXPECT_EQ(shown(colour, tuner(mode, 0)), colour);
    }
}

TEST(TheColourTuner, TreatsTheColoursOfItsAxisAndNotTheOppositeOnes) {
    const std::array<Colour, 6> axes{RED, YELLOW, GREEN, CYAN, BLUE, MAGENTA};
    for (std::size_t i = 0; i < axes.size(); ++i) {
        const int mode = static_cast<int>(i) + 1;
        EXPECT_LT(spread(shown(axes[i], tuner(mode, -40))), spread(axes[i]) / 2) << "mode " << mode;
        for (const std::size_t away : {i + 2, i + 3, i + 4}) {
            const Colour& other = axes[away % axes.size()];
            EXPECT_EQ(shown(other, tuner(mode, 50, 50, 50)), other)
                << "mode " << mode << ", colour " << away % 6;
        }
    }
}

TEST(TheColourTuner, ReachesSkinAndNotTheSkyFromTheRedAxis) {
    for (const Colour& skin : {SKIN, DARK_SKIN}) {
        EXPECT_LT(spread(shown(skin, tuner(1, -25))), spread(skin) * 2 / 3);
        EXPECT_GT(luma(shown(skin, tuner(1, 0, 0, 20))), luma(skin) + 15);
        EXPECT_GT(shown(skin, tuner(1, 0, 15))[1], skin[1]) << "towards yellow";
    }
    EXPECT_EQ(shown(SKY, tuner(1, -50, 50, 50)), SKY);
    EXPECT_EQ(shown(GREEN, tuner(1, -50, 50, 50)), GREEN);
}

TEST(TheColourTuner, LeavesGreys) {
    for (int grey = 0; grey < 256; grey += 15)
        for (int mode = 1; mode <= 6; ++mode) {
            const Colour colour{grey, grey, grey};
            EXPECT_EQ(shown(colour, tuner(mode, 50, 50, 50)), colour) << "mode " << mode;
            EXPECT_EQ(shown(colour, tuner(mode, -50, -50, -50)), colour) << "mode " << mode;
        }
}

TEST(TheColourTuner, HasNoEdgeBetweenColours) {
    // Round the colour circle in small steps: what one step changes stays small.
    for (int mode = 1; mode <= 6; ++mode) {
        Colour before{};
        for (int step = 0; step <= 6 * 60; ++step) {
            Colour colour{};
            for (std::size_t c = 0; c < 3; ++c) {
                const int away = std::abs((step + 180 - static_cast<int>(c) * 120 + 360) % 360 - 180);
                colour[c] = 60 + 120 * std::clamp(120 - away, 0, 60) / 60;
            }
            const Colour now = shown(colour, tuner(mode, 50, 0, 50));
            for (std::size_t c = 0; c < 3 && step > 0; ++c)
                EXPECT_LE(std::abs(now[c] - before[c]), 12) << "mode " << mode << ", step " << step;
            before = now;
        }
    }
}

TEST(TheColourTuner, TakesSixModes) {
    PictureSettings settings;
    EXPECT_EQ(setPicture(settings, "tuner", {"6"}), "");
    EXPECT_EQ(settings.tunerMode, 6);
    EXPECT_EQ(setPicture(settings, "tuner", {"7"}), "tuner takes one number from 0 to 6");
    EXPECT_EQ(settings.tunerMode, 6);
}

TEST(ThePanel, BlursNoiseAndSharpensEdges) {
    Image image(8, 8);
    for (std::size_t i = 0; i < image.rgba.size(); ++i)
        image.rgba[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 255 : (i / 4 % 8 < 4 ? 100 : 150));
    const auto edge = [](const Image& picture) { return picture.rgba[4 * 4] - picture.rgba[4 * 3]; };
    Image smooth = image;
    PictureSettings settings;
    settings.noiseReduction = 4;
    applyPicture(settings, smooth);
    EXPECT_LT(edge(smooth), edge(image));
    Image sharp = image;
    settings = {};
    settings.sharpness = 80;
    applyPicture(settings, sharp);
    EXPECT_GT(edge(sharp), edge(image));
}

}  // namespace
