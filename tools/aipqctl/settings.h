// The picture settings by the short names that people use.
#ifndef AIPQCTL_SETTINGS_H
#define AIPQCTL_SETTINGS_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "catalogue.h"
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
    {"brightness", "dovra.sl2.i32.video.brightness", &SystemSetting::getVideoBrightness,
     &SystemSetting::setVideoBrightness, 2},
    {"contrast", "dovra.sl2.i32.video.contrast", &SystemSetting::getVideoContrast,
     &SystemSetting::setVideoContrast, 2},
    {"saturation", "dovra.sl2.i32.video.colour.intensity", &SystemSetting::getVideoSaturation,
     &SystemSetting::setVideoSaturation, 2},
    {"sharpness", "dovra.sl2.i32.video.sharpness", &SystemSetting::getVideoSharpness,
     &SystemSetting::setVideoSharpness, 2},
    {"memc", "dovra.sl2.i32.video.enum.memc", &SystemSetting::getVideoMEMC, &SystemSetting::setVideoMEMC, 0,
     "off low medium high smooth strongest"},
    {"nr", "dovra.sl2.i32.video.enum.dnc", &SystemSetting::getVideoNR, &SystemSetting::setVideoNR, 0,
     "off low medium high strongest"},
    {"color-tuner", "dovra.sl2.i32.video.color.tuner", &SystemSetting::getVideoColorTuner,
     &SystemSetting::setVideoColorTuner},
    {"color-tuner-luma", "dovra.sl2.i32.video.color.tuner.luma", &SystemSetting::getVideoColorTunerB,
     nullptr},
    {"color-tuner-sat", "dovra.sl2.i32.video.color.tuner.sat", &SystemSetting::getVideoColorTunerS, nullptr},
    {"color-tuner-hue", "dovra.sl2.i32.video.color.tuner.hue", &SystemSetting::getVideoColorTunerH, nullptr},
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

// The key of the PQ parameters.
inline constexpr char PQ_KEY[] = "dovra.sl2.vint.video.aipq.pq.setting";

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
