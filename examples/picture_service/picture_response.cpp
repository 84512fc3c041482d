#include "picture_response.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <tuple>
#include <vector>

#include "simulated_picture/picture.h"

namespace {

constexpr std::size_t LEVELS = std::tuple_size_v<ToneCurve>;
constexpr std::size_t COLOURS = 3;

// The smallest measurable part of the noise. Noise that was reduced further cannot be measured.
constexpr double LEAST_GAIN = 0.2;

// Each round at least halves the error of the colours.
constexpr int COLOUR_ROUNDS = 4;

simulated::PictureSettings panelSettings(const Settings& settings) {
    simulated::PictureSettings panel;
    panel.brightness = settings.brightness;
    panel.contrast = settings.contrast;
    panel.saturation = settings.saturation;
    panel.sharpness = settings.sharpness;
    panel.noiseReduction = settings.noiseReduction;
    panel.tunerMode = settings.tunerMode;
    panel.tunerSaturation = settings.tunerSaturation;
    panel.tunerHue = settings.tunerHue;
    panel.darkLift = settings.darkLift;
    panel.highlightRollOff = settings.rollOff;
    return panel;
}

std::uint8_t toByte(double value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0) + 0.5); }

// Returns neutral settings, except for the given ones.
Settings only(const Settings& settings, std::initializer_list<int Settings::*> kept) {
    Settings result;
    for (int Settings::*const setting : kept) result.*setting = settings.*setting;
    return result;
}

Settings toneOf(const Settings& settings) {
    return only(settings,
                {&Settings::brightness, &Settings::contrast, &Settings::darkLift, &Settings::rollOff});
}

Settings colourOf(const Settings& settings) {
    return only(settings, {&Settings::saturation, &Settings::tunerMode, &Settings::tunerSaturation,
                           &Settings::tunerHue});
}

// The film's level for each shown level: the middle of the levels that come nearest to it.
ToneCurve inverseTone(const Settings& settings) {
    const ToneCurve shown = toneCurve(settings);
    ToneCurve film{};
    for (std::size_t level = 0; level < LEVELS; ++level) {
        const auto next = std::lower_bound(shown.begin(), shown.end(), level);
        if (next == shown.end()) {
            film[level] = LEVELS - 1;
        } else {
            const auto last = std::upper_bound(next, shown.end(), *next);
            film[level] =
                static_cast<std::uint8_t>(((next - shown.begin()) + (last - shown.begin() - 1)) / 2);
        }
    }
    return film;
}

// Searches for the frame that the colour settings turn into `shown`: corrects a guess by its error,
// repeatedly.
Frame withoutColourSettings(const Frame& shown, const Settings& settings) {
    const Settings colour = colourOf(settings);
    Frame guess = shown;
    if (colour == Settings{}) return guess;
    for (int round = 0; round < COLOUR_ROUNDS; ++round) {
        const Frame result = showFilm(guess, colour);
        for (std::size_t i = 0; i < guess.rgb.size(); ++i)
            guess.rgb[i] = toByte(guess.rgb[i] + shown.rgb[i] - result.rgb[i]);
    }
    return guess;
}

constexpr std::uint32_t PATCH = 66;

// A grey with noise; every call returns the same.
Frame noisePatch() {
    Frame patch{PATCH, PATCH, {}};
    std::minstd_rand random;
    for (std::size_t i = 0; i < std::size_t{PATCH} * PATCH; ++i)
        patch.rgb.insert(patch.rgb.end(), COLOURS, static_cast<std::uint8_t>(120 + random() % 17));
    return patch;
}

// A soft edge.
Frame edgePatch() {
    Frame patch{PATCH, PATCH, {}};
    for (std::size_t i = 0; i < std::size_t{PATCH} * PATCH; ++i) {
        const double fromMiddle = static_cast<double>(i % PATCH) - PATCH / 2.0 + 0.5;
        patch.rgb.insert(patch.rgb.end(), COLOURS, toByte(128 + 64 * std::tanh(fromMiddle / 2.5)));
    }
    return patch;
}

}  // namespace

Frame showFilm(const Frame& film, const Settings& settings) {
    simulated::Image image(film.width, film.height);
    const std::size_t pixels = std::min(film.rgb.size() / COLOURS, image.rgba.size() / 4);
    for (std::size_t i = 0; i < pixels; ++i)
        for (std::size_t c = 0; c < COLOURS; ++c) image.rgba[4 * i + c] = film.rgb[COLOURS * i + c];
    simulated::applyPicture(panelSettings(settings), image);
    Frame shown = film;
    for (std::size_t i = 0; i < pixels; ++i)
        for (std::size_t c = 0; c < COLOURS; ++c) shown.rgb[COLOURS * i + c] = image.rgba[4 * i + c];
    return shown;
}

Frame estimateFilm(const Frame& shown, const Settings& settings) {
    Frame film = withoutColourSettings(shown, settings);
    const ToneCurve curve = inverseTone(settings);
    for (std::uint8_t& value : film.rgb) value = curve[value];
    return film;
}

ToneCurve toneCurve(const Settings& settings) {
    Frame ramp{LEVELS, 1, std::vector<std::uint8_t>(LEVELS * COLOURS)};
    for (std::size_t i = 0; i < ramp.rgb.size(); ++i) ramp.rgb[i] = static_cast<std::uint8_t>(i / COLOURS);
    const Frame shown = showFilm(ramp, toneOf(settings));
    ToneCurve curve{};
    for (std::size_t i = 0; i < LEVELS; ++i) curve[i] = shown.rgb[i * COLOURS];
    return curve;
}

double shownSkinHue(double hue, const Settings& settings) {
    // Skin of medium brightness and colour.
    constexpr int RED = 200;
    constexpr int CHROMA = 80;
    const double turned = CHROMA * hue / 60;
    Frame skin{
        1,
        1,
        {RED, toByte(RED - CHROMA + std::max(0.0, turned)), toByte(RED - CHROMA - std::min(0.0, turned))}};
    return measure(showFilm(skin, colourOf(settings))).skinHue;
}

Measurement measureFilm(const Frame& estimate, const Settings& settings, const Frame* before) {
    const Settings detail = only(settings, {&Settings::sharpness, &Settings::noiseReduction});
    if (detail == Settings{}) return measure(estimate, before);

    const Frame noise = noisePatch();
    const Measurement original = measure(noise);
    const Frame shownNoise = showFilm(noise, detail);
    const double spread = measure(shownNoise).contrast / original.contrast;
    // With this large spread, the whole patch counts as flat.
    const double gain = measure(shownNoise, nullptr, 1 / LEAST_GAIN).noise / original.noise;
    Measurement film = measure(estimate, before, spread / gain);
    film.noise /= std::max(LEAST_GAIN, gain);
    const Frame edge = edgePatch();
    film.sharpness /= measure(showFilm(edge, detail)).sharpness / measure(edge).sharpness;
    film.sharpness = std::min(film.sharpness, 100.0);
    return film;
}
