// Faults of the model's values, notifications and actions.
#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "keys.h"
#include "model_fault_fixture.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "recorders.h"

using namespace lomodelapi;
using namespace tests::keys;
using simulated::KeyFaults;
using simulated::Order;
using testing::ElementsAre;
using tests::Clock;
using tests::DELAY;
using tests::FaultTest;
using tests::Gate;
using tests::Integer;
using tests::Received;
using tests::ValueRecorder;

namespace {

using Lines = std::vector<std::string>;

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

}  // namespace
