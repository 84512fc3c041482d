// The picture settings by the short names that people use.
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
    // Null for what can only be set together with the rest of the colour tuner.
    int (SystemSetting::*set)(int);
    // By how much the library moves it at a time; 0 if it writes the value at once.
    int step = 0;
    // The names of its values from 0, separated by blanks; empty if they have none.
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

// The last four: mode, luma, saturation and hue, in the order in which the library takes them.
inline constexpr std::size_t TUNER = 6;
inline constexpr std::size_t TUNER_SIZE = 4;

std::vector<std::string> settingNames();
// The setting of this key; null if there is none.
const Setting* settingOfKey(const std::string& key);
// Its key in the catalogue.
const KeyDefinition& definition(const Setting& setting);

// The names of its values, from 0; and the value of such a name.
std::vector<std::string> menuNames(const Setting& setting);
std::optional<int> menuValue(const Setting& setting, const std::string& name);

// The library's settings of this television. Never destroyed: the library's workers may use them until the
// program ends.
SystemSetting& systemSetting();

// Reads it through the library; Failure if that fails.
int readSetting(const Setting& setting);

// The colour tuner's four values, read and written through the library.
std::vector<int> readTuner();
void writeTuner(std::vector<int> values);

}  // namespace aipqctl

#endif
