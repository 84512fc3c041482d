#include "tone_map.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace pipeline {
namespace {

constexpr std::size_t STEPS = 4096;
constexpr float REFERENCE_WHITE = 203.0F;  // cd/m2
constexpr float PEAK = 1000.0F;            // cd/m2

float pqLight(float code) {
    constexpr float M1 = 2610.0F / 16384.0F;
    constexpr float M2 = 2523.0F / 4096.0F * 128.0F;
    constexpr float C1 = 3424.0F / 4096.0F;
    constexpr float C2 = 2413.0F / 4096.0F * 32.0F;
    constexpr float C3 = 2392.0F / 4096.0F * 32.0F;
    const float root = std::pow(code, 1.0F / M2);
    return 10000.0F * std::pow(std::max(root - C1, 0.0F) / (C2 - C3 * root), 1.0F / M1);
}

float hlgLight(float code) {
    constexpr float A = 0.17883277F;
    constexpr float B = 1.0F - 4.0F * A;
    constexpr float C = 0.55991073F;
    return code <= 0.5F ? code * code / 3.0F : (std::exp((code - C) / A) + B) / 12.0F;
}

float srgb(float light) {
    return light <= 0.0031308F ? 12.92F * light : 1.055F * std::pow(light, 1.0F / 2.4F) - 0.055F;
}

// Maps light relative to the reference white to 0..1, black to white.
float compress(float light) {
    constexpr float KNEE = 0.5F;
    constexpr float REACH = (PEAK / REFERENCE_WHITE - KNEE) / (1.0F - KNEE);
    if (light <= KNEE) return light;
    const float over = std::min((light - KNEE) / (1.0F - KNEE), REACH);
    return KNEE + (1.0F - KNEE) * over * (1.0F + over / (REACH * REACH)) / (1.0F + over);
}

std::size_t step(float part) {
    return static_cast<std::size_t>(std::clamp(part, 0.0F, 1.0F) * (STEPS - 1) + 0.5F);
}

template <typename Value, typename Function>
std::vector<Value> table(Function function) {
    std::vector<Value> values(STEPS);
    for (std::size_t i = 0; i < STEPS; ++i) {
        values[i] = static_cast<Value>(function(static_cast<float>(i) / (STEPS - 1)));
    }
    return values;
}

}  // namespace

ToneMap::ToneMap(HdrTransfer transfer)
    : m_transfer(transfer),
      m_light(table<float>(transfer == HdrTransfer::PQ ? pqLight : hlgLight)),
      m_systemGamma(table<float>([](float luminance) { return PEAK * std::pow(luminance, 0.2F); })),
      m_code(table<std::uint8_t>([](float light) { return 255.0F * srgb(light) + 0.5F; })) {}

void ToneMap::apply(const std::vector<std::uint16_t>& pixels, Image& image) const {
    for (std::size_t i = 0; i < image.rgba.size(); i += 4) {
        float red = m_light[pixels[i] >> 4U];
        float green = m_light[pixels[i + 1] >> 4U];
        float blue = m_light[pixels[i + 2] >> 4U];
        float scale = 1.0F / REFERENCE_WHITE;
        if (m_transfer == HdrTransfer::HLG) {
            scale *= m_systemGamma[step(0.2627F * red + 0.6780F * green + 0.0593F * blue)];
        }
        red *= scale;
        green *= scale;
        blue *= scale;
        const std::array<float, 3> light{std::max(1.6605F * red - 0.5876F * green - 0.0728F * blue, 0.0F),
                                         std::max(-0.1246F * red + 1.1329F * green - 0.0083F * blue, 0.0F),
                                         std::max(-0.0182F * red - 0.1006F * green + 1.1187F * blue, 0.0F)};
        const float brightest = *std::max_element(light.begin(), light.end());
        const float factor = brightest > 0.0F ? compress(brightest) / brightest : 0.0F;
        for (std::size_t c = 0; c < light.size(); ++c) image.rgba[i + c] = m_code[step(light[c] * factor)];
        image.rgba[i + 3] = 255;
    }
}

}  // namespace pipeline
