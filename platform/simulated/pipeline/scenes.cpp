#include "scenes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "simulated_picture/picture.h"

namespace pipeline {
namespace {

// A scene is a function of position and time, and is drawn directly in the requested size. x runs from 0 to
// WIDE, y from 0 at the top to 1, colours from 0 to 1.
constexpr float WIDE = 16.0F / 9.0F;
constexpr float PI = std::numbers::pi_v<float>;

struct Colour {
    float r;
    float g;
    float b;
};

Colour operator*(Colour a, float k) { return {a.r * k, a.g * k, a.b * k}; }
Colour operator+(Colour a, Colour b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }

constexpr Colour WHITE{1.0F, 1.0F, 1.0F};

Colour mix(Colour a, Colour b, float amount) {
    const float k = std::clamp(amount, 0.0F, 1.0F);
    return a * (1.0F - k) + b * k;
}

// 1 inside (distance below 0), 0 outside; the edge is about one line of a small picture wide.
float cover(float distance, float softness = 0.005F) {
    return std::clamp(0.5F - distance / softness, 0.0F, 1.0F);
}

float distance(float x, float y, float centreX, float centreY) {
    const float dx = x - centreX;
    const float dy = y - centreY;
    return std::sqrt(dx * dx + dy * dy);
}

float fraction(float value) { return value - std::floor(value); }

// A pseudorandom number from 0 to 1 for each pair of integers.
float chance(float a, float b) {
    auto n = static_cast<std::uint32_t>(static_cast<std::int32_t>(a) * 374761393LL +
                                        static_cast<std::int32_t>(b) * 668265263LL);
    n = (n ^ (n >> 13U)) * 1274126177U;
    n ^= n >> 16U;
    return static_cast<float>(n & 0xFFFFU) / 65535.0F;
}

// Small discs, one per cell of a grid; returns how much of a disc covers the point.
float scattered(float x, float y, float cell, float radius, float softness, float seed) {
    const float column = std::floor(x / cell);
    const float row = std::floor(y / cell);
    const float margin = radius / cell;
    const float place = 1.0F - 2.0F * margin;
    const float centreX = (column + margin + place * chance(column + seed, row)) * cell;
    const float centreY = (row + margin + place * chance(column, row + seed)) * cell;
    return cover(distance(x, y, centreX, centreY) - radius, softness);
}

Colour night(float x, float y, float t) {
    Colour c = mix({0.025F, 0.035F, 0.095F}, {0.16F, 0.13F, 0.22F}, y * 1.25F);

    const float twinkle =
        0.6F + 0.4F * std::sin(3.0F * t + 40.0F * chance(std::floor(x / 0.09F), std::floor(y / 0.09F)));
    c = mix(c, {0.85F, 0.88F, 1.0F},
            scattered(x, y, 0.09F, 0.004F, 0.007F, 7.0F) * twinkle * cover(y - 0.62F, 0.2F));

    const float moon = distance(x, y, 1.28F - 0.02F * t, 0.24F + 0.006F * t);
    c = c + Colour{0.30F, 0.32F, 0.38F} * (std::exp(-moon * 9.0F) * 0.6F);
    c = mix(c, {0.93F, 0.92F, 0.84F}, cover(moon - 0.085F));
    const float crater = distance(x, y, 1.30F - 0.02F * t, 0.22F + 0.006F * t);
    c = mix(c, {0.80F, 0.79F, 0.72F}, cover(crater - 0.022F, 0.015F));

    const float column = std::floor(x / 0.11F);
    const float roof = 0.60F + 0.24F * chance(column, 3.0F);
    const float inHouse = cover(roof - y);
    c = mix(c, {0.020F, 0.020F, 0.035F}, inHouse);
    const float windowX = fraction(x / 0.0275F);
    const float windowY = fraction((y - roof) / 0.04F);
    const float floorOfHouse = std::floor((y - roof) / 0.04F);
    const float room = std::floor(x / 0.0275F);
    // Every window changes at its own time.
    const bool lit =
        chance(room, floorOfHouse + std::floor(t * 0.5F + chance(room, floorOfHouse)) * 91.0F) > 0.72F;
    const bool inWindow = windowX > 0.25F && windowX < 0.75F && windowY > 0.35F && windowY < 0.8F;
    if (lit && inWindow && y > roof + 0.01F) c = mix(c, {0.95F, 0.72F, 0.34F}, 0.85F);
    return c;
}

Colour sunset(float x, float y, float t) {
    constexpr float HORIZON = 0.64F;
    const float sunX = 0.95F;
    const float sunY = 0.46F + 0.025F * t;
    Colour c{};
    if (y < HORIZON) {
        const float height = y / HORIZON;
        c = mix({0.20F, 0.13F, 0.38F}, {0.86F, 0.33F, 0.30F}, height * 1.5F);
        c = mix(c, {1.0F, 0.74F, 0.32F}, (height - 0.55F) * 2.0F);
        const float sun = distance(x, y, sunX, sunY);
        c = c + Colour{0.55F, 0.33F, 0.10F} * std::exp(-sun * 5.0F);
        c = mix(c, {1.0F, 0.93F, 0.66F}, cover(sun - 0.11F, 0.012F));
        const float cloud = std::sin(5.0F * x + 0.4F * t) * std::sin(17.0F * y + 2.0F * x - 0.2F * t);
        c = mix(c, {0.62F, 0.24F, 0.36F}, std::max(0.0F, cloud - 0.35F) * cover(y - 0.45F, 0.3F));
        // Gulls: two arcs each, with beating wings.
        for (int birdNumber = 0; birdNumber < 3; ++birdNumber) {
            const auto bird = static_cast<float>(birdNumber);
            const float dx = x - fraction(0.25F + bird * 0.06F + t * 0.05F) * WIDE;
            const float dy = y - (0.22F + 0.05F * bird);
            const float wing = 0.030F * std::sin(6.0F * t + bird);
            const float arc =
                std::fabs(dy + wing * std::sin(std::min(std::fabs(dx) / 0.04F, 1.0F) * PI / 1.5F));
            if (std::fabs(dx) < 0.04F) c = mix(c, {0.13F, 0.07F, 0.14F}, cover(arc - 0.004F));
        }
    } else {
        const float depth = (y - HORIZON) / (1.0F - HORIZON);
        c = mix({0.74F, 0.42F, 0.30F}, {0.12F, 0.10F, 0.26F}, depth * 1.3F);
        const float wave = std::sin(y * 160.0F / (0.4F + depth) + 3.0F * std::sin(9.0F * x) + 5.0F * t);
        c = c * (0.92F + 0.08F * wave);
        const float path = std::fabs(x - sunX) / (0.10F + 0.22F * depth);
        c = mix(c, {1.0F, 0.82F, 0.45F}, std::exp(-path * path) * (0.45F + 0.45F * wave));
    }
    // A sailing boat.
    const float boatX = x - (0.28F + 0.03F * t);
    const float boatY = y - 0.70F - 0.004F * std::sin(3.0F * t);
    const float hull = std::max(std::fabs(boatX) - 0.11F + boatY * 0.9F, std::fabs(boatY - 0.012F) - 0.018F);
    const float sail = std::max(std::fabs(boatX - 0.01F) - 0.085F * (boatY + 0.23F) / 0.21F,
                                std::fabs(boatY + 0.125F) - 0.10F);
    return mix(c, {0.08F, 0.05F, 0.12F}, cover(std::min(hull, sail)));
}

// A fir of three tiers, its foot at the origin and its top at height.
float fir(float x, float y, float height) {
    const float up = -y / height;
    if (up < 0.0F || up > 1.0F) return 1.0F;
    if (up < 0.12F) return std::fabs(x) - 0.03F * height;
    const float tier = fraction((up - 0.12F) / 0.88F * 3.0F);
    return std::fabs(x) - height * (0.10F + 0.20F * (1.0F - up)) * (1.0F - 0.75F * tier);
}

Colour snow(float x, float y, float t) {
    Colour c = mix({0.50F, 0.69F, 0.91F}, {0.88F, 0.93F, 1.0F}, y * 1.6F);
    const float sun = distance(x, y, 0.35F, 0.18F);
    c = mix(c, {1.0F, 0.99F, 0.92F}, std::exp(-sun * 6.0F) + cover(sun - 0.07F, 0.02F));

    const float peak =
        0.42F - 0.17F * std::fabs(std::sin(2.6F * x + 0.5F)) - 0.04F * std::fabs(std::sin(9.0F * x));
    c = mix(c, mix({0.95F, 0.97F, 1.0F}, {0.62F, 0.71F, 0.84F}, (y - peak) * 5.0F), cover(peak - y));
    const float hill = 0.55F + 0.05F * std::sin(2.2F * x + 1.0F);
    c = mix(c, mix(WHITE, {0.76F, 0.83F, 0.92F}, (y - hill) * 3.2F), cover(hill - y));

    for (int treeNumber = 0; treeNumber < 7; ++treeNumber) {
        const auto tree = static_cast<float>(treeNumber);
        const float footX = 0.12F + tree * 0.26F + 0.07F * chance(tree, 1.0F);
        const float footY = 0.62F + 0.12F * chance(tree, 2.0F);
        const float height = 0.20F + 0.12F * chance(tree, 3.0F);
        const float shape = cover(fir(x - footX, y - footY, height));
        c = mix(c, mix({0.16F, 0.33F, 0.27F}, {0.90F, 0.95F, 0.97F}, 0.6F - (x - footX) * 9.0F), shape);
    }
    const float drift = 0.80F + 0.04F * std::sin(3.1F * x - 0.6F);
    c = mix(c, mix(WHITE, {0.80F, 0.87F, 0.96F}, (y - drift) * 4.5F), cover(drift - y));

    for (int layerNumber = 1; layerNumber < 4; ++layerNumber) {
        const auto layer = static_cast<float>(layerNumber);
        const float sway = 0.02F * std::sin(1.5F * t + 4.0F * y + layer);
        const float flake = scattered(x + sway + layer, y - t * 0.09F * layer, 0.07F + 0.03F * layer,
                                      0.003F + 0.002F * layer, 0.008F, layer);
        c = mix(c, WHITE, flake * 0.95F);
    }
    return c;
}

// One flower of six petals about the origin.
Colour flower(Colour ground, float x, float y, float radius, float turn, Colour petals) {
    const float away = distance(x, y, 0.0F, 0.0F);
    if (away > radius + 0.01F) return ground;
    const float angle = std::atan2(y, x) + turn;
    const float edge = radius * (0.72F + 0.28F * std::cos(6.0F * angle));
    const Colour c = mix(ground, petals * (0.75F + 0.25F * away / radius), cover(away - edge));
    return mix(c, {1.0F, 0.84F, 0.20F}, cover(away - radius * 0.28F));
}

Colour garden(float x, float y, float t) {
    constexpr std::array<Colour, 5> PETALS{{{0.93F, 0.16F, 0.30F},
                                            {0.98F, 0.55F, 0.12F},
                                            {0.70F, 0.25F, 0.82F},
                                            {0.98F, 0.93F, 0.95F},
                                            {0.95F, 0.40F, 0.68F}}};
    constexpr float LAWN = 0.36F;
    Colour c = mix({0.25F, 0.56F, 0.93F}, {0.72F, 0.88F, 0.98F}, y * 2.6F);
    for (int cloudNumber = 0; cloudNumber < 3; ++cloudNumber) {
        const auto cloud = static_cast<float>(cloudNumber);
        const float centreX = fraction(cloud * 0.37F + 0.02F * t) * (WIDE + 0.6F) - 0.3F;
        const float centreY = 0.10F + 0.05F * cloud;
        for (int puffNumber = -1; puffNumber < 2; ++puffNumber) {
            const auto puff = static_cast<float>(puffNumber);
            const float away = distance(x, y * 1.3F, centreX + puff * 0.075F, centreY * 1.3F);
            c = mix(c, WHITE, cover(away - 0.065F + 0.02F * std::fabs(puff), 0.03F) * 0.9F);
        }
    }
    const float hedge = LAWN - 0.06F - 0.025F * std::fabs(std::sin(11.0F * x)) - 0.01F * std::sin(31.0F * x);
    c = mix(c, mix({0.16F, 0.45F, 0.17F}, {0.08F, 0.28F, 0.11F}, (y - hedge) * 8.0F), cover(hedge - y));
    const float blades = 0.06F * std::sin(140.0F * x + 60.0F * y + 2.0F * std::sin(t * 2.0F + 6.0F * x));
    c = mix(c, Colour{0.30F, 0.68F, 0.20F} * (0.72F + 0.35F * y + blades), cover(LAWN - y));

    // Rows of flowers, larger towards the front, each swaying on its own.
    for (int rowNumber = 0; rowNumber < 5; ++rowNumber) {
        const auto row = static_cast<float>(rowNumber);
        const float radius = 0.028F + 0.013F * row;
        const float spacing = radius * 2.9F;
        const float rowY = LAWN + 0.05F + 0.022F * row + 0.021F * row * row;
        const float shifted = x + 0.5F * spacing * row + 0.012F * std::sin(2.2F * t + row + 3.0F * x);
        const float index = std::floor(shifted / spacing);
        const float offset = shifted - (index + 0.5F) * spacing;
        const float lift = rowY + 0.3F * radius * (chance(index, row + 20.0F) - 0.5F);
        const bool stem = std::fabs(offset) < 0.14F * radius && y > lift && y < lift + 2.4F * radius;
        if (stem) c = {0.12F, 0.42F, 0.12F};
        const auto kind = static_cast<std::size_t>(chance(index, row) * 4.99F);
        c = flower(c, offset, y - lift, radius, 0.5F * std::sin(t + index), PETALS[kind]);
    }

    // A butterfly.
    const float dx = x - (0.9F + 0.5F * std::sin(0.9F * t));
    const float dy = y - (0.34F + 0.08F * std::sin(2.3F * t));
    const float beat = 0.45F + 0.55F * std::fabs(std::sin(7.0F * t));
    const float wing = distance(std::fabs(dx) / beat, dy, 0.034F, -0.008F) - 0.034F;
    c = mix(c, {0.10F, 0.16F, 0.62F}, cover(wing));
    c = mix(c, {0.45F, 0.72F, 1.0F}, cover(wing + 0.013F));
    return mix(c, {0.08F, 0.06F, 0.05F}, cover(std::max(std::fabs(dx) - 0.005F, std::fabs(dy) - 0.035F)));
}

Colour bars(float x, float y, float t) {
    constexpr float LEVEL = 0.75F;
    if (y < 0.68F) {
        // White, yellow, cyan, green, magenta, red, blue: blue, red and green switch at different rates.
        const auto bar = static_cast<unsigned>(std::min(x / WIDE * 7.0F, 6.0F));
        return {(bar & 2U) == 0U ? LEVEL : 0.0F, bar < 4U ? LEVEL : 0.0F, (bar & 1U) == 0U ? LEVEL : 0.0F};
    }
    if (y < 0.84F) {
        const float step = std::floor(x / WIDE * 11.0F) / 10.0F;
        return WHITE * std::min(step, 1.0F);
    }
    // A white box that crosses a dark ground.
    const float box = fraction(t / 3.0F) * (WIDE + 0.2F) - 0.1F;
    const float shape = std::max(std::fabs(x - box) - 0.08F, std::fabs(y - 0.92F) - 0.045F);
    return mix({0.06F, 0.06F, 0.06F}, WHITE, cover(shape));
}

// Film grain in weak light: a pseudorandom value from about -1 to 1 for each small cell and each of 24 frames
// a second.
float grain(float x, float y, float t) {
    constexpr float CELLS = 1080.0F;
    constexpr float FRAMES = 64.0F;
    const float frame = std::fmod(std::floor(t * 24.0F), FRAMES);
    const float column = std::floor(x * CELLS);
    const float row = std::floor(y * CELLS) + frame * 1187.0F;
    return chance(column, row) + chance(column + 3001.0F, row) + chance(column, row + 80021.0F) - 1.5F;
}

// A dark and grainy cellar in candlelight.
Colour cellar(float x, float y, float t) {
    const float flicker = 0.94F + 0.06F * std::sin(11.0F * t) * std::sin(7.3F * t);
    constexpr float CANDLE_X = 1.15F;
    constexpr float CANDLE_Y = 0.46F;
    const float away = distance(x, y, CANDLE_X, CANDLE_Y);
    const float light = flicker * (0.26F + 1.10F * std::exp(-2.2F * away));

    // A wall of bricks above a floor of planks.
    const float course = std::floor(y / 0.085F);
    const float shifted = x + 0.10F * (course - 2.0F * std::floor(course / 2.0F));
    const float brick = chance(std::floor(shifted / 0.20F), course);
    Colour c = Colour{0.40F, 0.29F, 0.24F} * (0.55F + 0.35F * brick);
    const float mortar =
        std::min(std::min(fraction(shifted / 0.20F), 1.0F - fraction(shifted / 0.20F)) * 0.20F,
                 std::min(fraction(y / 0.085F), 1.0F - fraction(y / 0.085F)) * 0.085F);
    c = mix(c, {0.24F, 0.22F, 0.21F}, cover(mortar - 0.006F));
    const float plank = chance(std::floor(x / 0.16F), 5.0F);
    c = mix(c, Colour{0.30F, 0.22F, 0.15F} * (0.6F + 0.4F * plank), cover(0.80F - y));

    // Two barrels with iron hoops, and a table with the candle.
    for (int barrelNumber = 0; barrelNumber < 2; ++barrelNumber) {
        const float dx = x - (0.30F + 0.36F * static_cast<float>(barrelNumber));
        const float dy = (y - 0.68F) / 0.19F;
        const float half = 0.15F - 0.035F * dy * dy;
        const float barrel = std::max(std::fabs(dx) - half, std::fabs(y - 0.68F) - 0.19F);
        const float round = 1.0F - 0.6F * std::min(1.0F, dx * dx / (half * half));
        const float stave = 0.85F + 0.15F * chance(std::floor(dx / 0.035F), 9.0F);
        c = mix(c, Colour{0.46F, 0.29F, 0.16F} * (round * stave), cover(barrel));
        const float hoop = std::fabs(std::fabs(dy) - 0.62F) - 0.06F;
        c = mix(c, Colour{0.20F, 0.20F, 0.22F} * round, cover(std::max(barrel, hoop * 0.19F)));
    }
    const float table = std::max(std::fabs(x - 1.22F) - 0.30F, std::fabs(y - 0.745F) - 0.020F);
    const float leg = std::max(std::fabs(std::fabs(x - 1.22F) - 0.25F) - 0.02F, std::fabs(y - 0.83F) - 0.09F);
    c = mix(c, {0.36F, 0.24F, 0.15F}, cover(std::min(table, leg)));

    c = c * (0.85F * light);
    const float stick = std::max(std::fabs(x - CANDLE_X) - 0.022F, std::fabs(y - 0.63F) - 0.10F);
    c = mix(c, Colour{0.55F, 0.47F, 0.36F} * (flicker * (1.0F - 1.8F * (y - 0.53F))), cover(stick));
    const float tongue = distance(x * 2.2F, y, CANDLE_X * 2.2F + 0.02F * std::sin(9.0F * t), 0.485F) - 0.035F;
    c = c + Colour{0.30F, 0.16F, 0.05F} * (std::exp(-9.0F * away) * flicker);
    c = mix(c, {0.98F, 0.84F, 0.50F}, cover(tongue, 0.03F));
    return c + WHITE * (0.050F * grain(x, y, t));
}

// The view from a fast train on a hazy day: nothing is black or white, and everything moves.
Colour train(float x, float y, float t) {
    constexpr Colour HAZE{0.58F, 0.60F, 0.62F};
    Colour c = mix({0.62F, 0.64F, 0.67F}, HAZE, y * 2.0F);
    const float hillX = x + 0.10F * t;
    const float hill = 0.40F + 0.05F * std::sin(3.0F * hillX) + 0.02F * std::sin(8.0F * hillX);
    c = mix(c, {0.52F, 0.55F, 0.57F}, cover(hill - y, 0.02F));

    // Fields; near ones move faster.
    const float depth = std::max(0.02F, (y - 0.50F) / 0.50F);
    const float fieldX = x + t * (0.5F + 2.5F * depth);
    const Colour field = mix({0.44F, 0.50F, 0.41F}, {0.54F, 0.54F, 0.43F},
                             cover(fraction(fieldX * 0.8F + 0.6F * depth) - 0.5F, 0.15F));
    c = mix(c, mix(HAZE, field, 0.35F + 0.65F * depth), cover(0.50F - y, 0.02F));
    const float furrows = 0.02F * std::sin(26.0F * fieldX);
    c = c + WHITE * (furrows * cover(0.56F - y, 0.1F));

    // A row of trees, and near posts that move fast.
    const float treeX = x + 1.1F * t;
    const float tree = std::floor(treeX / 0.42F);
    const float treeMiddle = (tree + 0.3F + 0.4F * chance(tree, 4.0F)) * 0.42F;
    const float crown = distance(treeX, y * 0.8F, treeMiddle, 0.33F) - 0.07F - 0.035F * chance(tree, 6.0F);
    const float trunk = std::max(std::fabs(treeX - treeMiddle) - 0.012F, std::fabs(y - 0.50F) - 0.10F);
    c = mix(c, {0.40F, 0.46F, 0.40F}, cover(std::min(crown, trunk), 0.012F));
    const float postX = x + 3.1F * t;
    const float post = std::fabs(postX - (std::floor(postX / 0.75F) + 0.5F) * 0.75F);
    c = mix(c, {0.33F, 0.34F, 0.35F}, cover(post - 0.045F, 0.03F) * cover(0.16F - y));
    const float wire = std::fabs(y - 0.20F - 0.14F * post * post);
    return mix(c, {0.38F, 0.39F, 0.40F}, cover(wire - 0.006F, 0.01F));
}

// A face in soft focus, in a light that makes the skin too yellow.
Colour portrait(float x, float y, float t) {
    constexpr float SOFT = 0.09F;
    Colour c = mix({0.30F, 0.38F, 0.42F}, {0.16F, 0.22F, 0.22F}, y);
    for (int lightNumber = 0; lightNumber < 6; ++lightNumber) {
        const auto light = static_cast<float>(lightNumber);
        const float spot = distance(x, y, 0.12F + 0.31F * light + 0.02F * std::sin(t + light),
                                    0.16F + 0.34F * chance(light, 8.0F));
        c = mix(c, mix({0.80F, 0.74F, 0.52F}, {0.46F, 0.60F, 0.66F}, chance(light, 2.0F)),
                0.75F * cover(spot - 0.075F, 0.08F));
    }
    // The head nods a little.
    const float headX = 0.89F + 0.012F * std::sin(1.3F * t);
    const float headY = 0.44F + 0.006F * std::sin(2.1F * t);
    const float dx = x - headX;
    const float dy = y - headY;
    const float shoulders = std::max(distance(dx * 0.75F, dy, 0.0F, 0.66F) - 0.33F, 0.20F - dy);
    const float hair = distance(dx * 1.12F, dy * 0.9F, 0.0F, -0.06F) - 0.29F;
    const float longHair = std::max(std::fabs(dx) - 0.24F, std::fabs(dy - 0.10F) - 0.20F);
    c = mix(c, {0.20F, 0.13F, 0.07F}, cover(std::min(hair, longHair), SOFT));
    c = mix(c, {0.22F, 0.32F, 0.50F}, cover(shoulders, SOFT));

    const float shade = 1.0F - 0.9F * std::max(0.0F, dx + 0.05F);
    const Colour skin = Colour{0.83F, 0.70F, 0.46F} * shade;
    const float neck = std::max(std::fabs(dx) - 0.085F, std::fabs(dy - 0.30F) - 0.12F);
    c = mix(c, skin * 0.80F, cover(neck, SOFT));
    const float face = distance(dx * 1.28F, dy, 0.0F, 0.02F) - 0.255F;
    c = mix(c, skin, cover(face, SOFT));
    const float cheeks = std::min(distance(dx, dy, -0.10F, 0.08F), distance(dx, dy, 0.10F, 0.08F));
    c = mix(c, Colour{0.85F, 0.62F, 0.42F} * shade, 0.6F * std::exp(-300.0F * cheeks * cheeks));
    // Blinking eyes, brows, nose, mouth.
    const float lid = fraction(t / 2.4F) > 0.95F ? 0.2F : 1.0F;
    const float eye = distance((std::fabs(dx) - 0.085F) * 0.6F, dy + 0.02F, 0.0F, 0.0F) - 0.018F * lid;
    c = mix(c, {0.90F, 0.87F, 0.78F}, cover(eye - 0.004F, 0.025F));
    const float iris = distance(std::fabs(dx), dy, 0.085F, -0.02F) - 0.017F * lid;
    c = mix(c, {0.14F, 0.15F, 0.12F}, cover(iris, 0.02F));
    const float brow = distance((std::fabs(dx) - 0.09F) * 0.35F, dy, 0.0F, -0.085F) - 0.014F;
    c = mix(c, {0.28F, 0.20F, 0.12F}, 0.8F * cover(brow, 0.03F));
    const float nose = distance(dx * 1.8F - 0.02F, dy, 0.0F, 0.075F) - 0.035F;
    c = mix(c, skin * 0.80F, 0.55F * cover(nose, 0.07F));
    const float mouth = distance(dx * 0.42F, dy, 0.0F, 0.155F + 0.35F * dx * dx) - 0.017F;
    return mix(c, {0.68F, 0.42F, 0.30F}, cover(mouth, 0.03F));
}

constexpr std::array<Colour (*)(float, float, float), SCENE_NAMES.size()> SCENES{
    night, sunset, snow, garden, bars, cellar, train, portrait};

std::uint8_t toByte(float value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 1.0F) * 255.0F + 0.5F);
}

}  // namespace

void drawScene(std::size_t scene, float seconds, simulated::Image& image) {
    std::uint8_t* pixel = image.rgba.data();
    for (std::uint32_t row = 0; row < image.height; ++row) {
        const float y = (static_cast<float>(row) + 0.5F) / static_cast<float>(image.height);
        for (std::uint32_t column = 0; column < image.width; ++column) {
            const float x = (static_cast<float>(column) + 0.5F) / static_cast<float>(image.width) * WIDE;
            const Colour c = SCENES[scene](x, y, seconds);
            *pixel++ = toByte(c.r);
            *pixel++ = toByte(c.g);
            *pixel++ = toByte(c.b);
            *pixel++ = 255;
        }
    }
}

}  // namespace pipeline
