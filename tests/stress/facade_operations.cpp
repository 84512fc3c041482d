// The operations of the facades.
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "round.h"

using namespace std::chrono_literals;
using korvale::ai::PictureData;
using simulated::Lifecycle;

namespace stress {

void Round::addInfo() {
    ADD(info, getAIPQSwitchAvailable);
    ADD(info, getAIPQSwitchState);
    ADD(info, getAIPQAvailable);
    ADD(info, getSourceType);
    ADD(info, getPlayerState);
    ADD(info, getMediaStreamEncrypted);
    ADD(info, getTvStreamEncrypted);
    ADD(info, getVideoInfoHDRType);
    ADD(info, getVideoGameMode);
    ADD(info, getAIPQSupported);
    ADD(info, registerCallBackAIPQ, called<ON_AIPQ, AIPQMode, bool>, this);
    ADD(info, registerCallBackSourceType, called<ON_SOURCE, SourceType>, this);
    ADD(info, registerCallBackPlayerState, called<ON_PLAYER, PlayerState>, this);
    ADD(info, registerCallBackStreamEncrypted, called<ON_ENCRYPTION, StreamMode, bool>, this);
    ADD(info, registerCallBackVideoInfoHDRType, called<ON_HDR, VideoInfoHDRType>, this);
    ADD(info, registerCallBackVideoGameMode, called<ON_GAME, VideoGameMode>, this);
    add("info.setNotifyValue", [this](Random& random) {
        if (random.oneIn(4)) info.setNotifyValue();
    });
    ADD(info, connect);
    ADD(info, str2SourceType, "HDMI1");
    ADD(info, str2VideoInfoHDRType, "hdr_10");
    ADD(info, str2PlayerState, "x");
    ADD(info, int2VideoGameMode, 2);
    add("info.parserTvStreamEncrypte", [this](Random& random) {
        Texts attributes(static_cast<std::size_t>(random.below(12)), "1");
        bool encrypted = false;
        EXPECT_EQ(info.parserTvStreamEncrypte(encrypted, attributes), attributes.size() > 8);
    });
    ADD(info, onAIPQSwitchAvailableChanged, 1);
    ADD(info, onAIPQSwitchStateChanged, 1);
    ADD(info, onAIPQAvailableChanged, 0);
    ADD(info, onSourceTypeChanged, "TV");
    ADD(info, onVideoFormatInfoChanged, "1920x1080p@50");
    ADD(info, onMediaStreamEncryptedModeChanged, 1);
    ADD(info, onTVServiceEncryptedModeChanged, ValueObject());
    ADD(info, onVideoInfoHDRTypeChanged, "hdr_10");
    ADD(info, onVideoGameModeChanged, 2);
    add(
        "SystemInfo lives",
        [](Random& random) {
            SystemInfo own;
            own.registerCallBackAIPQ(called<ON_AIPQ, AIPQMode, bool>, nullptr);
            own.registerCallBackSourceType(called<ON_SOURCE, SourceType>, nullptr);
            own.getAIPQSwitchState();
            if (random.oneIn(2)) own.disconnect();
            if (random.oneIn(2)) own.connect();
        },
        TO_LEAVE_MODEL);
}

void Round::addSettings() {
    // A worker that misses its notification keeps waiting, so the number of threads is limited.
    const auto set = [this](int (SystemSetting::*operation)(int)) {
        return [this, operation](Random& random) {
            if (threads() < m_threadsBefore + 60) {
                EXPECT_LE((setting.*operation)(random.below(8) - 1), 0);
            }
        };
    };
    add("setting.setVideoBrightness", set(&SystemSetting::setVideoBrightness));
    add("setting.setVideoContrast", set(&SystemSetting::setVideoContrast));
    add("setting.setVideoSaturation", set(&SystemSetting::setVideoSaturation));
    add("setting.setVideoSharpness", set(&SystemSetting::setVideoSharpness));
    add("setting.setVideoMEMC", set(&SystemSetting::setVideoMEMC));
    add("setting.setVideoNR", set(&SystemSetting::setVideoNR));
    add("setting.setVideoColorTuner", set(&SystemSetting::setVideoColorTuner));
    add("setting.setVideoColorTunerFamily", [this](Random& random) {
        std::vector<int> family{random.below(8), random.below(50), -random.below(50), random.below(60)};
        const std::unique_lock lock(m_tuner, std::try_to_lock);
        if (lock) setting.setVideoColorTunerFamily(family);
    });
    add("setting.getVideoColorTunerFamily", [this](Random& random) {
        std::vector<int> family{random.below(8), 0, 0, 0};
        const std::unique_lock lock(m_tuner, std::try_to_lock);
        if (lock) setting.getVideoColorTunerFamily(family);
    });
    add("setting.setVideoPQParameters", [this](Random& random) {
        std::vector<int> parameters(static_cast<std::size_t>(random.below(2) + 33), random.below(100));
        EXPECT_LE(setting.setVideoPQParameters(parameters), 0);
    });
    using Get = int (SystemSetting::*)();
    using Check = bool (SystemSetting::*)(int);
    using Change = void (SystemSetting::*)(const ValueObject&);
    using Run = void* (*)(void*);
    struct Named {
        const char* name;
        Get get;
        Check check;
        Change change;
        Get wait;
        Run run;
    };
#define SETTING(Name)                                                                            \
    Named {                                                                                      \
#Name, &SystemSetting::getVideo##Name, &SystemSetting::isValid##Name##Value,             \
            &SystemSetting::onVideo##Name##Changed, &SystemSetting::waitForVideo##Name##Changed, \
            &SystemSetting::setVideo##Name##Run                                                  \
    }
    for (const Named& named : {SETTING(Brightness), SETTING(Contrast), SETTING(Saturation),
                               SETTING(Sharpness), SETTING(MEMC), SETTING(NR), SETTING(ColorTuner),
                               SETTING(ColorTunerB), SETTING(ColorTunerS), SETTING(ColorTunerH)}) {
        const std::string name = named.name;
        add("setting.getVideo" + name, [this, named](Random&) {
            const int value = (setting.*named.get)();
            EXPECT_TRUE(value >= -50 && value <= 100) << value;
        });
        add("setting.isValid" + name, [this, named](Random&) { EXPECT_FALSE((setting.*named.check)(101)); });
        add("setting.onVideo" + name + "Changed", [this, named](Random&) { (setting.*named.change)(5); });
        add(
            "setting.waitForVideo" + name + "Changed",
            [this, named](Random&) { EXPECT_LE((setting.*named.wait)(), 0); }, FOR_MODEL, true);
        add("setting.setVideo" + name + "Run", [named](Random&) { EXPECT_EQ(named.run(nullptr), nullptr); });
    }
#undef SETTING
    ADD(setting, connect);
    add("setting.initValue", [this](Random& random) {
        if (random.oneIn(4)) setting.initValue();
    });
    // It starts no change, because the worker would outlive the object.
    add(
        "SystemSetting lives",
        [](Random&) {
            SystemSetting own;
            EXPECT_EQ(own.setVideoBrightness(101), -1);
            EXPECT_LE(own.getVideoBrightness(), 100);
        },
        TO_LEAVE_MODEL);
}

void Round::addCapture() {
    const auto wanted = [](Random& random) {
        return PictureData{nullptr, static_cast<unsigned>(random.below(224) + 1),
                           static_cast<unsigned>(random.below(224) + 1),
                           static_cast<korvale::ai::ColorMode>(random.below(4) + 1), 0};
    };
    const auto expectPicture = [](bool success, const PictureData& picture) {
        EXPECT_EQ(success, picture.data != nullptr);
        if (success) {
            EXPECT_EQ(picture.colorMode, korvale::ai::COLOR_MODE_RGB);
        }
    };
    add(
        "capture.getPicture that waits",
        [this, wanted, expectPicture](Random& random) {
            PictureData picture = wanted(random);
            const bool success = capture.getPicture(true, &picture);
            expectPicture(success, picture);
        },
        FOR_NOBODY, true);
    add(
        "capture.getPicture",
        [this, wanted](Random& random) {
            PictureData picture = wanted(random);
            EXPECT_TRUE(capture.getPicture(false, random.oneIn(2) ? &picture : nullptr));
        },
        FOR_CHECKING, true);
    add(
        "capture.picutreCaptureFinished",
        [this, expectPicture](Random&) {
            PictureData picture{};
            expectPicture(capture.picutreCaptureFinished(&picture), picture);
            EXPECT_FALSE(capture.picutreCaptureFinished(nullptr));
        },
        FOR_NOBODY, true);
    add("capture.registerCallBack",
        [this](Random& random) { capture.registerCallBack(random.oneIn(8) ? nullptr : frame, this); });
    add("capture.start", [this](Random&) {
        const std::unique_lock lock(m_restart, std::try_to_lock);
        if (lock) capture.start();
    });
    // Each start attaches the block and never detaches it, so the number of restarts is limited.
    add(
        "capture.stop and start",
        [this](Random&) {
            const std::unique_lock lock(m_restart, std::try_to_lock);
            if (!lock || ++m_attachments > 100) return;
            capture.stop();
            capture.start();
        },
        FOR_CHECKING, true);
    add("capture.initShareMemory", [this](Random& random) {
        if (random.oneIn(4) && ++m_attachments < 100) {
            EXPECT_TRUE(capture.initShareMemory());
        }
    });
}

void Round::addState() {
    add("state.registerCallBackTVPowerState", [this](Random& random) {
        state.registerCallBackTVPowerState(random.oneIn(8) ? nullptr : called<ON_POWER, TVPowerState>, this);
    });
    ADD(state, registerApp);
    add(
        "state.unRegisterApp",
        [this](Random& random) {
            if (random.oneIn(4)) {
                EXPECT_TRUE(state.unRegisterApp());
            }
            EXPECT_TRUE(state.registerApp());
        },
        TO_LEAVE_MANAGER);
    add("state.getName", [this](Random&) { EXPECT_EQ(state.getName(), "stress"); });
    ADD(state, notifyTVPowerState, TV_POWER_STATE_SUSPEND);
    ADD(state, onRunning, "url", "parameter");
    ADD(state, onDestroy, "url");
    ADD(state, onSuspend, "url", "parameter");
    ADD(state, onSuspendEx, "url", "parameter");
    ADD(state, onResume, "url", "parameter");
    ADD(state, onResumeEx, "url", "parameter");
    ADD(state, onSTRSuspending, "url", 1);
    ADD(state, onSTRSuspend, "url", 1);
    ADD(state, onSTRResume, "url", 1);
    ADD(state, onSTRResuming, "url", 1);
    ADD(state, onGetFocus, "url");
    ADD(state, onLostFocus, "url");
    ADD(state, onResourceReady, "url", 1);
    ADD(state, onReleaseResource, "url", 1);
    ADD(state, onUIAppStatusNotify, "url", 1);
    ADD(state, notifyAppEventMessage, "message");
    ADD(state, onKeyEvent, 1, 2);
    add(
        "SystemState lives",
        [this](Random& random) {
            SystemState own(("own " + std::to_string(m_names++)).c_str());
            own.registerCallBackTVPowerState(called<ON_POWER, TVPowerState>, nullptr);
            m_television.applications().notifyOne(own.getName(), Lifecycle::STR_SUSPEND, "url");
            if (random.oneIn(4)) std::this_thread::sleep_for(1ms);
        },
        TO_LEAVE_MANAGER);
}

}  // namespace stress
