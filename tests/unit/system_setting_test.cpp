// The picture settings: reading, validating, changing and confirming a value.
#include "platform_adaptation/system_setting.h"
#include "keys.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <ostream>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "allocation_faults.h"
#include "asleep.h"
#include "system_faults.h"
#include "television_test.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::KeyFaults;
using simulated::Order;
using simulated::Written;
using tests::LogLine;
using tests::ThreadCall;
using tests::WatchedMemory;

namespace {

using Lines = std::vector<LogLine>;

enum class Kind { STEPPED, ONCE, UNCONFIRMED };

struct Setting {
    std::size_t index;
    Kind kind;
    const char* name;  // the part of the function names
    const char* key;
    int low;
    int high;
    const char* word;
    int (SystemSetting::*get)();
    bool (SystemSetting::*isValid)(int);
    void (SystemSetting::*onChanged)(const ValueObject&);
    int (SystemSetting::*wait)();
    void* (*run)(void*);
    int (SystemSetting::*set)(int);  // null if it can only be set with its family
    const char* getterWord = word;
    const char* failureWord = word;

    bool isConfirmed() const { return kind != Kind::UNCONFIRMED; }
    bool isSettable() const { return set != nullptr; }
    bool isStepped() const { return kind == Kind::STEPPED; }
    bool isWrittenOnce() const { return kind == Kind::ONCE; }
    bool isUnconfirmed() const { return kind == Kind::UNCONFIRMED; }

    std::string setter() const { return std::string("setVideo") + name; }
    std::string worker() const { return setter() + "Run"; }
    std::string getter() const { return std::string("getVideo") + name; }
    std::string handler() const { return std::string("onVideo") + name + "Changed"; }
    std::string waiter() const { return std::string("waitForVideo") + name + "Changed"; }

    std::string setText(const std::string& rest) const { return std::string("set video ") + word + rest; }
    std::string invalidText(int value) const {
        return setText(" invalid value: " + std::to_string(value) + ".");
    }
    std::string valueText(int value) const { return setText(", value: " + std::to_string(value) + "."); }
    std::string currentText(int current, int target) const {
        return setText(", current value: " + std::to_string(current) +
                       ", set value: " + std::to_string(target) + ".");
    }
    std::string success() const { return setText(" successed."); }
    std::string writeFailure() const { return std::string("set video ") + failureWord + " failed."; }
    std::string getFailure() const { return std::string("get video ") + getterWord + " failed."; }
    std::string got(int value) const {
        return std::string("get video ") + getterWord + ": " + std::to_string(value) + ".";
    }
    std::string waitText(const char* rest, int attempt) const {
        char number[16];
        std::snprintf(number, sizeof number, "[%03d].", attempt);
        return std::string("wait video ") + word + " changed " + rest + " " + number;
    }
};

void PrintTo(const Setting& setting, std::ostream* out) { *out << setting.name; }

#define MEMBERS(Name)                                                                        \
    &SystemSetting::getVideo##Name, &SystemSetting::isValid##Name##Value,                    \
        &SystemSetting::onVideo##Name##Changed, &SystemSetting::waitForVideo##Name##Changed, \
        &SystemSetting::setVideo##Name##Run

#define VIDEO_KEY "dovra.sl2.i32.video."

const std::vector<Setting> SETTINGS{
    {0, Kind::STEPPED, "Brightness", VIDEO_KEY "brightness", 0, 100, "brightness", MEMBERS(Brightness),
     &SystemSetting::setVideoBrightness},
    {1, Kind::STEPPED, "Contrast", VIDEO_KEY "contrast", 0, 100, "contrast", MEMBERS(Contrast),
     &SystemSetting::setVideoContrast},
    {2, Kind::STEPPED, "Saturation", VIDEO_KEY "colour.intensity", 0, 100, "saturation", MEMBERS(Saturation),
     &SystemSetting::setVideoSaturation},
    {3, Kind::STEPPED, "Sharpness", VIDEO_KEY "sharpness", 0, 100, "sharpness", MEMBERS(Sharpness),
     &SystemSetting::setVideoSharpness},
    {4, Kind::ONCE, "MEMC", VIDEO_KEY "enum.memc", 0, 5, "MEMC", MEMBERS(MEMC), &SystemSetting::setVideoMEMC},
    {5, Kind::ONCE, "NR", VIDEO_KEY "enum.dnc", 0, 4, "NR", MEMBERS(NR), &SystemSetting::setVideoNR},
    {6, Kind::UNCONFIRMED, "ColorTuner", VIDEO_KEY "color.tuner", 0, 6, "color tuner", MEMBERS(ColorTuner),
     &SystemSetting::setVideoColorTuner},
    {7, Kind::UNCONFIRMED, "ColorTunerB", VIDEO_KEY "color.tuner.luma", -50, 50, "color tuner brightness",
     MEMBERS(ColorTunerB), nullptr, "color tuner brightness", "color brightness tuner"},
    {8, Kind::UNCONFIRMED, "ColorTunerS", VIDEO_KEY "color.tuner.sat", -50, 50, "color tuner saturation",
     MEMBERS(ColorTunerS), nullptr},
    {9, Kind::UNCONFIRMED, "ColorTunerH", VIDEO_KEY "color.tuner.hue", -50, 50, "color tuner hue",
     MEMBERS(ColorTunerH), nullptr, "color tuner Hue"},
};

const Setting& named(const std::string& name) {
    return *std::find_if(SETTINGS.begin(), SETTINGS.end(),
                         [&](const Setting& each) { return each.name == name; });
}

const Setting& BRIGHTNESS_SETTING = named("Brightness");
const Setting& CONTRAST = named("Contrast");
const Setting& SATURATION = named("Saturation");
const Setting& SHARPNESS = named("Sharpness");
const Setting& MEMC = named("MEMC");
const Setting& NR = named("NR");
const Setting& TUNER = named("ColorTuner");
const Setting& TUNER_B = named("ColorTunerB");
const Setting& TUNER_S = named("ColorTunerS");
const Setting& TUNER_H = named("ColorTunerH");
const std::vector<Setting> TUNER_FAMILY{TUNER, TUNER_B, TUNER_S, TUNER_H};

std::vector<Setting> those(bool (Setting::*are)() const) {
    std::vector<Setting> found;
    for (const Setting& each : SETTINGS)
        if ((each.*are)()) found.push_back(each);
    return found;
}

std::string nameOf(const testing::TestParamInfo<Setting>& info) { return info.param.name; }

std::vector<Written> integers(const std::vector<int>& values) { return {values.begin(), values.end()}; }

LogLine info(const std::string& function, const std::string& message) {
    return {tests::INFO, "system_setting.cpp", function, message + "\n"};
}

LogLine error(const std::string& function, const std::string& message) {
    return {tests::ERROR, "system_setting.cpp", function, message + "\n"};
}

// The lines of a wait that times out `timeouts` times and then receives the change.
Lines waitLines(const Setting& setting, int timeouts) {
    Lines lines;
    for (int attempt = 0; attempt <= timeouts; ++attempt) {
        lines.push_back(info(setting.waiter(), setting.waitText("...", attempt)));
        lines.push_back(
            info(setting.waiter(), setting.waitText(attempt < timeouts ? "timeout." : "done.", attempt)));
    }
    return lines;
}

// Makes the protected state public. Getters return `answers` first, and the television's value when none is
// left.
class OpenSetting : public SystemSetting {
  public:
    using SystemSetting::m_changeCond;
    using SystemSetting::m_changeMutex;
    using SystemSetting::m_setThread;
    using SystemSetting::m_setValue;
    using SystemSetting::SystemSetting;

    int getVideoBrightness() override {
        return fakes(BRIGHTNESS_SETTING.index) ? fake(BRIGHTNESS_SETTING.index)
                                               : SystemSetting::getVideoBrightness();
    }
    int getVideoContrast() override {
        return fakes(CONTRAST.index) ? fake(CONTRAST.index) : SystemSetting::getVideoContrast();
    }
    int getVideoSaturation() override {
        return fakes(SATURATION.index) ? fake(SATURATION.index) : SystemSetting::getVideoSaturation();
    }
    int getVideoSharpness() override {
        return fakes(SHARPNESS.index) ? fake(SHARPNESS.index) : SystemSetting::getVideoSharpness();
    }
    int getVideoMEMC() override {
        return fakes(MEMC.index) ? fake(MEMC.index) : SystemSetting::getVideoMEMC();
    }
    int getVideoNR() override { return fakes(NR.index) ? fake(NR.index) : SystemSetting::getVideoNR(); }

    std::deque<int> answers[SETTINGS];

  private:
    bool fakes(std::size_t index) const { return !answers[index].empty(); }
    int fake(std::size_t index) {
        const int answer = answers[index].front();
        answers[index].pop_front();
        return answer;
    }
};

// Calls a function on another thread.
class Call {
  public:
    explicit Call(std::function<int()> function) {
        std::promise<pid_t> thread;
        std::future<pid_t> started = thread.get_future();
        m_result = std::async(std::launch::async, [&thread, function] {
            thread.set_value(gettid());
            return function();
        });
        m_thread = started.get();
    }

    bool fallsAsleep() const { return tests::waitUntilAsleep(m_thread); }
    bool runs() const { return m_result.wait_for(0s) != std::future_status::ready; }
    bool endsWithin(std::chrono::milliseconds limit) const {
        return m_result.wait_for(limit) == std::future_status::ready;
    }
    int result() { return m_result.get(); }

  private:
    std::future<int> m_result;
    pid_t m_thread;
};

class SystemSettingTest : public tests::TelevisionTest {
  protected:
    // Waits for the workers, which use the object until they end.
    void TearDown() override {
        for (int second = 0; second < 90; ++second) {
            for (int poll = 0; poll < 500; ++poll) {
                if (onlyOldThreads()) return;
                std::this_thread::sleep_for(2ms);
            }
            model.releaseNotifications(Order::AS_THEY_CAME);
            for (const Setting& each : SETTINGS) {
                model.setFaults(each.key, KeyFaults());
                model.announce(each.key);
            }
        }
        static_cast<void>(owner.release());
        FAIL() << "a worker does not end";
    }

    // Waits until the text is logged. A worker misses a confirmation that arrives before it waits; therefore
    // the television announces the value again every second.
    bool await(const Setting& which, const std::string& text, std::size_t times = 1) {
        for (int second = 0; second < 60; ++second) {
            if (log.waitFor(text, times, 1s)) return true;
            model.announce(which.key);
        }
        return false;
    }

    bool announceUntil(const Setting& which, const std::string& text, std::size_t times = 1) {
        model.announce(which.key);
        return await(which, text, times);
    }

    // Holds notifications and starts a worker. Returns when the worker has written its first step and waits.
    void startAndHold(const Setting& which, int value) {
        model.holdNotifications();
        ASSERT_EQ((setting.*which.set)(value), 0);
        awaitSleeper(which, 1);
    }

    void awaitSleeper(const Setting& which, std::size_t waits) {
        const std::string text = which.waitText("...", 0);
        ASSERT_TRUE(log.waitFor(text, waits));
        ASSERT_TRUE(tests::waitUntilAsleep(log.withMessage(text + "\n").at(waits - 1).thread));
    }

    void release() { model.releaseNotifications(Order::AS_THEY_CAME); }

    Call startWait(const Setting& which) {
        return Call([this, &which] { return (setting.*which.wait)(); });
    }

    // Changes the type of the key, so that reads and writes of it fail.
    void breakKey(const std::string& key) {
        simulated::KeyDefinition text;
        text.name = key;
        text.type = lomodelapi::OBJECT_TYPE_STRING;
        text.initial = std::string();
        model.define(text);
    }

    // The function's error and information lines.
    Lines logged(const std::string& function) const {
        Lines found;
        for (const LogLine& line : log.lines())
            if (line.function == function && line.file == "system_setting.cpp" && line.level != tests::TRACE)
                found.push_back(line);
        return found;
    }

    std::size_t entered(const std::string& function) const {
        return log.countEnter("system_setting.cpp", function);
    }

    std::size_t position(const LogLine& line) const {
        const Lines lines = log.lines();
        return static_cast<std::size_t>(std::find(lines.begin(), lines.end(), line) - lines.begin());
    }

    std::vector<int> pending() const {
        return {std::begin(setting.m_setValue), std::end(setting.m_setValue)};
    }

    // The names of the settings whose thread handle is set.
    std::vector<std::string> withThread() const {
        std::vector<std::string> names;
        for (const Setting& each : SETTINGS)
            if (setting.m_setThread[each.index] != pthread_t{}) names.emplace_back(each.name);
        return names;
    }

    // Expects the lines of one wait, numbered without a gap, that ends with a change. Returns the number of
    // timeouts.
    int checkSingleWait(const Setting& which) const {
        const Lines lines = logged(which.waiter());
        const int timeouts = static_cast<int>(lines.size()) / 2 - 1;
        EXPECT_EQ(lines, waitLines(which, timeouts));
        return timeouts;
    }

  private:
    static std::set<std::string> threads() {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
            found.insert(entry.path().filename());
        return found;
    }

    bool onlyOldThreads() const {
        const std::set<std::string> now = threads();
        return std::includes(m_oldThreads.begin(), m_oldThreads.end(), now.begin(), now.end());
    }

    const std::set<std::string> m_oldThreads = threads();

  protected:
    std::unique_ptr<OpenSetting> owner = std::make_unique<OpenSetting>();
    OpenSetting& setting = *owner;
    const std::vector<int> NOTHING_PENDING = std::vector<int>(SETTINGS.size(), -1);
};

class OfEach : public SystemSettingTest, public testing::WithParamInterface<Setting> {
  protected:
    const Setting& it = GetParam();

    int set(int value) { return (setting.*it.set)(value); }
    int get() { return (setting.*it.get)(); }
    bool isValid(int value) { return (setting.*it.isValid)(value); }
    void change(const ValueObject& value) { std::invoke(it.onChanged, setting, value); }

    // Runs the worker function on this thread.
    void run(int value) {
        setting.m_setValue[it.index] = value;
        EXPECT_EQ(it.run(&setting), nullptr);
    }

    std::vector<int> refused() const { return {it.low - 1, it.high + 1, INT_MIN, INT_MAX}; }
};

// Construction and teardown

template <typename Access>
class RecordingAccess : public Access {
  public:
    RecordingAccess(std::string name, std::vector<std::string>& calls)
        : Access(std::move(name)), m_calls(calls) {}
    int connect(int timeoutMs) override {
        m_calls.push_back(this->getName() + " connected for " + std::to_string(timeoutMs));
        return Access::connect(timeoutMs);
    }
    int disconnect() override {
        m_calls.push_back(this->getName() + " disconnected");
        return Access::disconnect();
    }

  private:
    std::vector<std::string>& m_calls;
};

class TheAccessors : public SystemSettingTest {
  protected:
    std::unique_ptr<SystemSetting> inject(std::shared_ptr<ValueHandler> handlerOfBrightness = nullptr) {
        for (const Setting& each : SETTINGS)
            values.push_back(
                std::make_shared<RecordingAccess<SystemSetting::IntegerAccess>>(each.key, calls));
        values[BRIGHTNESS_SETTING.index]->setNewValueHandler(std::move(handlerOfBrightness));
        parameters = std::make_shared<RecordingAccess<SystemSetting::IntegersAccess>>(PQ_SETTING, calls);
        return std::make_unique<SystemSetting>(values[0], values[1], values[2], values[3], values[4],
                                               values[5], values[6], values[7], values[8], values[9],
                                               parameters);
    }

    std::vector<std::string> expected(const std::string& what) const {
        std::vector<std::string> all;
        for (const Setting& each : SETTINGS) all.push_back(each.key + what);
        all.push_back(PQ_SETTING + what);
        return all;
    }

    std::vector<std::string> calls;
    std::vector<std::shared_ptr<SystemSetting::IntegerAccess>> values;
    std::shared_ptr<SystemSetting::IntegersAccess> parameters;
};

TEST_F(TheAccessors, AreConnectedAndDisconnectedInTheOrderOfTheirIndices) {
    std::unique_ptr<SystemSetting> injected = inject();
    EXPECT_EQ(calls, expected(" connected for 100"));
    calls.clear();
    injected.reset();
    EXPECT_EQ(calls, expected(" disconnected"));
}

TEST_F(TheAccessors, AreAllConnectedAgainByConnect) {
    const std::unique_ptr<SystemSetting> injected = inject();
    calls.clear();
    injected->connect();
    EXPECT_EQ(calls, expected(" connected for 100"));
}

TEST_F(TheAccessors, BelongToTheSettingAtTheirPosition) {
    const std::unique_ptr<SystemSetting> injected = inject();
    for (const Setting& each : SETTINGS) model.set(each.key, 10 + static_cast<int>(each.index));
    for (const Setting& each : SETTINGS)
        EXPECT_EQ((injected.get()->*each.get)(), 10 + static_cast<int>(each.index)) << each.name;
    std::vector<int> ivec(34, 1);
    EXPECT_EQ(injected->setVideoPQParameters(ivec), 0);
    EXPECT_EQ(model.writes(PQ_SETTING).size(), 1U);
}

TEST_F(TheAccessors, KeepTheirHandlersWhenInjected) {
    struct Handler : ValueHandler {
        void onNewValue(const ValueObject& value) override { seen.set_value(static_cast<int>(value)); }
        std::promise<int> seen;
    };
    const auto handler = std::make_shared<Handler>();
    std::future<int> seen = handler->seen.get_future();
    owner.reset();
    const std::unique_ptr<SystemSetting> injected = inject(handler);
    model.set(BRIGHTNESS, 51);
    model.set(CONTRAST.key, 51);
    ASSERT_TRUE(model.settle());
    ASSERT_EQ(seen.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(seen.get(), 51);
    EXPECT_EQ(entered("onVideoBrightnessChanged") + entered("onVideoContrastChanged"), 0U);
}

TEST_F(TheAccessors, TryToConnectAtConstructionAndAtTheFirstUse) {
    std::vector<std::string> keys{PQ_SETTING};
    for (const Setting& each : SETTINGS) keys.emplace_back(each.key);
    owner.reset();
    model.reset();
    KeyFaults refused;
    refused.connectStatus = simulated::STATUS_UNAVAILABLE;
    for (const std::string& key : keys) model.setFaults(key, refused);
    SystemSetting late;
    for (const std::string& key : keys) {
        EXPECT_EQ(model.connectAttempts(key), 1U) << key;
        model.setFaults(key, KeyFaults());
    }
    EXPECT_EQ(late.getVideoBrightness(), 50);
    EXPECT_EQ(model.subscribers(BRIGHTNESS), 1U);
}

TEST_F(TheAccessors, SubscribeOnceToEveryKeyWhileTheObjectExists) {
    EXPECT_EQ(model.subscribers(PQ_SETTING), 1U);
    for (const Setting& each : SETTINGS) EXPECT_EQ(model.subscribers(each.key), 1U) << each.name;
    owner.reset();
    EXPECT_EQ(model.subscribers(PQ_SETTING), 0U);
    for (const Setting& each : SETTINGS) EXPECT_EQ(model.subscribers(each.key), 0U) << each.name;
}

using TheState = SystemSettingTest;

TEST_F(TheState, IsEmptyAfterConstruction) {
    EXPECT_EQ(pending(), NOTHING_PENDING);
    EXPECT_EQ(withThread(), std::vector<std::string>());
}

TEST_F(TheState, IsResetExceptForThreeThreadsOfTheTuner) {
    std::fill(std::begin(setting.m_setValue), std::end(setting.m_setValue), 3);
    std::fill(std::begin(setting.m_setThread), std::end(setting.m_setThread), pthread_self());
    setting.initValue();
    EXPECT_EQ(pending(), NOTHING_PENDING);
    EXPECT_EQ(withThread(), (std::vector<std::string>{TUNER_B.name, TUNER_S.name, TUNER_H.name}));
}

TEST_F(TheState, IsReadThroughTheInterface) {
    static_assert(std::has_virtual_destructor_v<SystemSettingInterface>);
    static_assert(std::is_abstract_v<SystemSettingInterface>);
    SystemSettingInterface& interface = setting;
    model.set(BRIGHTNESS, 77);
    EXPECT_EQ(interface.getVideoBrightness(), 77);
}

// All ten settings

using ASetting = OfEach;
INSTANTIATE_TEST_SUITE_P(Video, ASetting, testing::ValuesIn(SETTINGS), nameOf);

TEST_P(ASetting, IsValidWithinItsRangeOnly) {
    EXPECT_TRUE(isValid(it.low));
    EXPECT_TRUE(isValid(it.high));
    for (const int value : refused()) EXPECT_FALSE(isValid(value)) << value;
}

TEST_P(ASetting, IsReadFromItsKeyWithAnyValue) {
    Lines expected;
    for (const int value : {it.low, it.high, -1, 1000}) {
        model.set(it.key, value);
        EXPECT_EQ(get(), value);
        expected.push_back(info(it.getter(), it.got(value)));
    }
    EXPECT_EQ(logged(it.getter()), expected);
    EXPECT_EQ(entered(it.getter()), 4U);
}

TEST_P(ASetting, IsMinusOneWithAnErrorIfItCannotBeRead) {
    breakKey(it.key);
    EXPECT_EQ(get(), -1);
    EXPECT_EQ(logged(it.getter()), Lines{error(it.getter(), it.getFailure())});
    EXPECT_EQ(entered(it.getter()), 1U);
}

TEST_P(ASetting, IsLoggedButNotStoredWhenItChanges) {
    model.set(it.key, it.high);
    ASSERT_TRUE(model.settle());
    const std::string text = std::string("video ") + it.word + " changed: " + std::to_string(it.high) + ".";
    const Lines lines = logged(it.handler());
    ASSERT_EQ(lines, Lines{info(it.handler(), text)});
    EXPECT_NE(lines[0].thread, gettid());
    EXPECT_EQ(entered(it.handler()), 1U);
    EXPECT_EQ(pending(), NOTHING_PENDING);
}

TEST_P(ASetting, IsLoggedAsAnIntegerWhenItChanges) {
    change(2.75);
    EXPECT_EQ(logged(it.handler()),
              Lines{info(it.handler(), std::string("video ") + it.word + " changed: 2.")});
}

TEST_P(ASetting, LocksItsMutexToSignalAChange) {
    std::unique_lock lock(setting.m_changeMutex[it.index]);
    Call call([this] {
        change(1);
        return 0;
    });
    ASSERT_TRUE(log.waitFor(std::string("video ") + it.word + " changed: 1."));
    EXPECT_TRUE(call.fallsAsleep());
    EXPECT_TRUE(call.runs());
    lock.unlock();
    EXPECT_TRUE(call.endsWithin(30s));
}

TEST_P(ASetting, IsAwaitedUnderItsMutex) {
    std::unique_lock lock(setting.m_changeMutex[it.index]);
    Call wait = startWait(it);
    ASSERT_TRUE(wait.fallsAsleep());
    EXPECT_EQ(entered(it.waiter()), 1U);
    EXPECT_TRUE(logged(it.waiter()).empty());
    lock.unlock();
    awaitSleeper(it, 1);
    EXPECT_TRUE(announceUntil(it, std::string("wait video ") + it.word + " changed done. ["));
    EXPECT_EQ(wait.result(), 0);
}

TEST_P(ASetting, IsAwaitedUntilAnyChangeOfItsOwn) {
    // Changes of the other nine settings neither end nor delay the wait.
    Call wait = startWait(it);
    awaitSleeper(it, 1);
    for (const Setting& other : SETTINGS)
        if (other.index != it.index) model.announce(other.key);
    ASSERT_TRUE(model.settle());
    EXPECT_TRUE(wait.fallsAsleep());
    EXPECT_TRUE(wait.runs());
    std::vector<std::unique_lock<std::mutex>> locks;
    for (const Setting& other : SETTINGS)
        if (other.index != it.index) locks.emplace_back(setting.m_changeMutex[other.index]);
    EXPECT_TRUE(announceUntil(it, std::string("wait video ") + it.word + " changed done. ["));
    EXPECT_EQ(wait.result(), 0);
    checkSingleWait(it);
    EXPECT_EQ(entered(it.waiter()), 1U);
}

TEST_P(ASetting, EndsItsWaitAtAnyWakeUp) {
    Call wait = startWait(it);
    awaitSleeper(it, 1);
    for (int second = 0; second < 30 && wait.runs(); ++second) {
        setting.m_changeCond[it.index].notify_one();
        static_cast<void>(wait.endsWithin(1s));
    }
    EXPECT_EQ(wait.result(), 0);
    checkSingleWait(it);
    EXPECT_TRUE(logged(it.handler()).empty());
}

TEST_P(ASetting, CannotBeAwaitedIfItsMutexCannotBeLocked) {
    WatchedMemory watched(&setting.m_changeMutex[it.index], sizeof(std::mutex));
    watched.failNext(ThreadCall::MUTEX_LOCK, EINVAL);
    EXPECT_EQ(startWait(it).result(), -1);
    const std::string reason = std::generic_category().message(EINVAL);
    EXPECT_EQ(logged(it.waiter()), Lines{error(it.waiter(), std::string("wait video ") + it.word +
                                                                " changed failed: " + reason + ".")});
}

TEST_P(ASetting, HasAWorkerThatRefusesANullObject) {
    EXPECT_EQ(it.run(nullptr), nullptr);
    EXPECT_EQ(logged(it.worker()), Lines{error(it.worker(), "invalid parameter.")});
    EXPECT_EQ(entered(it.worker()), 1U);
}

TEST_P(ASetting, IsValidatedAgainByTheWorker) {
    Lines expected;
    for (const int value : refused()) {
        run(value);
        expected.push_back(info(it.worker(), it.valueText(value)));
        expected.push_back(error(it.worker(), it.invalidText(value)));
    }
    EXPECT_EQ(logged(it.worker()), expected);
    EXPECT_TRUE(model.writes(it.key).empty());
    EXPECT_TRUE(logged(it.getter()).empty());
}

TEST_P(ASetting, LogsAnErrorIfItCannotBeWritten) {
    const int current = it.low;
    setting.answers[it.index] = {current};
    breakKey(it.key);
    run(it.high);
    Lines expected{info(it.worker(), it.valueText(it.high))};
    if (it.isConfirmed()) expected.push_back(info(it.worker(), it.currentText(current, it.high)));
    expected.push_back(error(it.worker(), it.writeFailure()));
    EXPECT_EQ(logged(it.worker()), expected);
    EXPECT_TRUE(logged(it.waiter()).empty());
}

// The settings with a setter

using ASettableSetting = OfEach;
INSTANTIATE_TEST_SUITE_P(Video, ASettableSetting, testing::ValuesIn(those(&Setting::isSettable)), nameOf);

TEST_P(ASettableSetting, AcceptsBothEndsOfItsRange) {
    Lines expected;
    for (const int value : {it.low, it.high}) {
        model.set(it.key, value);
        ASSERT_TRUE(model.settle());
        EXPECT_EQ(set(value), 0);
        expected.push_back(info(it.setter(), it.valueText(value)));
        EXPECT_TRUE(log.waitFor(it.success(), expected.size()));
        EXPECT_EQ(setting.m_setValue[it.index], value);
    }
    EXPECT_EQ(logged(it.setter()), expected);
}

TEST_P(ASettableSetting, RefusesAValueOutOfItsRange) {
    Lines expected;
    for (const int value : refused()) {
        EXPECT_EQ(set(value), -1);
        expected.push_back(info(it.setter(), it.valueText(value)));
        expected.push_back(error(it.setter(), it.invalidText(value)));
    }
    EXPECT_EQ(logged(it.setter()), expected);
    EXPECT_TRUE(television.threads().created().empty());
    EXPECT_EQ(pending(), NOTHING_PENDING);
}

TEST_P(ASettableSetting, IsChangedByOneWorkerThread) {
    EXPECT_EQ(set(std::get<int>(model.value(it.key))), 0);
    const auto created = television.threads().created();
    ASSERT_EQ(created.size(), 1U);
    EXPECT_EQ(created[0].file, "source/platform_adaptation/src/system_setting.cpp");
    EXPECT_GT(created[0].line, 0);
    EXPECT_EQ(television.threads().attributesInUse(), 0);
    EXPECT_EQ(withThread(), std::vector<std::string>{it.name});
    ASSERT_TRUE(log.waitFor(it.success()));
    EXPECT_NE(logged(it.worker()).at(0).thread, gettid());
    EXPECT_EQ(entered(it.worker()), 1U);
}

TEST_P(ASettableSetting, KeepsItsPendingValueIfNoThreadCanBeCreated) {
    const std::vector<std::function<void()>> faults{[this] { television.threads().fail(1); },
                                                    [] { tests::failNextThreadAttributes(ENOMEM); }};
    for (const auto& fail : faults) {
        setting.initValue();
        log.clear();
        fail();
        EXPECT_EQ(set(it.high), -1);
        EXPECT_EQ(setting.m_setValue[it.index], it.high);
        EXPECT_EQ(television.threads().attributesInUse(), 0);
        EXPECT_TRUE(television.threads().created().empty());
        EXPECT_EQ(logged(it.setter()), Lines{info(it.setter(), it.valueText(it.high))});
        EXPECT_TRUE(model.writes(it.key).empty());
    }
}

// The settings whose change is confirmed

using AConfirmedSetting = OfEach;
INSTANTIATE_TEST_SUITE_P(Video, AConfirmedSetting, testing::ValuesIn(those(&Setting::isConfirmed)), nameOf);

TEST_P(AConfirmedSetting, IsNotWrittenIfItAlreadyHasTheValue) {
    const int value = std::get<int>(model.value(it.key));
    run(value);
    EXPECT_EQ(logged(it.worker()),
              (Lines{info(it.worker(), it.valueText(value)), info(it.worker(), it.currentText(value, value)),
                     info(it.worker(), it.success())}));
    EXPECT_TRUE(model.writes(it.key).empty());
    EXPECT_EQ(entered(it.waiter()), 0U);
}

TEST_P(AConfirmedSetting, IsNotWrittenIfItsCurrentValueIsInvalid) {
    for (const int value : {-1, it.high + 1}) {
        model.set(it.key, value);
        run(it.high);
    }
    const Lines once{info(it.worker(), it.valueText(it.high)), error(it.worker(), it.getFailure())};
    EXPECT_EQ(logged(it.worker()), (Lines{once[0], once[1], once[0], once[1]}));
    EXPECT_TRUE(model.writes(it.key).empty());
}

TEST_P(AConfirmedSetting, IsReadThroughTheVirtualGetter) {
    setting.answers[it.index] = {it.high};
    run(it.high);
    EXPECT_EQ(log.count(info(it.worker(), it.currentText(it.high, it.high))), 1U);
    EXPECT_EQ(log.count(info(it.worker(), it.success())), 1U);
    EXPECT_EQ(entered(it.getter()), 0U);
    EXPECT_TRUE(model.writes(it.key).empty());
}

TEST_P(AConfirmedSetting, IsWrittenByADetachedWorkerThread) {
    const int before = std::get<int>(model.value(it.key));
    startAndHold(it, before + 2);
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_getattr_np(setting.m_setThread[it.index], &attributes), 0);
    int state = -1;
    pthread_attr_getdetachstate(&attributes, &state);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(state, PTHREAD_CREATE_DETACHED);
    EXPECT_EQ(log.withMessage(it.success() + "\n").size(), 0U);
    EXPECT_EQ(model.writes(it.key), integers({before + 2}));

    release();
    ASSERT_TRUE(await(it, it.success()));
    EXPECT_EQ(logged(it.worker()), (Lines{info(it.worker(), it.valueText(before + 2)),
                                          info(it.worker(), it.currentText(before, before + 2)),
                                          info(it.worker(), it.success())}));
    EXPECT_EQ(entered(it.worker()), 1U);
    EXPECT_EQ(model.writes(it.key), integers({before + 2}));
    checkSingleWait(it);
}

TEST_P(AConfirmedSetting, EndsItsChangeIfItsMutexCannotBeLocked) {
    const int before = std::get<int>(model.value(it.key));
    model.holdNotifications();
    {
        WatchedMemory watched(&setting.m_changeMutex[it.index], sizeof(std::mutex));
        watched.failNext(ThreadCall::MUTEX_LOCK, EINVAL);
        run(before + 2);
    }
    release();
    EXPECT_EQ(logged(it.worker()),
              (Lines{info(it.worker(), it.valueText(before + 2)),
                     info(it.worker(), it.currentText(before, before + 2)),
                     error(it.worker(), std::string("wait for video ") + it.word + " changed failed.")}));
    EXPECT_EQ(model.writes(it.key), integers({before + 2}));
}

// The settings that change in steps; the value of each is 50

using ASteppedSetting = OfEach;
INSTANTIATE_TEST_SUITE_P(Video, ASteppedSetting, testing::ValuesIn(those(&Setting::isStepped)), nameOf);

TEST_P(ASteppedSetting, MovesInStepsOfTwoAndThenToTheTarget) {
    const std::vector<std::pair<int, std::vector<int>>> changes{
        {53, {52, 53}}, {52, {52}}, {51, {51}}, {47, {49, 47}}, {40, {45, 43, 41, 40}}, {43, {42, 43}}};
    std::vector<int> expected;
    std::size_t ends = 0;
    for (const auto& [target, steps] : changes) {
        ASSERT_EQ(set(target), 0);
        ASSERT_TRUE(await(it, it.success(), ++ends));
        expected.insert(expected.end(), steps.begin(), steps.end());
    }
    EXPECT_EQ(model.writes(it.key), integers(expected));
    EXPECT_EQ(entered(it.waiter()), expected.size());
    // The worker reads the value at the beginning and after each step.
    EXPECT_EQ(logged(it.getter()).size(), expected.size() + ends);
}

TEST_P(ASteppedSetting, StopsIfItCannotBeReadAgain) {
    setting.answers[it.index] = {50, -1};
    ASSERT_EQ(set(60), 0);
    ASSERT_TRUE(await(it, it.getFailure()));
    EXPECT_EQ(logged(it.worker()),
              (Lines{info(it.worker(), it.valueText(60)), info(it.worker(), it.currentText(50, 60)),
                     error(it.worker(), it.getFailure())}));
    EXPECT_EQ(model.writes(it.key), integers({52}));
}

// The settings that are written in one step

using ASettingInOneStep = OfEach;
INSTANTIATE_TEST_SUITE_P(Video, ASettingInOneStep, testing::ValuesIn(those(&Setting::isWrittenOnce)), nameOf);

TEST_P(ASettingInOneStep, IsNotReadAgainAfterTheWrite) {
    KeyFaults stubborn;
    stubborn.keepValue = true;
    model.set(it.key, 0);
    ASSERT_TRUE(model.settle());
    model.setFaults(it.key, stubborn);
    ASSERT_EQ(set(it.high), 0);
    ASSERT_TRUE(await(it, it.success()));
    EXPECT_EQ(model.writes(it.key), integers({it.high}));
    EXPECT_EQ(logged(it.getter()), Lines{info(it.getter(), it.got(0))});
    EXPECT_EQ(entered(it.waiter()), 1U);
}

// Confirmations of the television

class ABrightnessChange : public SystemSettingTest {
  protected:
    const Setting& it = BRIGHTNESS_SETTING;

    void setFault(const std::function<void(KeyFaults&)>& change) {
        KeyFaults faults;
        change(faults);
        model.setFaults(BRIGHTNESS, faults);
    }

    std::vector<Written> writes() const { return model.writes(BRIGHTNESS); }
};

TEST_F(ABrightnessChange, TakesFiftyStepsFromOneEndToTheOther) {
    model.set(BRIGHTNESS, 0);
    ASSERT_TRUE(model.settle());
    ASSERT_EQ(setting.setVideoBrightness(100), 0);
    ASSERT_TRUE(await(it, it.success()));
    std::vector<int> steps;
    for (int value = 2; value <= 100; value += 2) steps.push_back(value);
    EXPECT_EQ(writes(), integers(steps));
    EXPECT_EQ(entered(it.waiter()), 50U);
}

TEST_F(ABrightnessChange, WaitsLongerForALateConfirmation) {
    setFault([](KeyFaults& faults) { faults.notificationDelay = 1400ms; });
    ASSERT_EQ(setting.setVideoBrightness(52), 0);
    ASSERT_TRUE(log.waitFor(it.waitText("timeout.", 0)));
    ASSERT_TRUE(log.waitFor(it.success()) || await(it, it.success()));
    EXPECT_GE(checkSingleWait(it), 1);
    EXPECT_EQ(writes(), integers({52}));
}

TEST_F(ABrightnessChange, TakesEachStepOnceIfItIsConfirmedTwice) {
    setFault([](KeyFaults& faults) { faults.repeatNotifications = 1; });
    ASSERT_EQ(setting.setVideoBrightness(57), 0);
    ASSERT_TRUE(await(it, it.success()));
    EXPECT_EQ(writes(), integers({52, 54, 56, 57}));
    EXPECT_EQ(entered(it.waiter()), 4U);
}

TEST_F(ABrightnessChange, RepeatsItsStepWhileTheTelevisionKeepsTheOldValue) {
    setFault([](KeyFaults& faults) { faults.keepValue = true; });
    ASSERT_EQ(setting.setVideoBrightness(53), 0);
    ASSERT_TRUE(await(it, "wait video brightness changed done.", 10));
    model.setFaults(BRIGHTNESS, KeyFaults());
    ASSERT_TRUE(await(it, it.success()));
    std::vector<int> steps(writes().size() - 1, 52);
    EXPECT_GE(steps.size(), 10U);
    steps.push_back(53);
    EXPECT_EQ(writes(), integers(steps));
    EXPECT_EQ(entered(it.waiter()), steps.size());
}

TEST_F(ABrightnessChange, ContinuesFromAValueSetByTheRemoteControl) {
    startAndHold(it, 60);
    model.set(BRIGHTNESS, 67);
    release();
    ASSERT_TRUE(await(it, it.success()));
    EXPECT_EQ(writes(), integers({52, 65, 63, 61, 60}));
}

TEST_F(ABrightnessChange, EndsIfTheRemoteControlReachesTheTarget) {
    startAndHold(it, 60);
    model.set(BRIGHTNESS, 60);
    release();
    ASSERT_TRUE(await(it, it.success()));
    EXPECT_EQ(writes(), integers({52}));
}

TEST_F(ABrightnessChange, StopsIfTheRemoteControlLeavesTheRange) {
    startAndHold(it, 60);
    model.set(BRIGHTNESS, 101);
    release();
    ASSERT_TRUE(await(it, it.getFailure()));
    EXPECT_EQ(logged(it.worker()).back(), error(it.worker(), it.getFailure()));
    EXPECT_EQ(writes(), integers({52}));
}

TEST_F(ABrightnessChange, RunsConcurrentlyWithAnEarlierOne) {
    startAndHold(it, 60);
    const pthread_t first = setting.m_setThread[it.index];
    ASSERT_EQ(setting.setVideoBrightness(45), 0);
    EXPECT_EQ(setting.m_setValue[it.index], 45);
    EXPECT_NE(setting.m_setThread[it.index], first);
    awaitSleeper(it, 2);
    EXPECT_EQ(writes(), integers({52, 50}));
    EXPECT_EQ(log.count(info(it.worker(), it.currentText(52, 45))), 1U);
    // The value is the first worker's target. Writes are refused, so that the second worker, which repeats
    // its step, cannot change the value before the first worker has read it.
    setFault([](KeyFaults& faults) { faults.refuseWrites = true; });
    model.set(BRIGHTNESS, 60);
    release();
    ASSERT_TRUE(await(it, it.success()));
    model.setFaults(BRIGHTNESS, KeyFaults());
    ASSERT_TRUE(announceUntil(it, it.success(), 2));
    std::vector<Written> steps = writes();
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
    EXPECT_EQ(steps, integers({52, 50, 58, 56, 54, 52, 50, 48, 46, 45}));
    EXPECT_EQ(television.threads().created().size(), 2U);
}

TEST_F(ABrightnessChange, DoesNotDelayOtherSettings) {
    startAndHold(it, 60);
    ASSERT_EQ(setting.setVideoContrast(52), 0);
    awaitSleeper(CONTRAST, 1);
    while (log.withMessage(CONTRAST.success() + "\n").empty()) {
        setting.onVideoContrastChanged(ValueObject(52));
        static_cast<void>(log.waitFor(CONTRAST.success(), 1, 1s));
    }
    EXPECT_EQ(model.writes(CONTRAST.key), integers({52}));
    EXPECT_EQ(writes(), integers({52}));
    EXPECT_EQ(log.withMessage(it.success() + "\n").size(), 0U);
    release();
    ASSERT_TRUE(await(it, it.success()));
}

class AWait : public ABrightnessChange {};

TEST_F(AWait, IgnoresAnEarlierChange) {
    model.announce(BRIGHTNESS);
    ASSERT_TRUE(model.settle());
    ASSERT_EQ(logged(it.handler()).size(), 1U);
    const auto begin = std::chrono::steady_clock::now();
    Call wait = startWait(it);
    ASSERT_TRUE(log.waitFor(it.waitText("timeout.", 0)));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 950ms);
    ASSERT_TRUE(log.waitFor(it.waitText("...", 1)));
    EXPECT_TRUE(wait.fallsAsleep());
    EXPECT_TRUE(announceUntil(it, "wait video brightness changed done."));
    EXPECT_EQ(wait.result(), 0);
    EXPECT_GE(checkSingleWait(it), 1);
}

TEST_F(AWait, EndsInTheAttemptInWhichTheChangeArrives) {
    model.setNotificationDelay(0ms);
    const auto begin = std::chrono::steady_clock::now();
    Call wait = startWait(it);
    ASSERT_TRUE(log.waitFor(it.waitText("...", 7)));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 6900ms);
    EXPECT_TRUE(wait.fallsAsleep());
    EXPECT_TRUE(announceUntil(it, "wait video brightness changed done."));
    EXPECT_EQ(wait.result(), 0);
    // On a busy machine, the change may arrive in a later attempt.
    EXPECT_GE(checkSingleWait(it), 7);
}

TEST_F(AWait, IsNotEndedByAChangeThatEndedAnother) {
    Call one = startWait(it);
    Call two = startWait(it);
    awaitSleeper(it, 1);
    awaitSleeper(it, 2);
    ASSERT_TRUE(announceUntil(it, "wait video brightness changed done."));
    ASSERT_TRUE(model.settle());
    while (one.runs() && two.runs()) static_cast<void>(one.endsWithin(1ms));
    Call& other = one.runs() ? one : two;
    EXPECT_TRUE(other.fallsAsleep());
    EXPECT_TRUE(other.runs());
    EXPECT_TRUE(announceUntil(it, "wait video brightness changed done.", 2));
    EXPECT_EQ(one.result(), 0);
    EXPECT_EQ(two.result(), 0);
}

// The colour tuner

using AColourTunerSetting = OfEach;
INSTANTIATE_TEST_SUITE_P(Video, AColourTunerSetting, testing::ValuesIn(those(&Setting::isUnconfirmed)),
                         nameOf);

TEST_P(AColourTunerSetting, IsWrittenWithoutReadingOrWaiting) {
    run(0);
    run(it.high);
    EXPECT_EQ(model.writes(it.key), integers({0, it.high}));
    EXPECT_EQ(logged(it.worker()),
              (Lines{info(it.worker(), it.valueText(0)), info(it.worker(), it.success()),
                     info(it.worker(), it.valueText(it.high)), info(it.worker(), it.success())}));
    EXPECT_EQ(entered(it.worker()), 2U);
    EXPECT_EQ(entered(it.getter()) + entered(it.waiter()), 0U);
}

TEST_P(AColourTunerSetting, IsWrittenBeforeTheFamilysSetterReturns) {
    KeyFaults slow;
    slow.answerDelay = 100ms;
    model.setFaults(it.key, slow);
    std::vector<int> ivec;
    for (const Setting& each : TUNER_FAMILY) ivec.push_back(each.index == it.index ? 3 : 1);
    EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), 0);
    EXPECT_EQ(model.writes(it.key), integers({3}));
    EXPECT_EQ(log.count(info(it.worker(), it.success())), 1U);
}

class TheColourTuner : public SystemSettingTest {
  protected:
    const std::string SET_FAMILY = "setVideoColorTunerFamily";
    const std::string GET_FAMILY = "getVideoColorTunerFamily";
    const std::vector<std::string> CREATE_TEXTS{
        "1.create set video color tuner thread.", "2.create set video color tuner brightness thread.",
        "3.create set video color tuner saturation thread.", "4.create set video color tuner hue thread."};

    std::vector<Written> written() const {
        std::vector<Written> all;
        for (const Setting& each : TUNER_FAMILY)
            for (const Written& write : model.writes(each.key)) all.push_back(write);
        return all;
    }

    std::vector<int> pendingFamily() const {
        std::vector<int> values;
        for (const Setting& each : TUNER_FAMILY) values.push_back(setting.m_setValue[each.index]);
        return values;
    }

    static Lines elementLines(const std::string& function, const std::vector<int>& ivec) {
        Lines lines;
        for (std::size_t i = 0; i < ivec.size(); ++i)
            lines.push_back(
                info(function, "vct[" + std::to_string(i) + "] = " + std::to_string(ivec[i]) + ".\n"));
        return lines;
    }

    static LogLine sizeLine(const std::string& function, std::size_t size) {
        return error(function, "invalid parameter, ivec.size() = " + std::to_string(size) + ".");
    }
};

TEST_F(TheColourTuner, IsWrittenBeforeItsSetterReturns) {
    KeyFaults slow;
    slow.answerDelay = 100ms;
    model.setFaults(TUNER.key, slow);
    EXPECT_EQ(setting.setVideoColorTuner(3), 0);
    EXPECT_EQ(model.writes(TUNER.key), integers({3}));
    EXPECT_EQ(log.count(info(TUNER.worker(), TUNER.success())), 1U);
}

TEST_F(TheColourTuner, IsSetEvenIfTheWriteFails) {
    for (const Setting& each : TUNER_FAMILY) breakKey(each.key);
    EXPECT_EQ(setting.setVideoColorTuner(3), 0);
    std::vector<int> ivec{1, 2, 3, 4};
    EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), 0);
    EXPECT_EQ(log.count(error(TUNER.worker(), TUNER.writeFailure())), 2U);
    for (const Setting& each : {TUNER_B, TUNER_S, TUNER_H})
        EXPECT_EQ(log.count(error(each.worker(), each.writeFailure())), 1U);
}

TEST_F(TheColourTuner, IsSetAsAFamilyWithTheModeFirst) {
    std::vector<int> ivec{6, -50, 50, 0};
    EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), 0);
    EXPECT_EQ(written(), integers(ivec));
    EXPECT_EQ(pendingFamily(), ivec);
    Lines expected = elementLines(SET_FAMILY, ivec);
    for (const std::string& text : CREATE_TEXTS) expected.push_back(info(SET_FAMILY, text));
    EXPECT_EQ(logged(SET_FAMILY), expected);
    EXPECT_GT(position(info(TUNER.worker(), TUNER.success())), position(expected[4]));
    EXPECT_LT(position(info(TUNER.worker(), TUNER.success())), position(expected[5]));
    const auto created = television.threads().created();
    ASSERT_EQ(created.size(), 4U);
    for (const auto& record : created) {
        EXPECT_EQ(record.file, "source/platform_adaptation/src/system_setting.cpp");
        EXPECT_GT(record.line, 0);
    }
    EXPECT_EQ(television.threads().attributesInUse(), 0);
    EXPECT_EQ(withThread(), (std::vector<std::string>{TUNER.name, TUNER_B.name, TUNER_S.name, TUNER_H.name}));
}

TEST_F(TheColourTuner, WritesItsThreeValuesConcurrently) {
    KeyFaults slow;
    slow.answerDelay = 1s;
    model.setFaults(TUNER_B.key, slow);
    std::vector<int> ivec{1, 2, 3, 4};
    EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), 0);
    EXPECT_LT(position(info(SET_FAMILY, CREATE_TEXTS[3])),
              position(info(TUNER_B.worker(), TUNER_B.success())));
}

TEST_F(TheColourTuner, IsNotSetWithTooFewOrTooManyElements) {
    for (const std::size_t size : {0U, 3U, 5U}) {
        std::vector<int> ivec(size, 1);
        log.clear();
        EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), -1);
        EXPECT_EQ(logged(SET_FAMILY), Lines{sizeLine(SET_FAMILY, size)});
        EXPECT_EQ(setting.getVideoColorTunerFamily(ivec), -1);
        EXPECT_EQ(logged(GET_FAMILY), Lines{sizeLine(GET_FAMILY, size)});
        EXPECT_EQ(ivec, std::vector<int>(size, 1));
    }
    EXPECT_TRUE(television.threads().created().empty());
    EXPECT_EQ(pending(), NOTHING_PENDING);
}

TEST_F(TheColourTuner, IsNotSetIfAnElementIsOutOfRange) {
    // The log names the first element that is out of range.
    const std::vector<std::pair<std::vector<int>, std::size_t>> cases{
        {{7, 0, 0, 0}, 0},  {{-1, 51, 51, 51}, 0}, {{0, 51, 51, 51}, 1}, {{0, -51, 0, 0}, 1},
        {{3, 0, 51, 0}, 2}, {{3, 0, -51, 51}, 2},  {{3, 0, 0, 51}, 3},   {{3, 0, 0, -51}, 3},
    };
    for (auto [ivec, first] : cases) {
        log.clear();
        EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), -1);
        Lines expected = elementLines(SET_FAMILY, ivec);
        expected.push_back(error(SET_FAMILY, TUNER_FAMILY[first].invalidText(ivec[first])));
        EXPECT_EQ(logged(SET_FAMILY), expected);
    }
    EXPECT_EQ(pending(), NOTHING_PENDING);
    EXPECT_TRUE(television.threads().created().empty());
    EXPECT_TRUE(written().empty());
}

TEST_F(TheColourTuner, IsSetPartiallyIfAThreadCannotBeCreated) {
    std::vector<int> ivec{1, 2, 3, 4};
    for (std::size_t had = 0; had < 4; ++had) {
        television.threads().reset();
        model.reset();
        setting.initValue();
        log.clear();
        television.threads().fail(1, static_cast<unsigned>(had));
        EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), -1);
        EXPECT_EQ(pendingFamily(), ivec);
        EXPECT_EQ(television.threads().created().size(), had);
        EXPECT_EQ(television.threads().attributesInUse(), 0);
        Lines expected = elementLines(SET_FAMILY, ivec);
        for (std::size_t i = 0; i <= had; ++i) expected.push_back(info(SET_FAMILY, CREATE_TEXTS[i]));
        EXPECT_EQ(logged(SET_FAMILY), expected);
        for (std::size_t i = 0; i < had; ++i) EXPECT_TRUE(log.waitFor(TUNER_FAMILY[i].success()));
        EXPECT_EQ(written(), integers({ivec.begin(), ivec.begin() + static_cast<std::ptrdiff_t>(had)}));
    }
}

TEST_F(TheColourTuner, IsNotSetWithoutAttributesForItsFirstThread) {
    std::vector<int> ivec{1, 2, 3, 4};
    tests::failNextThreadAttributes(ENOMEM);
    EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), -1);
    EXPECT_EQ(pendingFamily(), ivec);
    EXPECT_TRUE(television.threads().created().empty());
    EXPECT_EQ(television.threads().attributesInUse(), 0);
    EXPECT_TRUE(written().empty());
}

TEST_F(TheColourTuner, SetsItsModeWhenTheFamilyIsRead) {
    model.set(TUNER_B.key, -5);
    model.set(TUNER_S.key, -6);
    model.set(TUNER_H.key, -7);
    std::vector<int> ivec{2, 0, 0, 0};
    EXPECT_EQ(setting.getVideoColorTunerFamily(ivec), 0);
    EXPECT_EQ(ivec, (std::vector<int>{2, -5, -6, -7}));
    EXPECT_EQ(written(), integers({2}));
    EXPECT_EQ(logged(GET_FAMILY), elementLines(GET_FAMILY, ivec));
    EXPECT_EQ(entered(GET_FAMILY), 1U);
    EXPECT_EQ(logged(TUNER.setter()), Lines{info(TUNER.setter(), TUNER.valueText(2))});
    EXPECT_EQ(entered(TUNER.getter()), 0U);
}

TEST_F(TheColourTuner, IsReadAsAFamilyEvenIfItsModeIsRefused) {
    model.set(TUNER_B.key, 7);
    model.set(TUNER_S.key, 8);
    model.set(TUNER_H.key, 9);
    std::vector<int> ivec{9, 0, 0, 0};
    EXPECT_EQ(setting.getVideoColorTunerFamily(ivec), 0);
    EXPECT_EQ(ivec, (std::vector<int>{9, 7, 8, 9}));
    EXPECT_EQ(log.count(error(TUNER.setter(), TUNER.invalidText(9))), 1U);
    EXPECT_TRUE(written().empty());
    television.threads().fail(1);
    ivec[0] = 1;
    EXPECT_EQ(setting.getVideoColorTunerFamily(ivec), 0);
}

TEST_F(TheColourTuner, IsReadAsMinusOneIfItCannotBeRead) {
    model.set(TUNER_S.key, 8);
    breakKey(TUNER_B.key);
    breakKey(TUNER_H.key);
    std::vector<int> ivec{0, 1, 1, 1};
    EXPECT_EQ(setting.getVideoColorTunerFamily(ivec), 0);
    EXPECT_EQ(ivec, (std::vector<int>{0, -1, 8, -1}));
    EXPECT_EQ(logged(GET_FAMILY), elementLines(GET_FAMILY, ivec));
}

// The PQ parameters

class ThePQParameters : public TheColourTuner {
  protected:
    const std::string SET = "setVideoPQParameters";
};

TEST_F(ThePQParameters, AreReorderedAndWrittenTogether) {
    std::vector<int> ivec(34);
    std::iota(ivec.begin(), ivec.end(), 0);
    const std::vector<int> input = ivec;
    EXPECT_EQ(setting.setVideoPQParameters(ivec), 0);
    const std::vector<int> order{0,  1,  2,  3,  4, 5, 11, 12, 13, 19, 20, 21, 27, 28,
                                 29, 23, 24, 25, 7, 8, 9,  15, 16, 17, 31, 32, 33};
    std::map<int, int> positions;
    for (std::size_t i = 0; i < order.size(); ++i) positions[static_cast<int>(i)] = order[i];
    EXPECT_EQ(model.writes(PQ_SETTING), std::vector<Written>{positions});
    EXPECT_EQ(ivec, input);
    EXPECT_EQ(logged(SET), elementLines(SET, input));
    for (const LogLine& line : logged(SET)) EXPECT_EQ(line.thread, gettid());
    EXPECT_TRUE(television.threads().created().empty());
}

TEST_F(ThePQParameters, MayHaveAnyValues) {
    for (const int value : {INT_MIN, INT_MAX}) {
        std::vector<int> ivec(34, value);
        EXPECT_EQ(setting.setVideoPQParameters(ivec), 0);
        EXPECT_EQ(model.value(PQ_SETTING), simulated::Value(std::vector<int>(27, value)));
    }
}

TEST_F(ThePQParameters, MustBeThirtyFour) {
    for (const std::size_t size : {0U, 27U, 33U, 35U}) {
        std::vector<int> ivec(size, 1);
        log.clear();
        EXPECT_EQ(setting.setVideoPQParameters(ivec), -1);
        EXPECT_EQ(logged(SET), Lines{sizeLine(SET, size)});
    }
    EXPECT_TRUE(model.writes(PQ_SETTING).empty());
}

TEST_F(ThePQParameters, AreNotLoggedAsAnErrorIfTheyCannotBeWritten) {
    breakKey(PQ_SETTING);
    std::vector<int> ivec(34, 1);
    EXPECT_EQ(setting.setVideoPQParameters(ivec), -1);
    EXPECT_EQ(logged(SET), elementLines(SET, ivec));
}

TEST_F(ThePQParameters, AreNotWrittenWithoutMemory) {
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
    std::vector<int> ivec(34, 1);
    tests::allocationsUntilFailure = 0;
    EXPECT_EQ(setting.setVideoPQParameters(ivec), -1);
    EXPECT_EQ(std::exchange(tests::allocationsUntilFailure, -1), -1);
    EXPECT_TRUE(model.writes(PQ_SETTING).empty());
}

TEST_F(ThePQParameters, HaveNoHandler) {
    model.set(PQ_SETTING, std::vector<int>(27, 1));
    ASSERT_TRUE(model.settle());
    for (const LogLine& line : log.lines()) EXPECT_NE(line.file, "system_setting.cpp") << line;
}

// Concurrency

using ManyThreads = SystemSettingTest;

TEST_F(ManyThreads, MaySetAndReadAllSettingsAtOnce) {
    model.setNotificationDelay(1ms);
    constexpr std::size_t callers = 3;
    const std::vector<Setting> confirmed = those(&Setting::isConfirmed);
    {
        std::vector<std::future<void>> calls;
        for (std::size_t caller = 0; caller < callers; ++caller)
            calls.push_back(std::async(std::launch::async, [&] {
                for (const Setting& each : confirmed) {
                    EXPECT_EQ((setting.*each.set)(each.isStepped() ? 54 : 3), 0);
                    EXPECT_NE((setting.*each.get)(), -1);
                }
            }));
        std::vector<int> ivec{1, 2, 3, 4};
        EXPECT_EQ(setting.setVideoColorTunerFamily(ivec), 0);
    }
    for (const Setting& each : confirmed) {
        EXPECT_TRUE(await(each, each.success(), callers)) << each.name;
        EXPECT_EQ(model.value(each.key), simulated::Value(each.isStepped() ? 54 : 3)) << each.name;
    }
}

}  // namespace
