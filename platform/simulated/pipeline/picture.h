// The television's picture settings and what they do to a frame.
#ifndef PIPELINE_PICTURE_H
#define PIPELINE_PICTURE_H

#include <string>
#include <string_view>
#include <vector>

#include "frame_source.h"

namespace pipeline {

struct PictureSettings {
    // 0..100, 50 is neutral.
    int brightness = 50;
    int contrast = 50;
    int saturation = 50;
    int sharpness = 50;

    // 0..4, 0 is off.
    int noiseReduction = 0;

    // Mode 0 switches the tuner off. The values are -50..50, 0 is neutral.
    int tunerMode = 0;
    int tunerLuma = 0;
    int tunerSaturation = 0;
    int tunerHue = 0;

    // 0..100, 0 is neutral.
    int darkLift = 0;
    int highlightRollOff = 0;
};

// Sets what goes by this name. The answer is empty, or says what is wrong; then nothing has changed.
std::string setPicture(PictureSettings& settings, std::string_view name,
                       const std::vector<std::string_view>& values);

// Neutral settings leave every byte as it is.
void applyPicture(const PictureSettings& settings, Image& image);

}  // namespace pipeline

#endif
