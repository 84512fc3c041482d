// The television announces no change, so every wait for a change times out after a minute.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "keys.h"
#include "platform_adaptation/system_setting.h"
#include "television_test.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using tests::LogLine;

namespace {

using Lines = std::vector<LogLine>;

LogLine line(unsigned level, const std::string& function, const std::string& message) {
    return {level, "system_setting.cpp", function, message + "\n"};
}

class ASilentTelevision : public tests::TelevisionTest {
  protected:
    Lines logged(const std::string& function) const {
        Lines found;
        for (const LogLine& each : log.lines())
            if (each.function == function && each.level != tests::TRACE) found.push_back(each);
        return found;
    }

    // The lines of a wait that times out.
    static Lines minute(const std::string& name, const std::string& word) {
        Lines lines;
        for (int attempt = 0; attempt < 60; ++attempt)
            for (const char* const state : {"...", "timeout."}) {
                char text[100];
                std::snprintf(text, sizeof text, "wait video %s changed %s [%03d].", word.c_str(), state,
                              attempt);
                lines.push_back(line(tests::INFO, "waitForVideo" + name + "Changed", text));
            }
        return lines;
    }

    static bool ends(pid_t thread) {
        const std::filesystem::path task = "/proc/self/task/" + std::to_string(thread);
        for (int poll = 0; poll < 5000; ++poll) {
            if (!std::filesystem::exists(task)) return true;
            std::this_thread::sleep_for(2ms);
        }
        return false;
    }
};

// All ten waits run at the same time, so the test takes one minute.
TEST_F(ASilentTelevision, MakesEveryWaitTimeOutAfterAMinute) {
    struct Change {
        std::string name;
        std::string word;
        int value;
        int (SystemSetting::*set)(int);
        std::string key;
    };
    const std::vector<Change> changes{
        {"Brightness", "brightness", 52, &SystemSetting::setVideoBrightness, BRIGHTNESS},
        {"Contrast", "contrast", 52, &SystemSetting::setVideoContrast, "dovra.sl2.i32.video.contrast"},
        {"Saturation", "saturation", 52, &SystemSetting::setVideoSaturation,
         "dovra.sl2.i32.video.colour.intensity"},
        {"Sharpness", "sharpness", 52, &SystemSetting::setVideoSharpness, "dovra.sl2.i32.video.sharpness"},
        {"MEMC", "MEMC", 4, &SystemSetting::setVideoMEMC, "dovra.sl2.i32.video.enum.memc"},
        {"NR", "NR", 4, &SystemSetting::setVideoNR, "dovra.sl2.i32.video.enum.dnc"},
    };
    struct Wait {
        std::string name;
        std::string word;
        int (SystemSetting::*wait)();
    };
    const std::vector<Wait> waits{
        {"ColorTuner", "color tuner", &SystemSetting::waitForVideoColorTunerChanged},
        {"ColorTunerB", "color tuner brightness", &SystemSetting::waitForVideoColorTunerBChanged},
        {"ColorTunerS", "color tuner saturation", &SystemSetting::waitForVideoColorTunerSChanged},
        {"ColorTunerH", "color tuner hue", &SystemSetting::waitForVideoColorTunerHChanged},
    };

    const auto setting = std::make_unique<SystemSetting>();
    model.holdNotifications();
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::future<int>> results;
    for (const Wait& each : waits)
        results.push_back(std::async(std::launch::async, each.wait, setting.get()));
    for (const Change& each : changes) EXPECT_EQ((setting.get()->*each.set)(each.value), 0);

    for (const Change& each : changes) {
        const std::string failure = "wait for video " + each.word + " changed failed.";
        // A worker that does not end still uses the object, which therefore cannot be destroyed.
        if (!log.waitFor(failure, 1, 110s)) std::abort();
        const std::string worker = "setVideo" + each.name + "Run";
        const Lines lines = logged(worker);
        ASSERT_EQ(lines.size(), 3U) << each.name;
        EXPECT_EQ(lines.back(), line(tests::ERROR, worker, failure));
        EXPECT_EQ(logged("waitForVideo" + each.name + "Changed"), minute(each.name, each.word));
        EXPECT_EQ(model.writes(each.key), std::vector<simulated::Written>{each.value});
        EXPECT_TRUE(ends(lines.back().thread));
    }
    for (std::future<int>& result : results) EXPECT_EQ(result.get(), -1);
    for (const Wait& each : waits)
        EXPECT_EQ(logged("waitForVideo" + each.name + "Changed"), minute(each.name, each.word));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 59s);
}

}  // namespace
