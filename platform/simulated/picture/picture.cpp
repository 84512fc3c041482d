#include "simulated_picture/picture.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <optional>

namespace simulated {
namespace {

constexpr std::size_t CHANNELS = 4;
constexpr std::size_t COLOURS = 3;  // the fourth channel, opacity, never changes

constexpr std::size_t PQ_VALUES_MAX = 27;
constexpr int PQ_VALUE_MAX = 100;

struct Knob {
    std::string_view name;
    int PictureSettings::*value;
    int lowest;
    int highest;
};

constexpr std::array KNOBS{
    Knob{"brightness", &PictureSettings::brightness, 0, 100},
    Knob{"contrast", &PictureSettings::contrast, 0, 100},
    Knob{"saturation", &PictureSettings::saturation, 0, 100},
    Knob{"sharpness", &PictureSettings::sharpness, 0, 100},
    Knob{"nr", &PictureSettings::noiseReduction, 0, 4},
    Knob{"tuner", &PictureSettings::tunerMode, 0, 6},
    Knob{"tuner.luma", &PictureSettings::tunerLuma, -50, 50},
    Knob{"tuner.sat", &PictureSettings::tunerSaturation, -50, 50},
    Knob{"tuner.hue", &PictureSettings::tunerHue, -50, 50},
};

std::optional<int> number(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string setKnob(PictureSettings& settings, const Knob& knob,
                    const std::vector<std::string_view>& values) {
    const auto value = values.size() == 1 ? number(values.front()) : std::nullopt;
    if (!value || *value < knob.lowest || *value > knob.highest) {
        return std::string(knob.name) + " takes one number from " + std::to_string(knob.lowest) + " to " +
               std::to_string(knob.highest);
    }
    settings.*knob.value = *value;
    return {};
}

std::string setPq(PictureSettings& settings, const std::vector<std::string_view>& values) {
    std::array<int, PQ_VALUES_MAX> numbers{};
    if (values.size() > numbers.size()) {
        return "pq takes at most " + std::to_string(PQ_VALUES_MAX) + " numbers";
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto value = number(values[i]);
        if (!value) return "pq takes numbers only";
        numbers[i] = *value;
    }
    const auto outside = [](int value) { return value < 0 || value > PQ_VALUE_MAX; };
    if (outside(numbers[0]) || outside(numbers[1])) {
        return "the first two numbers of pq must be from 0 to " + std::to_string(PQ_VALUE_MAX);
    }
    settings.darkLift = numbers[0];
    settings.highlightRollOff = numbers[1];
    return {};
}

std::uint8_t toByte(float value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F) + 0.5F); }

// Maps 0..100 to -1..1; the neutral 50 is 0.
float deviation(int value) { return static_cast<float>(value - 50) / 50.0F; }

// A 3 x 3 blur; at the edges, the outermost pixels are repeated.
std::vector<std::uint8_t> blurred(const Image& image) {
    const std::size_t width = image.width;
    const std::size_t height = image.height;
    std::vector<std::uint8_t> result = image.rgba;
    for (std::size_t y = 0; y < height; ++y) {
        const std::array rows{y == 0 ? y : y - 1, y, std::min(y + 1, height - 1)};
        for (std::size_t x = 0; x < width; ++x) {
            const std::array columns{x == 0 ? x : x - 1, x, std::min(x + 1, width - 1)};
            for (std::size_t c = 0; c < COLOURS; ++c) {
                unsigned sum = 0;
                for (std::size_t j = 0; j < 3; ++j) {
                    const auto at = [&](std::size_t column) -> unsigned {
                        return image.rgba[(rows[j] * width + column) * CHANNELS + c];
                    };
                    sum += (j == 1 ? 2U : 1U) * (at(columns[0]) + 2U * at(columns[1]) + at(columns[2]));
                }
                result[(y * width + x) * CHANNELS + c] = static_cast<std::uint8_t>((sum + 8U) / 16U);
            }
        }
    }
    return result;
}

// Moves every pixel towards its blurred neighbourhood (amount up to 1), or away from it (amount below 0).
void blend(Image& image, float amount) {
    if (amount == 0.0F) return;
    const std::vector<std::uint8_t> soft = blurred(image);
    for (std::size_t i = 0; i < image.rgba.size(); ++i) {
        const auto sharp = static_cast<float>(image.rgba[i]);
        image.rgba[i] = toByte(sharp + (static_cast<float>(soft[i]) - sharp) * amount);
    }
}

using ToneCurve = std::array<std::uint8_t, 256>;

float toneCurve(const PictureSettings& settings, float x) {
    if (settings.darkLift != 0) {
        const float gamma = 1.0F / (1.0F + static_cast<float>(settings.darkLift) / 100.0F);
        x += (1.0F - x) * (std::pow(x, gamma) - x);
    }
    if (settings.highlightRollOff != 0 && x > 0.5F) {
        // The factor stays below one half. With a larger factor, the brightest parts would turn darker than
        // their surroundings.
        const float over = (x - 0.5F) * 2.0F;
        x = 0.5F +
            0.5F * over * (1.0F - 0.45F * over * static_cast<float>(settings.highlightRollOff) / 100.0F);
    }
    const float contrast = deviation(settings.contrast);
    x = std::clamp(0.5F + (x - 0.5F) * (1.0F + contrast * (contrast > 0.0F ? 2.0F : 1.0F)), 0.0F, 1.0F);

    // Moves the value towards black or white, but never reaches it. An offset would clip half of the picture.
    const float brightness = 0.96F * deviation(settings.brightness);
    return brightness < 0.0F ? x * (1.0F + brightness) : x + (1.0F - x) * brightness;
}

void applyTone(const PictureSettings& settings, Image& image) {
    if (settings.brightness == 50 && settings.contrast == 50 && settings.darkLift == 0 &&
        settings.highlightRollOff == 0) {
        return;
    }
    ToneCurve curve{};
    for (std::size_t i = 0; i < curve.size(); ++i) {
        curve[i] = toByte(255.0F * toneCurve(settings, static_cast<float>(i) / 255.0F));
    }
    for (std::size_t i = 0; i < image.rgba.size(); i += CHANNELS) {
        for (std::size_t c = 0; c < COLOURS; ++c) image.rgba[i + c] = curve[image.rgba[i + c]];
    }
}

constexpr float RED = 0.2126F;
constexpr float GREEN = 0.7152F;
constexpr float BLUE = 0.0722F;
constexpr float CB = 2.0F * (1.0F - BLUE);
constexpr float CR = 2.0F * (1.0F - RED);

// The two colour differences of a pixel.
struct Chroma {
    float cb = 0.0F;
    float cr = 0.0F;
};

Chroma chromaOf(float red, float green, float blue) {
    const float luma = RED * red + GREEN * green + BLUE * blue;
    return {(blue - luma) / CB, (red - luma) / CR};
}

// The tuner's colour axis of each mode from 1 on: red, yellow, green, cyan, blue, magenta.
Chroma axisOf(int mode) {
    constexpr std::array<std::array<float, COLOURS>, 6> AXES{
        {{1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 1, 1}, {0, 0, 1}, {1, 0, 1}}};
    const auto& colour = AXES.at(static_cast<std::size_t>(mode - 1));
    return chromaOf(colour[0], colour[1], colour[2]);
}

// The weight of the tuner for a colour: 1 on its axis, falling to 0 at 75 degrees from it, so that red
// includes skin. Near grey, the weight falls with the colour's saturation.
class TunerWeight {
  public:
    explicit TunerWeight(int mode) : m_axis(axisOf(mode)), m_length(std::hypot(m_axis.cb, m_axis.cr)) {}

    float of(Chroma chroma) const {
        constexpr float EDGE = 0.258819F;     // the cosine of 75 degrees
        constexpr float FULL_COLOUR = 24.0F;  // colours with longer differences are not near grey
        const float length = std::hypot(chroma.cb, chroma.cr);
        if (length == 0.0F) return 0.0F;
        const float cosine = (chroma.cb * m_axis.cb + chroma.cr * m_axis.cr) / (length * m_length);
        if (cosine <= EDGE) return 0.0F;
        const float near = (cosine - EDGE) / (1.0F - EDGE);
        return near * (2.0F - near) * std::min(length / FULL_COLOUR, 1.0F);
    }

  private:
    Chroma m_axis;
    float m_length;
};

void applyColour(const PictureSettings& settings, Image& image) {
    const float gain = 1.0F + deviation(settings.saturation);
    const bool tunes = settings.tunerMode != 0 &&
                       (settings.tunerSaturation != 0 || settings.tunerHue != 0 || settings.tunerLuma != 0);
    if (gain == 1.0F && !tunes) return;
    const TunerWeight weight(tunes ? settings.tunerMode : 1);
    const float tunerGain = static_cast<float>(settings.tunerSaturation) / 50.0F;
    const float tunerAngle = static_cast<float>(settings.tunerHue) / 50.0F * std::numbers::pi_v<float> / 3.0F;
    const float tunerOffset = static_cast<float>(settings.tunerLuma) / 50.0F * 64.0F;

    // Rotation and gain change the two colour differences only: the luma of every pixel stays.
    for (std::size_t i = 0; i < image.rgba.size(); i += CHANNELS) {
        std::uint8_t* pixel = &image.rgba[i];
        const auto red = static_cast<float>(pixel[0]);
        const auto green = static_cast<float>(pixel[1]);
        const auto blue = static_cast<float>(pixel[2]);
        Chroma chroma = chromaOf(red, green, blue);
        float luma = RED * red + GREEN * green + BLUE * blue;
        const float part = tunes ? weight.of(chroma) : 0.0F;
        if (gain == 1.0F && part == 0.0F) continue;
        float scale = gain;
        if (part > 0.0F) {
            scale *= 1.0F + part * tunerGain;
            luma += part * tunerOffset;
            const float cosine = std::cos(part * tunerAngle);
            const float sine = std::sin(part * tunerAngle);
            chroma = {cosine * chroma.cb - sine * chroma.cr, sine * chroma.cb + cosine * chroma.cr};
        }
        const float cb = scale * chroma.cb;
        const float cr = scale * chroma.cr;
        pixel[0] = toByte(luma + CR * cr);
        pixel[1] = toByte(luma - (RED * CR * cr + BLUE * CB * cb) / GREEN);
        pixel[2] = toByte(luma + CB * cb);
    }
}

}  // namespace

std::string setPicture(PictureSettings& settings, std::string_view name,
                       const std::vector<std::string_view>& values) {
    if (name == "pq") return setPq(settings, values);
    const auto knob = std::find_if(KNOBS.begin(), KNOBS.end(), [&](const Knob& k) { return k.name == name; });
    if (knob == KNOBS.end()) return "there is no setting '" + std::string(name) + "'";
    return setKnob(settings, *knob, values);
}

void applyPicture(const PictureSettings& settings, Image& image) {
    blend(image, static_cast<float>(settings.noiseReduction) / 4.0F);
    const float sharpness = deviation(settings.sharpness);
    blend(image, sharpness > 0.0F ? -1.5F * sharpness : -sharpness);
    applyTone(settings, image);
    applyColour(settings, image);
}

}  // namespace simulated
