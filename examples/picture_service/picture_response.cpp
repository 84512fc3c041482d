#include "picture_response.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "simulated_picture/picture.h"

namespace {

constexpr std::size_t LEVELS = 256;
constexpr std::size_t COLOURS = 3;

// Each round halves the error of the colours, or better.
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

Settings toneOf(const Settings& settings) {
    Settings tone;
    tone.brightness = settings.brightness;
    tone.contrast = settings.contrast;
    tone.darkLift = settings.darkLift;
    tone.rollOff = settings.rollOff;
    return tone;
}

Settings colourOf(const Settings& settings) {
    Settings colour;
    colour.saturation = settings.saturation;
    colour.tunerMode = settings.tunerMode;
    colour.tunerSaturation = settings.tunerSaturation;
    colour.tunerHue = settings.tunerHue;
    return colour;
}

using Curve = std::array<std::uint8_t, LEVELS>;

// For each level shown the film's: the middle of those that come nearest to it.
Curve inverseTone(const Settings& settings) {
    Frame ramp{LEVELS, 1, std::vector<std::uint8_t>(LEVELS * COLOURS)};
    for (std::size_t i = 0; i < ramp.rgb.size(); ++i) ramp.rgb[i] = static_cast<std::uint8_t>(i / COLOURS);
    const Frame shownRamp = showFilm(ramp, toneOf(settings));
    Curve shown{};
    for (std::size_t i = 0; i < LEVELS; ++i) shown[i] = shownRamp.rgb[i * COLOURS];

    Curve film{};
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

// Searches the frame that the settings of colour turn into `shown`: corrects a guess by its error,
// repeatedly.
Frame withoutColourSettings(const Frame& shown, const Settings& settings) {
    const Settings colour = colourOf(settings);
    Frame guess = shown;
    if (colour == Settings{}) return guess;
    for (int round = 0; round < COLOUR_ROUNDS; ++round) {
        const Frame result = showFilm(guess, colour);
        for (std::size_t i = 0; i < guess.rgb.size(); ++i)
            guess.rgb[i] = toByte(double{1} * guess.rgb[i] + shown.rgb[i] - result.rgb[i]);
    }
    return guess;
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
    const Curve curve = inverseTone(settings);
    for (std::uint8_t& value : film.rgb) value = curve[value];
    return film;
}

Measurement measureFilm(const Frame& estimate, const Settings& settings, const Frame* before) {
    static_cast<void>(settings);
    return measure(estimate, before);
}
