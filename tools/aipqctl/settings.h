// The picture settings and their short names.
#ifndef AIPQCTL_SETTINGS_H
#define AIPQCTL_SETTINGS_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "catalogue/keys.h"
#include "key_definitions.h"
#include "platform_adaptation/system_setting.h"

namespace aipqctl {

struct Setting {
    const char* name;
    const char* key;
    int (SystemSetting::*get)();
    // Null for a setting that can only be set together with the rest of the colour tuner.
    int (SystemSetting::*set)(int);
    // The library's step size; 0 if it writes the value at once.
    int step = 0;
    // The names of the values from 0 up, separated by blanks; empty if the values have no names.
    const char* menu = "";
};

inline constexpr std::array<Setting, 10> SETTINGS{{
    {"brightness", catalogue::keys::BRIGHTNESS, &SystemSetting::getVideoBrightness,
     &SystemSetting::setVideoBrightness, 2},
    {"contrast", catalogue::keys::CONTRAST, &SystemSetting::getVideoContrast,
     &SystemSetting::setVideoContrast, 2},
    {"saturation", catalogue::keys::SATURATION, &SystemSetting::getVideoSaturation,
     &SystemSetting::setVideoSaturation, 2},
    {"sharpness", catalogue::keys::SHARPNESS, &SystemSetting::getVideoSharpness,
     &SystemSetting::setVideoSharpness, 2},
    {"memc", "dovra.sl2.i32.video.enum.memc", &SystemSetting::getVideoMEMC, &SystemSetting::setVideoMEMC, 0,
     "off low medium high smooth strongest"},
    {"nr", catalogue::keys::NOISE_REDUCTION, &SystemSetting::getVideoNR, &SystemSetting::setVideoNR, 0,
     "off low medium high strongest"},
    {"color-tuner", catalogue::keys::COLOR_TUNER, &SystemSetting::getVideoColorTuner,
     &SystemSetting::setVideoColorTuner},
    {"color-tuner-luma", catalogue::keys::COLOR_TUNER_LUMA, &SystemSetting::getVideoColorTunerB, nullptr},
    {"color-tuner-sat", catalogue::keys::COLOR_TUNER_SATURATION, &SystemSetting::getVideoColorTunerS,
     nullptr},
    {"color-tuner-hue", catalogue::keys::COLOR_TUNER_HUE, &SystemSetting::getVideoColorTunerH, nullptr},
}};

// The last four settings: mode, luma, saturation and hue, in the library's order.
inline constexpr std::size_t TUNER = 6;
inline constexpr std::size_t TUNER_SIZE = 4;

std::vector<std::string> settingNames();
// Returns the setting of this key; null if there is none.
const Setting* settingOfKey(const std::string& key);
// Returns the definition of the setting's key.
const KeyDefinition& definition(const Setting& setting);

// menuNames() returns the names of the values from 0 up; menuValue() returns the value with a given name.
std::vector<std::string> menuNames(const Setting& setting);
std::optional<int> menuValue(const Setting& setting, const std::string& name);

// Returns the library's settings. They are never destroyed: the library's workers may use them until the
// program ends.
SystemSetting& systemSetting();

// Reads a setting through the library. Throws Failure on error.
int readSetting(const Setting& setting);

// Read and write the colour tuner's four values through the library.
std::vector<int> readTuner();
void writeTuner(std::vector<int> values);

}  // namespace aipqctl

#endif
