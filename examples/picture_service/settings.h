#ifndef EXAMPLES_PICTURE_SERVICE_SETTINGS_H
#define EXAMPLES_PICTURE_SERVICE_SETTINGS_H

#include <array>

// What the service controls; 0 to 100 each. 50 is neutral for the first three, 0 for the others.
struct Settings {
    int brightness = 50;
    int contrast = 50;
    int saturation = 50;
    int darkLift = 0;
    int rollOff = 0;  // of the highlights

    bool operator==(const Settings&) const = default;
};

struct SettingName {
    const char* name;
    int Settings::*value;
};

constexpr std::array<SettingName, 5> SETTING_NAMES{{
    {"brightness", &Settings::brightness},
    {"contrast", &Settings::contrast},
    {"saturation", &Settings::saturation},
    {"dark lift", &Settings::darkLift},
    {"roll-off", &Settings::rollOff},
}};

#endif
