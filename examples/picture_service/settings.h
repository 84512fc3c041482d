#ifndef EXAMPLES_PICTURE_SERVICE_SETTINGS_H
#define EXAMPLES_PICTURE_SERVICE_SETTINGS_H

#include <array>

// The picture settings that the service controls, at their neutral values.
struct Settings {
    int brightness = 50;
    int contrast = 50;
    int saturation = 50;
    int darkLift = 0;
    int rollOff = 0;  // of the highlights
    int sharpness = 50;
    int noiseReduction = 0;
    int memc = 2;       // motion compensation
    int tunerMode = 0;  // 0 switches the colour tuner off
    int tunerSaturation = 0;
    int tunerHue = 0;

    bool operator==(const Settings&) const = default;
};

struct SettingName {
    const char* name;
    int Settings::*value;
    int lowest;
    int highest;
    int neutral;
};

constexpr std::array<SettingName, 11> SETTING_NAMES{{
    {"brightness", &Settings::brightness, 0, 100, 50},
    {"contrast", &Settings::contrast, 0, 100, 50},
    {"saturation", &Settings::saturation, 0, 100, 50},
    {"dark lift", &Settings::darkLift, 0, 100, 0},
    {"roll-off", &Settings::rollOff, 0, 100, 0},
    {"sharpness", &Settings::sharpness, 0, 100, 50},
    {"noise reduction", &Settings::noiseReduction, 0, 4, 0},
    {"MEMC", &Settings::memc, 0, 5, 2},
    {"tuner mode", &Settings::tunerMode, 0, 6, 0},
    {"tuner saturation", &Settings::tunerSaturation, -50, 50, 0},
    {"tuner hue", &Settings::tunerHue, -50, 50, 0},
}};

#endif
