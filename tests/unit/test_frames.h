// Frames with known properties, and the decision on a scene.
#ifndef TESTS_TEST_FRAMES_H
#define TESTS_TEST_FRAMES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "frame.h"
#include "scene_judge.h"
#include "scenes.h"
#include "simulated_picture/picture.h"

namespace tests {

constexpr std::uint32_t WIDTH = 256;
constexpr std::uint32_t HEIGHT = 144;

inline std::uint8_t toByte(double value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0) + 0.5);
}

inline Frame greyFrame(const std::function<double(std::uint32_t, std::uint32_t)>& level) {
    Frame frame{WIDTH, HEIGHT, {}};
    for (std::uint32_t y = 0; y < HEIGHT; ++y)
        for (std::uint32_t x = 0; x < WIDTH; ++x) frame.rgb.insert(frame.rgb.end(), 3, toByte(level(x, y)));
    return frame;
}

inline Frame flatFrame(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    Frame frame{WIDTH, HEIGHT, {}};
    for (std::uint32_t i = 0; i < WIDTH * HEIGHT; ++i) frame.rgb.insert(frame.rgb.end(), {red, green, blue});
    return frame;
}

inline Frame sceneFrame(std::size_t scene, float seconds = 1) {
    simulated::Image image(WIDTH, HEIGHT);
    pipeline::drawScene(scene, seconds, image);
    Frame frame{WIDTH, HEIGHT, {}};
    for (std::size_t i = 0; i < image.rgba.size(); i += 4)
        frame.rgb.insert(frame.rgb.end(), &image.rgba[i], &image.rgba[i + 3]);
    return frame;
}

inline Frame sceneFrame(const std::string& name, float seconds = 1) {
    const auto scene = std::find(pipeline::SCENE_NAMES.begin(), pipeline::SCENE_NAMES.end(), name);
    return sceneFrame(static_cast<std::size_t>(scene - pipeline::SCENE_NAMES.begin()), seconds);
}

inline Frame changed(Frame frame, const std::function<double(double)>& change) {
    for (std::uint8_t& value : frame.rgb) value = toByte(change(value));
    return frame;
}

// The same noise in red, green and blue; another for each seed.
inline Frame withNoise(Frame frame, double deviation, unsigned seed) {
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

inline Frame blurredEdge(double width) {
    return greyFrame([width](std::uint32_t x, std::uint32_t) {
        return 128 + 80 * std::tanh((x - WIDTH / 2.0 + 0.5) / width);
    });
}

// The first decision on a scene.
inline Decision decisionOn(const Measurement& film, const Settings& user = {}) {
    SceneJudge judge(user);
    EXPECT_FALSE(judge.judge(film, false, 0));
    const std::optional<Decision> decision = judge.judge(film, false, 0.3);
    EXPECT_TRUE(decision);
    return decision.value_or(Decision{});
}

}  // namespace tests

#endif
