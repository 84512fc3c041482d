#include "picture_response.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

double deviation(int setting) { return (setting - 50) / 50.0; }

// What the television makes of a grey value, both from 0 to 1. These curves are those of the simulated
// television; for another one, show it grey ramps under each setting and put the curves that you measure
// here.
double shownGrey(double grey, const Settings& settings) {
    const double gamma = 1.0 / (1.0 + settings.darkLift / 100.0);
    double x = grey + (1.0 - grey) * (std::pow(grey, gamma) - grey);

    const double highlight = std::max(0.0, 2.0 * x - 1.0);
    x -= 0.225 * highlight * highlight * settings.rollOff / 100.0;

    const double contrast = deviation(settings.contrast);
    x = std::clamp(0.5 + (x - 0.5) * (1.0 + contrast * (contrast > 0 ? 2.0 : 1.0)), 0.0, 1.0);

    const double brightness = 0.96 * deviation(settings.brightness);
    return brightness < 0 ? x * (1.0 + brightness) : x + (1.0 - x) * brightness;
}

using Curve = std::array<double, 256>;

// For each value shown the film's: the middle of those that come nearest to it.
Curve inverseCurve(const Settings& settings) {
    Curve shown{};
    for (std::size_t i = 0; i < shown.size(); ++i)
        shown[i] = std::round(255.0 * shownGrey(static_cast<double>(i) / 255.0, settings));

    Curve film{};
    for (std::size_t value = 0; value < film.size(); ++value) {
        const auto next = std::lower_bound(shown.begin(), shown.end(), static_cast<double>(value));
        if (next == shown.end()) {
            film[value] = 255.0;
        } else {
            const auto last = std::upper_bound(next, shown.end(), *next);
            film[value] = 0.5 * static_cast<double>((next - shown.begin()) + (last - shown.begin() - 1));
        }
    }
    return film;
}

std::uint8_t toByte(double value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0) + 0.5); }

}  // namespace

Frame estimateFilm(const Frame& shown, const Settings& settings) {
    const Curve curve = inverseCurve(settings);
    // Almost no saturation left nothing that could be brought back.
    const double gain = std::max(0.2, 1.0 + deviation(settings.saturation));
    Frame film = shown;
    for (std::size_t i = 0; i + 2 < film.rgb.size(); i += 3) {
        const double luma = 0.2126 * shown.rgb[i] + 0.7152 * shown.rgb[i + 1] + 0.0722 * shown.rgb[i + 2];
        for (std::size_t c = 0; c < 3; ++c) {
            const std::uint8_t unsaturated = toByte(luma + (shown.rgb[i + c] - luma) / gain);
            film.rgb[i + c] = toByte(curve[unsaturated]);
        }
    }
    return film;
}
