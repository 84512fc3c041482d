// The simulated television's picture settings, and their effect on a frame.
#ifndef SIMULATED_PICTURE_PICTURE_H
#define SIMULATED_PICTURE_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

// RGBA, rows from the top, without padding.
struct Image {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> rgba;

    Image(std::uint32_t imageWidth, std::uint32_t imageHeight)
        : width(imageWidth), height(imageHeight), rgba(std::size_t{4} * imageWidth * imageHeight) {}
};

struct PictureSettings {
    // 0..100, 50 is neutral.
    int brightness = 50;
    int contrast = 50;
    int saturation = 50;
    int sharpness = 50;

    // 0..4, 0 is off.
    int noiseReduction = 0;

    // Mode 0 switches the tuner off. Modes 1 to 6 change the colours around red, yellow, green, cyan, blue
    // and magenta. Modes 1 and 2 also change skin, which is between red and yellow. Greys do not change. The
    // values are -50..50, 0 is neutral.
    int tunerMode = 0;
    int tunerLuma = 0;
    int tunerSaturation = 0;
    int tunerHue = 0;

    // 0..100, 0 is neutral.
    int darkLift = 0;
    int highlightRollOff = 0;
};

// Sets the setting of this name. Returns an empty text; or the error, and then nothing has changed.
std::string setPicture(PictureSettings& settings, std::string_view name,
                       const std::vector<std::string_view>& values);

// Neutral settings do not change any byte.
void applyPicture(const PictureSettings& settings, Image& image);

}  // namespace simulated

#endif
