// Faults of the model, of the access to it, of the application manager, of threads and of the debug output.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "eventually.h"
#include "keys.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "recorders.h"
#include "television_test.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::KeyFaults;
using simulated::Lifecycle;
using simulated::Order;
using testing::ElementsAre;
using tests::eventually;
using tests::Integer;
using tests::IteratorRecorder;
using tests::Received;
using tests::Service;
using tests::String;
using tests::ValueRecorder;

namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

constexpr auto LIMIT = 30s;
constexpr auto DELAY = 100ms;

class FaultTest : public tests::TelevisionTest {
  protected:
    template <typename T>
    void setFault(const std::string& key, T KeyFaults::*fault, const T& value) {
        model.changeFaults(key, [&](KeyFaults& faults) { faults.*fault = value; });
    }
    void clearFaults(const std::string& key) { model.setFaults(key, KeyFaults()); }

    static int read(Integer& access) {
        int value = -1;
        EXPECT_EQ(access.getValue(value), 0);
        return value;
    }

    // Waits until the brightness worker has succeeded. The worker misses a change that is announced between
    // its write and its wait; therefore the change is announced again.
    void expectWorkerToEnd() {
        const auto end = Clock::now() + LIMIT;
        while (!log.waitFor("set video brightness successed.", 1, 200ms)) {
            ASSERT_LT(Clock::now(), end);
            model.announce(BRIGHTNESS);
        }
    }
};

// Blocks threads until it is opened.
class Gate {
  public:
    ~Gate() { open(); }
    void pass() { m_opened.wait(); }
    void open() {
        if (!std::exchange(m_isOpen, true)) m_promise.set_value();
    }

  private:
    bool m_isOpen = false;
    std::promise<void> m_promise;
    std::shared_future<void> m_opened = m_promise.get_future().share();
};

// Querying the type of an object

class TheTypeQuery : public FaultTest {};

TEST_F(TheTypeQuery, DelaysGetTypeAndEveryRead) {
    Integer access(BRIGHTNESS);
    EXPECT_EQ(access.connect(0), 0);
    setFault<std::chrono::milliseconds>(BRIGHTNESS, &KeyFaults::answerDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(access.getType(), OBJECT_TYPE_NUMERIC_INTEGER);
    EXPECT_EQ(read(access), 50);
    // getType() queries the type; getValue() queries the type and the value.
    EXPECT_GE(Clock::now() - start, 3 * DELAY);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(access.getType(), OBJECT_TYPE_NUMERIC_INTEGER);
}

// Reading

class TheRead : public FaultTest {};

TEST_F(TheRead, ReturnsTheValueAfterADelay) {
    SystemSetting setting;
    setFault<std::chrono::milliseconds>(BRIGHTNESS, &KeyFaults::answerDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(setting.getVideoBrightness(), 50);
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(setting.getVideoBrightness(), 50);
}

TEST_F(TheRead, MayOvertakeTheNotificationOfItsValue) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    model.holdNotifications();
    model.set(BRIGHTNESS, 60);
    EXPECT_EQ(read(access), 60);
    EXPECT_EQ(recorder->received.count(), 0U);
    model.releaseNotifications();
    EXPECT_TRUE(recorder->received.waitFor("60"));
    model.set(BRIGHTNESS, 61);
    EXPECT_TRUE(recorder->received.waitFor("61"));
    EXPECT_EQ(read(access), 61);
}

// Writing

class TheWrite : public FaultTest {};

TEST_F(TheWrite, Returns0EvenIfTheTelevisionRefusesIt) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    setFault(BRIGHTNESS, &KeyFaults::refuseWrites, true);
    EXPECT_EQ(access.setValue(60), 0);
    EXPECT_EQ(read(access), 50);
    EXPECT_TRUE(model.settle());
    EXPECT_EQ(recorder->received.count(), 0U);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(access.setValue(60), 0);
    EXPECT_TRUE(recorder->received.waitFor("60"));
}

TEST_F(TheWrite, TakesEffectAfterADelay) {
    Integer access(BRIGHTNESS);
    ASSERT_EQ(access.connect(0), 0);
    setFault<std::chrono::milliseconds>(BRIGHTNESS, &KeyFaults::answerDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(access.setValue(60), 0);
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(read(access), 60);
    EXPECT_EQ(access.setValue(61), 0);
    EXPECT_EQ(read(access), 61);
}

TEST_F(TheWrite, ChangesNothingOutsideTheRangeOfTheKey) {
    constexpr char key[] = "test.narrow";
    model.define({"", key, OBJECT_TYPE_NUMERIC_INTEGER, 5, catalogue::Range{0, 10}, ""});
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(key, recorder);
    EXPECT_EQ(access.setValue(11), 0);
    EXPECT_EQ(read(access), 5);
    EXPECT_TRUE(model.settle());
    EXPECT_EQ(recorder->received.count(), 0U);
    EXPECT_EQ(access.setValue(10), 0);
    EXPECT_TRUE(recorder->received.waitFor("10"));
}

// Notifications

class TheNotification : public FaultTest {
  protected:
    const std::shared_ptr<ValueRecorder> recorder = std::make_shared<ValueRecorder>();
};

// Blocks in the call with the first value.
class BusyHandler final : public ValueHandler {
  public:
    void onNewValue(const ValueObject& value) override {
        entered.add("entered");
        gate.pass();
        received.add(value.convertToStringType());
    }
    Received entered;
    Received received;
    Gate gate;
};

TEST_F(TheNotification, ThatIsLostDoesNotCallTheHandler) {
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    setFault(BRIGHTNESS, &KeyFaults::dropNotifications, 1U);
    model.set(BRIGHTNESS, 60);
    EXPECT_TRUE(model.settle());
    EXPECT_EQ(recorder->received.count(), 0U);
    EXPECT_EQ(read(access), 60);
    model.set(BRIGHTNESS, 61);
    EXPECT_TRUE(recorder->received.waitFor("61"));
}

TEST_F(TheNotification, ThatIsRepeatedCallsTheHandlerTwice) {
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    setFault(BRIGHTNESS, &KeyFaults::repeatNotifications, 1U);
    model.set(BRIGHTNESS, 60);
    EXPECT_TRUE(recorder->received.waitFor("60", 2));
    clearFaults(BRIGHTNESS);
    model.set(BRIGHTNESS, 61);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->received.all(), ElementsAre("60", "60", "61"));
}

TEST_F(TheNotification, CallsTheHandlerInTheOrderOfArrival) {
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    model.holdNotifications();
    for (const int value : {60, 61, 62}) model.set(BRIGHTNESS, value);
    model.releaseNotifications(Order::REVERSED);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->received.all(), ElementsAre("62", "61", "60"));
    EXPECT_EQ(read(access), 62);
    model.set(BRIGHTNESS, 63);
    EXPECT_TRUE(recorder->received.waitFor("63"));
}

TEST_F(TheNotification, OfAnotherTypeCountsAs0) {
    class LastInt final : public ValueHandler {
      public:
        void onNewValue(const ValueObject& value) override {
            kind = value.type();
            number = static_cast<int>(value);
        }
        int kind = 0;
        int number = -1;
    };
    const auto last = std::make_shared<LastInt>();
    Integer access(BRIGHTNESS, last);
    ASSERT_EQ(access.connect(0), 0);
    access.notifyNewValue(std::string("sixty"));
    EXPECT_EQ(last->kind, ValueObject::TYPE_STRING);
    EXPECT_EQ(last->number, 0);

    SystemInfo info;
    Received sources;
    info.registerCallBackSourceType(
        [](SourceType type, void* received) { static_cast<Received*>(received)->add(std::to_string(type)); },
        &sources);
    info.onSourceTypeChanged(ValueObject(1));
    EXPECT_THAT(sources.all(), ElementsAre("0"));

    access.notifyNewValue(60);
    EXPECT_EQ(last->kind, ValueObject::TYPE_INT);
    EXPECT_EQ(last->number, 60);
    model.set(SOURCE, std::string("HDMI1"));
    EXPECT_TRUE(sources.waitFor(std::to_string(SOURCE_TYPE_HDMI)));
}

TEST_F(TheNotification, ThatArrivesDuringACallbackIsNotLost) {
    constexpr int changes = 300;
    const auto handler = std::make_shared<BusyHandler>();
    Integer access("test.busy", handler);
    model.define({"", "test.busy", OBJECT_TYPE_NUMERIC_INTEGER, 0, {}, ""});
    ASSERT_EQ(access.connect(0), 0);
    Lines expected;
    for (int value = 1; value <= changes; ++value) {
        model.set("test.busy", value);
        expected.push_back(std::to_string(value));
    }
    EXPECT_TRUE(handler->entered.waitFor("entered"));
    handler->gate.open();
    EXPECT_TRUE(handler->received.waitFor(std::to_string(changes)));
    EXPECT_EQ(handler->received.all(), expected);
    model.set("test.busy", -1);
    EXPECT_TRUE(handler->received.waitFor("-1"));
}

TEST_F(TheNotification, WithoutTheEncryptionFlagCallsNoCallback) {
    SystemInfo info;
    Received encrypted;
    info.registerCallBackStreamEncrypted(
        [](StreamMode mode, bool on, void* received) {
            static_cast<Received*>(received)->add(std::to_string(mode) + (on ? " on" : " off"));
        },
        &encrypted);
    info.getTvStreamEncrypted();  // subscribes to the attributes
    model.set(PLAY_ATTRIBUTES, Lines{});
    EXPECT_TRUE(log.waitFor("MODELAPI::SL2_TVAPI_VSTR_TVSERVICE_PLAY_ATTRIBUTES: 8, vec size: 0."));
    EXPECT_EQ(encrypted.count(), 0U);
    model.set(PLAY_ATTRIBUTES, Lines{"0", "1", "2", "3", "4", "5", "6", "7", "1"});
    EXPECT_TRUE(encrypted.waitFor("2 on"));
}

// Actions

class TheAction : public FaultTest {};

TEST_F(TheAction, ReturnsTrueAfterALateAnswer) {
    SourceSwitchAccessImpl access;
    setFault<std::chrono::milliseconds>(SWITCH_ACTION, &KeyFaults::notificationDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_TRUE(access.setChannelNext());
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(SWITCH_ACTION);
    EXPECT_TRUE(access.setChannelPrev());
}

// Tables and iterators

class OnATable : public FaultTest {
  protected:
    // Creates an accessor, waits until its iterator is ready, and discards that notification.
    std::unique_ptr<IteratorAccess> open(const std::vector<int>& columns = {0, 1}) {
        auto iterator = std::make_unique<IteratorAccess>(CHANNELS, recorder, IteratorType{1, 3},
                                                         std::vector<TableSelection>(), columns,
                                                         std::vector<TableOrder>());
        EXPECT_EQ(iterator->create(), 0);
        EXPECT_TRUE(recorder->received.waitForBeginning("ready"));
        recorder->received.forget();
        return iterator;
    }

    const std::shared_ptr<IteratorRecorder> recorder = std::make_shared<IteratorRecorder>();
};

class TheTable : public OnATable {};

TEST_F(TheTable, IsConnectedOnceItIsAvailable) {
    model.withdraw(CHANNELS);
    TableAccess table(CHANNELS);
    auto connecting = std::async(std::launch::async, [&] { return table.connect(60000); });
    EXPECT_TRUE(eventually([&] { return model.connectAttempts(CHANNELS) >= 2; }));
    model.offer(CHANNELS);
    EXPECT_EQ(connecting.get(), 0);
    EXPECT_NE(table.getAccess(), nullptr);
}

TEST_F(TheTable, NotifiesTwiceOfARepeatedUpdate) {
    const auto iterator = open();
    const auto updates = [this] { return log.countEnter("table_access.cpp", "notifyUpdate"); };
    setFault(CHANNELS, &KeyFaults::repeatNotifications, 1U);
    model.setRows(CHANNELS, {{"1", "One"}});
    EXPECT_TRUE(recorder->received.waitFor("update 0", 2));
    EXPECT_EQ(updates(), 2U);
    clearFaults(CHANNELS);
    model.setRows(CHANNELS, {{"1", "One"}, {"2", "Two"}});
    EXPECT_TRUE(recorder->received.waitFor("update 0", 3));
    EXPECT_EQ(updates(), 3U);
}

TEST_F(TheTable, MayHave5000Rows) {
    const auto iterator = open();
    model.setRows(CHANNELS, simulated::Rows(5000, {"1", "One"}));
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->received.waitFor("total 5000"));
    model.setRows(CHANNELS, {{"1", "One"}});
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->received.waitFor("total 1"));
}

TEST_F(TheTable, FillsMissingColumnsWithEmptyTexts) {
    const auto iterator = open();
    model.setRows(CHANNELS, {{"1"}, {"2", "Two"}});
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 1,"));
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 2,Two"));
}

class TheIterator : public OnATable {};

TEST_F(TheIterator, AnswersAfterTheRequestHasReturned) {
    const auto iterator = open();
    setFault<std::chrono::milliseconds>(CHANNELS, &KeyFaults::notificationDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->received.waitFor("total 5"));
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(CHANNELS);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 1,First"));
}

TEST_F(TheIterator, AnswersTheRequestAfterALostOne) {
    const auto iterator = open();
    setFault(CHANNELS, &KeyFaults::dropNotifications, 1U);
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 1,First"));
    EXPECT_EQ(recorder->received.count(), 1U);
}

TEST_F(TheIterator, PassesARepeatedAnswerTwice) {
    const auto iterator = open();
    setFault(CHANNELS, &KeyFaults::repeatNotifications, 1U);
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->received.waitFor("total 5", 2));
    clearFaults(CHANNELS);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->received.all(), ElementsAre("total 5", "total 5", "row 1,First"));
}

TEST_F(TheIterator, PassesAnswersInTheOrderOfArrival) {
    const auto iterator = open();
    model.holdNotifications();
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_EQ(iterator->getIterator()->seekToRow(1), 0);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    model.releaseNotifications(Order::REVERSED);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->received.all(), ElementsAre("row 2,Night", "seek 1", "total 5"));
    EXPECT_EQ(iterator->getIterator()->requestCursorPosition(), 0);
    EXPECT_TRUE(recorder->received.waitFor("cursor 2"));
}

TEST_F(TheIterator, ReadsMissingColumnsAsEmptyTexts) {
    {
        const auto iterator = open({0, 99, -1});
        EXPECT_EQ(iterator->getIterator()->readRow(), 0);
        EXPECT_TRUE(recorder->received.waitFor("row 1,,"));
        EXPECT_EQ(iterator->getIterator()->seekToRow(99), 0);
        EXPECT_TRUE(recorder->received.waitFor("seek -1"));
    }
    recorder->received.forget();
    const auto iterator = open();
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 1,First"));
}

// The application manager

class TheApplicationManager : public FaultTest {
  protected:
    simulated::ApplicationManager& manager = television.applications();
};

TEST_F(TheApplicationManager, NotifiesAfterTheCallbackOfAnotherService) {
    struct Slow {
        Gate gate;
        Received received;
        SystemState state{"a slow one"};
    } slow;
    slow.state.registerCallBackTVPowerState(
        [](TVPowerState, void* self) {
            static_cast<Slow*>(self)->received.add("entered");
            static_cast<Slow*>(self)->gate.pass();
        },
        &slow);
    Service service("behind it");
    manager.notify(Lifecycle::SUSPEND, "url");
    EXPECT_TRUE(slow.received.waitFor("entered"));
    EXPECT_EQ(service.received.count(), 0U);
    slow.gate.open();
    EXPECT_TRUE(service.received.waitFor("2"));
    manager.notify(Lifecycle::RESUME, "url");
    EXPECT_TRUE(service.received.waitFor("4"));
}

TEST_F(TheApplicationManager, PassesARepeatedNotificationTwice) {
    Service service("twice");
    for (int i = 0; i < 2; ++i) manager.notify(Lifecycle::STR_SUSPEND, "url");
    EXPECT_TRUE(service.received.waitFor("7", 2));
    EXPECT_TRUE(manager.settle());
    EXPECT_EQ(manager.reports().size(), 4U);
    manager.notify(Lifecycle::STR_RESUME, "url");
    EXPECT_TRUE(service.received.waitFor("8"));
}

TEST_F(TheApplicationManager, PassesNotificationsInTheOrderOfArrival) {
    Service service("backwards");
    manager.notify(Lifecycle::RESUME, "url");
    manager.notify(Lifecycle::SUSPEND, "url");
    EXPECT_TRUE(manager.settle());
    EXPECT_THAT(service.received.all(), ElementsAre("4", "2"));
    manager.notify(Lifecycle::RESUME, "url");
    EXPECT_TRUE(service.received.waitFor("4", 2));
}

// Thread creation

class TheThreadCreation : public FaultTest {};

TEST_F(TheThreadCreation, ThatFailsMakesASetReturnMinusOne) {
    SystemSetting setting;
    television.threads().fail(1);
    EXPECT_EQ(setting.setVideoBrightness(60), -1);
    EXPECT_TRUE(model.writes(BRIGHTNESS).empty());
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    expectWorkerToEnd();
    EXPECT_EQ(setting.getVideoBrightness(), 60);
}

TEST_F(TheThreadCreation, ThatFailsForATunerValueKeepsTheEarlierOnes) {
    SystemSetting setting;
    std::vector<int> values{1, 10, 20, 30};
    television.threads().fail(1, 2);
    EXPECT_EQ(setting.setVideoColorTunerFamily(values), -1);
    EXPECT_EQ(setting.getVideoColorTuner(), 1);
    EXPECT_TRUE(eventually([&] { return setting.getVideoColorTunerB() == 10; }));
    EXPECT_EQ(setting.getVideoColorTunerS(), 0);
    EXPECT_EQ(setting.getVideoColorTunerH(), 0);
    EXPECT_TRUE(log.waitFor("set video color tuner brightness successed."));  // the worker has ended
    EXPECT_EQ(setting.setVideoColorTunerFamily(values), 0);
    EXPECT_EQ(setting.getVideoColorTunerS(), 20);
    EXPECT_EQ(setting.getVideoColorTunerH(), 30);
}

// Debug output

class TheDebugOutput : public FaultTest {};

TEST_F(TheDebugOutput, PrintsNothingIfNoLevelIsOn) {
    using Verbosity = simulated::DebugOutput::Verbosity;
    model.withdraw(BRIGHTNESS);
    television.debugOutput().setVerbosity(Verbosity::ERROR);
    EXPECT_EQ(SystemSetting().setVideoBrightness(-1), -1);
    const std::size_t before = log.lines().size();
    EXPECT_GT(before, 0U);
    television.debugOutput().setVerbosity(Verbosity::OFF);
    const int mismatch = String(BRIGHTNESS).connect(0);
    EXPECT_EQ(mismatch, 5);
    television.debugOutput().setVerbosity(Verbosity::TRACE);
    EXPECT_EQ(String(BRIGHTNESS).connect(0), 5);
    EXPECT_TRUE(log.waitFor("Failed 7", 1, 0s));
}

TEST_F(TheDebugOutput, DelaysTheThreadThatLogs) {
    Gate gate;
    Received entered;
    television.debugOutput().setSink([&](unsigned, const std::string& line) {
        if (line.find("Failed 9") == std::string::npos) return;
        entered.add("entered");
        gate.pass();
    });
    setFault(BRIGHTNESS, &KeyFaults::connectStatus, 9);
    auto connecting = std::async(std::launch::async, [] { return Integer(BRIGHTNESS).connect(0); });
    EXPECT_TRUE(entered.waitFor("entered"));
    EXPECT_EQ(connecting.wait_for(0s), std::future_status::timeout);
    gate.open();
    EXPECT_EQ(connecting.get(), 5);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(Integer(BRIGHTNESS).connect(0), 0);
}

TEST_F(TheDebugOutput, DoesNotAffectResultsIfItCannotBeWritten) {
    television.debugOutput().setSink(nullptr);  // without a sink, it prints to stderr
    model.withdraw(BRIGHTNESS);
    const int saved = dup(STDERR_FILENO);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_NE(full, -1);
    dup2(full, STDERR_FILENO);
    close(full);
    const int status = Integer(BRIGHTNESS).connect(0);
    int pipeEnds[2];
    const int piped = pipe(pipeEnds);
    dup2(piped == 0 ? pipeEnds[1] : saved, STDERR_FILENO);
    const int statusAfter = Integer(BRIGHTNESS).connect(0);
    dup2(saved, STDERR_FILENO);
    close(saved);
    ASSERT_EQ(piped, 0);
    close(pipeEnds[1]);
    EXPECT_EQ(status, 5);
    EXPECT_EQ(statusAfter, 5);
    char text[4096];
    const ssize_t length = ::read(pipeEnds[0], text, sizeof text);
    close(pipeEnds[0]);
    ASSERT_GT(length, 0);
    EXPECT_THAT(std::string(text, static_cast<std::size_t>(length)), testing::HasSubstr("Failed 7\n"));
}

}  // namespace
