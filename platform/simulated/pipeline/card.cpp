#include "card.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>

namespace pipeline {
namespace {

constexpr unsigned GLYPH_WIDTH = 5;
constexpr unsigned GLYPH_HEIGHT = 7;
constexpr unsigned GLYPH_PITCH = GLYPH_WIDTH + 1;

// The columns of 0 to 9 and A to Z from the left; a column's lowest bit is its top.
using Glyph = std::array<std::uint8_t, GLYPH_WIDTH>;
constexpr std::array<Glyph, 36> GLYPHS{{
    {0x3E, 0x51, 0x49, 0x45, 0x3E}, {0x00, 0x42, 0x7F, 0x40, 0x00}, {0x62, 0x51, 0x49, 0x49, 0x46},
    {0x22, 0x41, 0x49, 0x49, 0x36}, {0x18, 0x14, 0x12, 0x7F, 0x10}, {0x2F, 0x49, 0x49, 0x49, 0x31},
    {0x3E, 0x49, 0x49, 0x49, 0x32}, {0x01, 0x71, 0x09, 0x05, 0x03}, {0x36, 0x49, 0x49, 0x49, 0x36},
    {0x26, 0x49, 0x49, 0x49, 0x3E}, {0x7E, 0x09, 0x09, 0x09, 0x7E}, {0x7F, 0x49, 0x49, 0x49, 0x36},
    {0x3E, 0x41, 0x41, 0x41, 0x22}, {0x7F, 0x41, 0x41, 0x41, 0x3E}, {0x7F, 0x49, 0x49, 0x49, 0x41},
    {0x7F, 0x09, 0x09, 0x09, 0x01}, {0x3E, 0x41, 0x49, 0x49, 0x3A}, {0x7F, 0x08, 0x08, 0x08, 0x7F},
    {0x00, 0x41, 0x7F, 0x41, 0x00}, {0x30, 0x40, 0x40, 0x40, 0x3F}, {0x7F, 0x08, 0x14, 0x22, 0x41},
    {0x7F, 0x40, 0x40, 0x40, 0x40}, {0x7F, 0x02, 0x04, 0x02, 0x7F}, {0x7F, 0x04, 0x08, 0x10, 0x7F},
    {0x3E, 0x41, 0x41, 0x41, 0x3E}, {0x7F, 0x09, 0x09, 0x09, 0x06}, {0x3E, 0x41, 0x51, 0x21, 0x5E},
    {0x7F, 0x09, 0x19, 0x29, 0x46}, {0x26, 0x49, 0x49, 0x49, 0x32}, {0x01, 0x01, 0x7F, 0x01, 0x01},
    {0x3F, 0x40, 0x40, 0x40, 0x3F}, {0x0F, 0x30, 0x40, 0x30, 0x0F}, {0x3F, 0x40, 0x38, 0x40, 0x3F},
    {0x63, 0x14, 0x08, 0x14, 0x63}, {0x03, 0x04, 0x78, 0x04, 0x03}, {0x61, 0x51, 0x49, 0x45, 0x43},
}};

const Glyph* glyphOf(char c) {
    const int letter = std::toupper(static_cast<unsigned char>(c));
    if (letter >= '0' && letter <= '9') return &GLYPHS.at(static_cast<std::size_t>(letter - '0'));
    if (letter >= 'A' && letter <= 'Z') return &GLYPHS.at(static_cast<std::size_t>(letter - 'A' + 10));
    return nullptr;
}

// Whether the name, drawn in dots of one unit, covers the point.
bool covers(std::string_view name, float x, float y) {
    if (x < 0 || y < 0 || y >= GLYPH_HEIGHT) return false;
    const auto column = static_cast<std::size_t>(x);
    const std::size_t index = column / GLYPH_PITCH;
    if (index >= name.size() || column % GLYPH_PITCH >= GLYPH_WIDTH) return false;
    const Glyph* const glyph = glyphOf(name[index]);
    if (glyph == nullptr) return false;
    const unsigned dots = (*glyph)[column % GLYPH_PITCH];
    return (dots >> static_cast<unsigned>(y) & 1U) != 0;
}

// The red, green and blue (0 to 1) of a colour on the colour circle; the angle is in turns.
std::array<float, 3> hue(float turns) {
    std::array<float, 3> colour{};
    for (std::size_t i = 0; i < colour.size(); ++i) {
        const float distance = std::fabs(std::remainder(turns - static_cast<float>(i) / 3.0F, 1.0F));
        colour[i] = std::clamp(2.0F - 6.0F * distance, 0.0F, 1.0F);
    }
    return colour;
}

// A hue that depends only on the name.
float hueOf(std::string_view name) {
    std::uint32_t hash = 2166136261U;
    for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    return static_cast<float>(hash % 997U) / 997.0F;
}

}  // namespace

void drawCard(std::string_view name, float seconds, Image& image) {
    const std::array<float, 3> colour = hue(hueOf(name));
    const auto columns = static_cast<float>(name.size() * GLYPH_PITCH - 1);
    const auto width = static_cast<float>(image.width);
    const auto height = static_cast<float>(image.height);
    const float dot = std::min(width * 0.8F / columns, height * 0.4F / GLYPH_HEIGHT);
    const float left = (width - dot * columns) / 2;
    const float top = (height - dot * GLYPH_HEIGHT) / 2;
    const float light = 0.5F - 0.5F * std::cos(seconds);
    std::uint8_t* pixel = image.rgba.data();
    for (std::uint32_t row = 0; row < image.height; ++row) {
        for (std::uint32_t column = 0; column < image.width; ++column) {
            const float x = static_cast<float>(column) + 0.5F;
            const float y = static_cast<float>(row) + 0.5F;
            const bool inName = covers(name, (x - left) / dot, (y - top) / dot);
            const float away = (x / width - light) * 4.0F;
            const float ground = 0.25F + 0.25F * y / height + 0.2F * std::exp(-away * away);
            for (const float part : colour)
                *pixel++ = static_cast<std::uint8_t>(inName ? 240 : (30.0F + 200.0F * part) * ground);
            *pixel++ = 255;
        }
    }
}

}  // namespace pipeline
