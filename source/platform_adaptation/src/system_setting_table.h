// The ten picture settings: what distinguishes one from the others.
#ifndef PLATFORM_ADAPTATION_SYSTEM_SETTING_TABLE_H
#define PLATFORM_ADAPTATION_SYSTEM_SETTING_TABLE_H

#include <array>
#include <cstddef>
#include <memory>

#include "platform_adaptation/system_setting.h"

// The way in which the worker of a setting changes it.
enum class SystemSetting::Kind {
    STEPPED,      // in steps of 2, each confirmed by the television
    ONCE,         // in one write that the television confirms
    UNCONFIRMED,  // in one write
};

struct SystemSetting::Setting {
    std::size_t index;
    const char* key;
    int lowest = 0;
    int highest;
    Kind kind;
    const char* word;                // in messages
    const char* getterWord = word;   // in the getter's messages
    const char* failureWord = word;  // in the message of a failed write
    bool keepsThread = false;        // initValue() keeps its worker's handle
    std::shared_ptr<IntegerAccess> SystemSetting::*access;
    // The setting's own operations, which call the shared implementation: a log line names the running
    // operation, workers read through the virtual getter, and each thread needs its own routine.
    int (SystemSetting::*getter)();
    void (SystemSetting::*changeHandler)(const ValueObject&);
    int (SystemSetting::*wait)();
    Routine routine;
};

struct SystemSetting::Table {
    using S = SystemSetting;
    static constexpr Setting BRIGHTNESS{
        .index = 0,
        .key = "dovra.sl2.i32.video.brightness",
        .highest = 100,
        .kind = Kind::STEPPED,
        .word = "brightness",
        .access = &S::m_brightness,
        .getter = &S::getVideoBrightness,
        .changeHandler = &S::onVideoBrightnessChanged,
        .wait = &S::waitForVideoBrightnessChanged,
        .routine = &S::setVideoBrightnessRun,
    };
    static constexpr Setting CONTRAST{
        .index = 1,
        .key = "dovra.sl2.i32.video.contrast",
        .highest = 100,
        .kind = Kind::STEPPED,
        .word = "contrast",
        .access = &S::m_contrast,
        .getter = &S::getVideoContrast,
        .changeHandler = &S::onVideoContrastChanged,
        .wait = &S::waitForVideoContrastChanged,
        .routine = &S::setVideoContrastRun,
    };
    static constexpr Setting SATURATION{
        .index = 2,
        .key = "dovra.sl2.i32.video.colour.intensity",
        .highest = 100,
        .kind = Kind::STEPPED,
        .word = "saturation",
        .access = &S::m_saturation,
        .getter = &S::getVideoSaturation,
        .changeHandler = &S::onVideoSaturationChanged,
        .wait = &S::waitForVideoSaturationChanged,
        .routine = &S::setVideoSaturationRun,
    };
    static constexpr Setting SHARPNESS{
        .index = 3,
        .key = "dovra.sl2.i32.video.sharpness",
        .highest = 100,
        .kind = Kind::STEPPED,
        .word = "sharpness",
        .access = &S::m_sharpness,
        .getter = &S::getVideoSharpness,
        .changeHandler = &S::onVideoSharpnessChanged,
        .wait = &S::waitForVideoSharpnessChanged,
        .routine = &S::setVideoSharpnessRun,
    };
    static constexpr Setting MEMC{
        .index = 4,
        .key = "dovra.sl2.i32.video.enum.memc",
        .highest = 5,
        .kind = Kind::ONCE,
        .word = "MEMC",
        .access = &S::m_memc,
        .getter = &S::getVideoMEMC,
        .changeHandler = &S::onVideoMEMCChanged,
        .wait = &S::waitForVideoMEMCChanged,
        .routine = &S::setVideoMEMCRun,
    };
    static constexpr Setting NR{
        .index = 5,
        .key = "dovra.sl2.i32.video.enum.dnc",
        .highest = 4,
        .kind = Kind::ONCE,
        .word = "NR",
        .access = &S::m_nr,
        .getter = &S::getVideoNR,
        .changeHandler = &S::onVideoNRChanged,
        .wait = &S::waitForVideoNRChanged,
        .routine = &S::setVideoNRRun,
    };
    static constexpr Setting TUNER{
        .index = 6,
        .key = "dovra.sl2.i32.video.color.tuner",
        .highest = 6,
        .kind = Kind::UNCONFIRMED,
        .word = "color tuner",
        .access = &S::m_colorTuner,
        .getter = &S::getVideoColorTuner,
        .changeHandler = &S::onVideoColorTunerChanged,
        .wait = &S::waitForVideoColorTunerChanged,
        .routine = &S::setVideoColorTunerRun,
    };
    static constexpr Setting TUNER_B{
        .index = 7,
        .key = "dovra.sl2.i32.video.color.tuner.luma",
        .lowest = -50,
        .highest = 50,
        .kind = Kind::UNCONFIRMED,
        .word = "color tuner brightness",
        .failureWord = "color brightness tuner",
        .keepsThread = true,
        .access = &S::m_colorTunerB,
        .getter = &S::getVideoColorTunerB,
        .changeHandler = &S::onVideoColorTunerBChanged,
        .wait = &S::waitForVideoColorTunerBChanged,
        .routine = &S::setVideoColorTunerBRun,
    };
    static constexpr Setting TUNER_S{
        .index = 8,
        .key = "dovra.sl2.i32.video.color.tuner.sat",
        .lowest = -50,
        .highest = 50,
        .kind = Kind::UNCONFIRMED,
        .word = "color tuner saturation",
        .keepsThread = true,
        .access = &S::m_colorTunerS,
        .getter = &S::getVideoColorTunerS,
        .changeHandler = &S::onVideoColorTunerSChanged,
        .wait = &S::waitForVideoColorTunerSChanged,
        .routine = &S::setVideoColorTunerSRun,
    };
    static constexpr Setting TUNER_H{
        .index = 9,
        .key = "dovra.sl2.i32.video.color.tuner.hue",
        .lowest = -50,
        .highest = 50,
        .kind = Kind::UNCONFIRMED,
        .word = "color tuner hue",
        .getterWord = "color tuner Hue",
        .keepsThread = true,
        .access = &S::m_colorTunerH,
        .getter = &S::getVideoColorTunerH,
        .changeHandler = &S::onVideoColorTunerHChanged,
        .wait = &S::waitForVideoColorTunerHChanged,
        .routine = &S::setVideoColorTunerHRun,
    };

    // In the order of the indices.
    static constexpr std::array<const Setting*, SETTINGS> ALL{
        &BRIGHTNESS, &CONTRAST, &SATURATION, &SHARPNESS, &MEMC, &NR, &TUNER, &TUNER_B, &TUNER_S, &TUNER_H};

    static bool isValid(const Setting& setting, int value) {
        return value >= setting.lowest && value <= setting.highest;
    }
};

#endif
