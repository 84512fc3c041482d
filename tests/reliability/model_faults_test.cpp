// Faults of the model and of what leads to it, of the application manager, of threads and of the debug
// output.
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
#include "fault_table.h"
#include "keys.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "recorders.h"
#include "television_test.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::Answer;
using simulated::KeyFaults;
using simulated::Lifecycle;
using simulated::Order;
using testing::ElementsAre;
using tests::ActionRecorder;
using tests::eventually;
using tests::Heard;
using tests::Int64;
using tests::Integer;
using tests::IteratorRecorder;
using tests::Service;
using tests::String;
using tests::ValueRecorder;

namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

constexpr auto LIMIT = 30s;
constexpr auto DELAY = 100ms;
constexpr int PATIENCE_MS = 60000;

class FaultTest : public tests::TelevisionTest {
  protected:
    std::size_t logged(const std::string& message) const { return log.withMessage(message + "\n").size(); }

    template <typename T>
    void setFault(const std::string& key, T KeyFaults::*fault, const T& value) {
        model.changeFaults(key, [&](KeyFaults& faults) { faults.*fault = value; });
    }
    void clearFaults(const std::string& key) { model.setFaults(key, KeyFaults()); }

    void defineAs(const std::string& key, ObjectTypeSpec type, const simulated::Value& value = {}) {
        model.define({"", key, type, value, {}, ""});
    }

    static int read(Integer& access) {
        int value = -1;
        EXPECT_EQ(access.getValue(value), 0);
        return value;
    }

    // The worker of the brightness has done its work. A change that is announced just between its write and
    // its wait wakes it with the next announcement only.
    void expectWorkerToEnd() {
        const auto end = Clock::now() + LIMIT;
        while (!log.waitFor("set video brightness successed.", 1, 200ms)) {
            ASSERT_LT(Clock::now(), end);
            model.announce(BRIGHTNESS);
        }
    }
};

// Lets nobody pass until it is opened.
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

// The process framework

class TheProcessFramework : public FaultTest {};

FAULT(TheProcessFramework, Refuses,
      "`getRootInterface()` is null; error line `get interface Reference failed.`") {
    television.framework().failLookups(1);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    EXPECT_EQ(logged("get interface Reference failed.\n"), 1U);
    television.framework().failLookups(0);
    EXPECT_NE(ValueAccessBase::getRootInterface(), nullptr);
    EXPECT_EQ(Integer(BRIGHTNESS).connect(0), 0);
}

FAULT(TheProcessFramework, NeverAnswers,
      "it knows the interface but never gives its root: `getRootInterface()` is null, without a line") {
    television.framework().withholdRoot(true);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    EXPECT_TRUE(log.lines().empty());
    television.framework().withholdRoot(false);
    EXPECT_EQ(Integer(BRIGHTNESS).connect(0), 0);
}

NO_FAULT(TheProcessFramework, IsLate,
         "A look-up is a call in the client's own process, which lasts as long as it takes; nothing waits "
         "for it with a limit.");
NO_FAULT(TheProcessFramework, AnswersTwice, "A look-up answers by returning.");
NO_FAULT(TheProcessFramework, IsOutOfOrder,
         "Every use of the model looks it up anew; no look-up depends on another.");
NO_FAULT(TheProcessFramework, IsOfAnotherType,
         "The interface is asked for by its one name, and its type is the platform's header's.");
NO_FAULT(TheProcessFramework, IsFull, "A look-up takes nothing that could run out.");
NO_FAULT(TheProcessFramework, HasAnotherGeometry, "A root has neither size nor form.");
NO_FAULT(TheProcessFramework, HasOtherRights, "A process without rights is refused.");

// Subscribing

class TheSubscription : public FaultTest {};

FAULT(TheSubscription, Refuses,
      "`connect()` gives 5 after its attempts; error line `Failed 9` with the model's status") {
    setFault(BRIGHTNESS, &KeyFaults::connectStatus, 9);
    Integer access(BRIGHTNESS);
    EXPECT_EQ(access.connect(200), 5);
    EXPECT_EQ(model.connectAttempts(BRIGHTNESS), 2U);
    EXPECT_EQ(logged("Failed 9"), 1U);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_EQ(read(access), 50);
}

FAULT(TheSubscription, IsLate,
      "`connect()` goes on every 100 ms within its time-out, and gives 0 once the key is offered") {
    model.withdraw(BRIGHTNESS);
    Integer access(BRIGHTNESS);
    auto connecting = std::async(std::launch::async, [&] { return access.connect(PATIENCE_MS); });
    EXPECT_TRUE(eventually([&] { return model.connectAttempts(BRIGHTNESS) >= 2; }));
    model.offer(BRIGHTNESS);
    EXPECT_EQ(connecting.get(), 0);
    EXPECT_EQ(read(access), 50);
}

FAULT(TheSubscription, NeverAnswers,
      "it succeeds but never yields an object: `connect()` gives 5; error line `Failed 0`") {
    setFault(BRIGHTNESS, &KeyFaults::connectYieldsNothing, true);
    Integer access(BRIGHTNESS);
    EXPECT_EQ(access.connect(0), 5);
    EXPECT_EQ(logged("Failed 0"), 1U);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_EQ(read(access), 50);
}

FAULT(TheSubscription, IsOfAnotherType,
      "`connect()` gives 6 and has unsubscribed again; error line `Observer Type not match for …`") {
    constexpr char key[] = "test.subscription";
    defineAs(key, OBJECT_TYPE_NUMERIC_INT64, 5LL);
    Integer access(key);
    EXPECT_EQ(access.connect(0), 6);
    EXPECT_EQ(logged("Observer Type not match for test.subscription,( 8 ) vs ObserverNumericInteger."), 1U);
    EXPECT_EQ(model.subscribers(key), 0U);
    defineAs(key, OBJECT_TYPE_NUMERIC_INTEGER, 5);
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_EQ(read(access), 5);
}

NO_FAULT(TheSubscription, AnswersTwice,
         "It answers by returning; a connected accessor subscribes no second time.");
NO_FAULT(TheSubscription, IsOutOfOrder,
         "No subscription depends on another; one that answers a later attempt is late.");
NO_FAULT(TheSubscription, IsFull, "A model that takes no more clients refuses.");
NO_FAULT(TheSubscription, HasAnotherGeometry, "A subscription has neither size nor form.");
NO_FAULT(TheSubscription, HasOtherRights, "A model that denies a client a key refuses.");

// Asking an object for its type

class TheTypeQuery : public FaultTest {};

FAULT(TheTypeQuery, Refuses,
      "an object that tells no type (0) counts as one of another type: `connect()` gives 6") {
    constexpr char key[] = "test.typeless";
    defineAs(key, OBJECT_TYPE_NONE);
    Integer access(key);
    EXPECT_EQ(access.connect(0), 6);
    EXPECT_EQ(logged("Observer Type not match for test.typeless,( 0 ) vs ObserverNumericInteger."), 1U);
    defineAs(key, OBJECT_TYPE_NUMERIC_INTEGER, 3);
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_EQ(read(access), 3);
}

FAULT(TheTypeQuery, IsLate, "`connect()` and every read last as much longer, and succeed") {
    Integer access(BRIGHTNESS);
    EXPECT_EQ(access.connect(0), 0);
    setFault<std::chrono::milliseconds>(BRIGHTNESS, &KeyFaults::answerDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(access.getType(), OBJECT_TYPE_NUMERIC_INTEGER);
    EXPECT_EQ(read(access), 50);
    EXPECT_GE(Clock::now() - start, 3 * DELAY);  // the type, and the type and the value
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(access.getType(), OBJECT_TYPE_NUMERIC_INTEGER);
}

FAULT(TheTypeQuery, IsOfAnotherType,
      "a key that changes its type under a connected accessor: reads give 6, the output is as it was; error "
      "line `Object Type mismatch:  …`") {
    constexpr char key[] = "test.changing";
    defineAs(key, OBJECT_TYPE_NUMERIC_INTEGER, 1);
    Integer access(key);
    ASSERT_EQ(access.connect(0), 0);
    defineAs(key, OBJECT_TYPE_STRING, std::string("one"));
    int value = -7;
    EXPECT_EQ(access.getValue(value), 6);
    EXPECT_EQ(value, -7);
    EXPECT_EQ(logged("Object Type mismatch:  OBJECT_TYPE_STRING"), 1U);
    defineAs(key, OBJECT_TYPE_NUMERIC_INTEGER, 2);
    EXPECT_EQ(read(access), 2);
}

NO_FAULT(TheTypeQuery, NeverAnswers,
         "The contract has no limit for an answer of the model: the caller waits with it.");
NO_FAULT(TheTypeQuery, AnswersTwice, "It answers by returning.");
NO_FAULT(TheTypeQuery, IsOutOfOrder, "Each operation asks for itself, before it goes on.");
NO_FAULT(TheTypeQuery, IsFull, "A question takes nothing that could run out.");
NO_FAULT(TheTypeQuery, HasAnotherGeometry, "A number that is no known type is another type.");
NO_FAULT(TheTypeQuery, HasOtherRights, "Rights are a matter of subscribing.");

// Reading

class TheRead : public FaultTest {};

FAULT(TheRead, Refuses,
      "`getValue()` gives the model's status, the output is as it was; `getVideoInfoHDRType()` is unknown, "
      "with the error line `get videoInfoHDRType failed.`") {
    SystemInfo info;
    String access(HDR_TYPE);
    setFault(HDR_TYPE, &KeyFaults::readStatus, 9);
    std::string text = "as it was";
    EXPECT_EQ(access.getValue(text), 9);
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(info.getVideoInfoHDRType(), VIDEO_INFO_HDR_TYPE_UNKNOWN);
    EXPECT_EQ(logged("get videoInfoHDRType failed."), 1U);
    clearFaults(HDR_TYPE);
    EXPECT_EQ(access.getValue(text), 0);
    EXPECT_EQ(info.getVideoInfoHDRType(), VIDEO_INFO_HDR_TYPE_SDR);
}

FAULT(TheRead, IsLate, "the read lasts as much longer, and gives the value") {
    SystemSetting setting;
    setFault<std::chrono::milliseconds>(BRIGHTNESS, &KeyFaults::answerDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(setting.getVideoBrightness(), 50);
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(setting.getVideoBrightness(), 50);
}

FAULT(
    TheRead, IsOutOfOrder,
    "a read overtakes the announcement of what it reads: it gives the new value, the announcement follows") {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    model.holdNotifications();
    model.set(BRIGHTNESS, 60);
    EXPECT_EQ(read(access), 60);
    EXPECT_EQ(recorder->heard.count(), 0U);
    model.releaseNotifications();
    EXPECT_TRUE(recorder->heard.waitFor("60"));
    model.set(BRIGHTNESS, 61);
    EXPECT_TRUE(recorder->heard.waitFor("61"));
    EXPECT_EQ(read(access), 61);
}

FAULT(TheRead, IsOfAnotherType,
      "a read of another width or type gives 6, the output is as it was; error line `Object Type mismatch:  "
      "…`") {
    constexpr char key[] = "test.wide.read";
    defineAs(key, OBJECT_TYPE_NUMERIC_INT64, 5LL);
    Int64 access(key);
    int narrow = -7;
    EXPECT_EQ(access.getValue(narrow), 6);
    EXPECT_EQ(narrow, -7);
    EXPECT_EQ(logged("Object Type mismatch:  OBJECT_TYPE_NUMERIC_INT64"), 1U);
    long long wide = 0;
    EXPECT_EQ(access.getValue(wide), 0);
    EXPECT_EQ(wide, 5);
}

FAULT(TheRead, HasAnotherGeometry,
      "too few play attributes: `getTvStreamEncrypted()` is false; error line with the number wanted and the "
      "number there") {
    SystemInfo info;
    model.set(PLAY_ATTRIBUTES, Lines{"play", "tv", "1"});
    EXPECT_FALSE(info.getTvStreamEncrypted());
    EXPECT_EQ(logged("MODELAPI::SL2_TVAPI_VSTR_TVSERVICE_PLAY_ATTRIBUTES: 8, vec size: 3."), 1U);
    model.set(PLAY_ATTRIBUTES, Lines{"0", "1", "2", "3", "4", "5", "6", "7", "1", "9"});
    EXPECT_TRUE(info.getTvStreamEncrypted());
}

NO_FAULT(TheRead, NeverAnswers,
         "The contract has no limit for an answer of the model: the caller waits with it.");
NO_FAULT(TheRead, AnswersTwice, "A read answers by returning.");
NO_FAULT(TheRead, IsFull, "The contract sets a value no limit of size.");
NO_FAULT(TheRead, HasOtherRights, "A model that denies a client a value refuses.");

// Writing

class TheWrite : public FaultTest {};

FAULT(TheWrite, Refuses,
      "`setValue()` gives 0 all the same: what becomes of a write shows in announcements only, and none "
      "comes") {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    setFault(BRIGHTNESS, &KeyFaults::refuseWrites, true);
    EXPECT_EQ(access.setValue(60), 0);
    EXPECT_EQ(read(access), 50);
    EXPECT_TRUE(model.settle());
    EXPECT_EQ(recorder->heard.count(), 0U);
    clearFaults(BRIGHTNESS);
    EXPECT_EQ(access.setValue(60), 0);
    EXPECT_TRUE(recorder->heard.waitFor("60"));
}

FAULT(TheWrite, IsLate, "the write lasts as much longer, and arrives") {
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

FAULT(TheWrite, NeverAnswers,
      "the old value is announced instead of the new one: the worker of a setting writes again and again, "
      "until the television takes it") {
    SystemSetting setting;
    setFault(BRIGHTNESS, &KeyFaults::keepValue, true);
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    EXPECT_TRUE(eventually([&] {
        // In case that it missed an announcement.
        if (!log.waitFor("get video brightness: 50.", 3, 200ms)) model.announce(BRIGHTNESS);
        return model.writes(BRIGHTNESS).size() >= 3;
    }));
    clearFaults(BRIGHTNESS);
    expectWorkerToEnd();
    EXPECT_EQ(setting.getVideoBrightness(), 60);
}

FAULT(TheWrite, AnswersTwice,
      "each write is announced twice: the worker of a setting is woken too early by the second, reads, goes "
      "on and arrives") {
    SystemSetting setting;
    setFault(BRIGHTNESS, &KeyFaults::repeatNotifications, 1U);
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    expectWorkerToEnd();
    EXPECT_EQ(setting.getVideoBrightness(), 60);
    clearFaults(BRIGHTNESS);
    log.clear();
    EXPECT_EQ(setting.setVideoBrightness(56), 0);
    expectWorkerToEnd();
    EXPECT_EQ(setting.getVideoBrightness(), 56);
}

FAULT(TheWrite, IsOfAnotherType,
      "`setValue()` of a number to a text gives 6, nothing is written; error line "
      "`STATUS_ERR_VALUE_TYPE_MISMATCH`") {
    String access(SOURCE);
    EXPECT_EQ(access.setValue(5), 6);
    EXPECT_EQ(logged("STATUS_ERR_VALUE_TYPE_MISMATCH"), 1U);
    EXPECT_TRUE(model.writes(SOURCE).empty());
    EXPECT_EQ(access.setValue(std::string("HDMI1")), 0);
    EXPECT_EQ(std::get<std::string>(model.value(SOURCE)), "HDMI1");
}

FAULT(TheWrite, IsFull,
      "a number beyond the 32 bits of its key gives 6, nothing is written; error line `Value is too large "
      "for int32 value: …`") {
    Integer access(BRIGHTNESS);
    EXPECT_EQ(access.setValue(5'000'000'000LL), 6);
    EXPECT_EQ(logged("Value is too large for int32 value:  [5000000000] "), 1U);
    EXPECT_TRUE(model.writes(BRIGHTNESS).empty());
    EXPECT_EQ(access.setValue(51LL), 0);
    EXPECT_EQ(read(access), 51);
}

FAULT(TheWrite, HasAnotherGeometry,
      "a key with a smaller range than the client knows: `setValue()` gives 0, the value stays, nothing is "
      "announced") {
    constexpr char key[] = "test.narrow";
    model.define({"", key, OBJECT_TYPE_NUMERIC_INTEGER, 5, std::pair(0LL, 10LL), ""});
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(key, recorder);
    EXPECT_EQ(access.setValue(11), 0);
    EXPECT_EQ(read(access), 5);
    EXPECT_TRUE(model.settle());
    EXPECT_EQ(recorder->heard.count(), 0U);
    EXPECT_EQ(access.setValue(10), 0);
    EXPECT_TRUE(recorder->heard.waitFor("10"));
}

NO_FAULT(TheWrite, IsOutOfOrder,
         "A write has arrived when it returns: two of one thread cannot change places.");
NO_FAULT(TheWrite, HasOtherRights, "A model that denies a client a write refuses it.");

// Notifications

class TheNotification : public FaultTest {
  protected:
    const std::shared_ptr<ValueRecorder> recorder = std::make_shared<ValueRecorder>();
};

// Takes its time with the first value.
class BusyHandler final : public ValueHandler {
  public:
    void onNewValue(const ValueObject& value) override {
        entered.add("entered");
        gate.pass();
        heard.add(value.convertToStringType());
    }
    Heard entered;
    Heard heard;
    Gate gate;
};

FAULT(TheNotification, IsLate,
      "a read gives the new value before; the callback comes when the announcement does; a setting's worker "
      "waits for it") {
    SystemSetting setting;
    setFault<std::chrono::milliseconds>(BRIGHTNESS, &KeyFaults::notificationDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(setting.setVideoBrightness(52), 0);
    expectWorkerToEnd();
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(BRIGHTNESS);
    log.clear();
    EXPECT_EQ(setting.setVideoBrightness(54), 0);
    expectWorkerToEnd();
    EXPECT_EQ(setting.getVideoBrightness(), 54);
}

FAULT(TheNotification, NeverAnswers,
      "the callback is not called; a read gives the new value; the next change is told") {
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    setFault(BRIGHTNESS, &KeyFaults::dropNotifications, 1U);
    model.set(BRIGHTNESS, 60);
    EXPECT_TRUE(model.settle());
    EXPECT_EQ(recorder->heard.count(), 0U);
    EXPECT_EQ(read(access), 60);
    model.set(BRIGHTNESS, 61);
    EXPECT_TRUE(recorder->heard.waitFor("61"));
}

FAULT(TheNotification, AnswersTwice, "the callback is called twice with the same value") {
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    setFault(BRIGHTNESS, &KeyFaults::repeatNotifications, 1U);
    model.set(BRIGHTNESS, 60);
    EXPECT_TRUE(recorder->heard.waitFor("60", 2));
    clearFaults(BRIGHTNESS);
    model.set(BRIGHTNESS, 61);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->heard.all(), ElementsAre("60", "60", "61"));
}

FAULT(TheNotification, IsOutOfOrder,
      "the callback is called as they come, an old value last; a read gives the value that holds") {
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(0), 0);
    model.holdNotifications();
    for (const int value : {60, 61, 62}) model.set(BRIGHTNESS, value);
    model.releaseNotifications(Order::REVERSED);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->heard.all(), ElementsAre("62", "61", "60"));
    EXPECT_EQ(read(access), 62);
    model.set(BRIGHTNESS, 63);
    EXPECT_TRUE(recorder->heard.waitFor("63"));
}

FAULT(TheNotification, IsOfAnotherType,
      "a text for a number reaches the handler as a text, and counts as 0; `SystemInfo` takes no number for "
      "a source") {
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
    Heard sources;
    info.registerCallBackSourceType(
        [](SourceType type, void* heard) { static_cast<Heard*>(heard)->add(std::to_string(type)); },
        &sources);
    info.onSourceTypeChanged(ValueObject(1));
    EXPECT_THAT(sources.all(), ElementsAre("0"));

    access.notifyNewValue(60);
    EXPECT_EQ(last->kind, ValueObject::TYPE_INT);
    EXPECT_EQ(last->number, 60);
    model.set(SOURCE, std::string("HDMI1"));
    EXPECT_TRUE(sources.waitFor(std::to_string(SOURCE_TYPE_HDMI)));
}

FAULT(TheNotification, IsFull,
      "changes that come while a callback runs wait behind it: none is lost, their order stays") {
    constexpr int changes = 300;
    const auto handler = std::make_shared<BusyHandler>();
    Integer access("test.busy", handler);
    defineAs("test.busy", OBJECT_TYPE_NUMERIC_INTEGER, 0);
    ASSERT_EQ(access.connect(0), 0);
    Lines expected;
    for (int value = 1; value <= changes; ++value) {
        model.set("test.busy", value);
        expected.push_back(std::to_string(value));
    }
    EXPECT_TRUE(handler->entered.waitFor("entered"));
    handler->gate.open();
    EXPECT_TRUE(handler->heard.waitFor(std::to_string(changes)));
    EXPECT_EQ(handler->heard.all(), expected);
    model.set("test.busy", -1);
    EXPECT_TRUE(handler->heard.waitFor("-1"));
}

FAULT(TheNotification, HasAnotherGeometry,
      "play attributes without the one of encryption: no callback; error line with the number wanted and the "
      "number there") {
    SystemInfo info;
    Heard encrypted;
    info.registerCallBackStreamEncrypted(
        [](StreamMode mode, bool on, void* heard) {
            static_cast<Heard*>(heard)->add(std::to_string(mode) + (on ? " on" : " off"));
        },
        &encrypted);
    info.getTvStreamEncrypted();  // follows the attributes from now on
    model.set(PLAY_ATTRIBUTES, Lines{});
    EXPECT_TRUE(log.waitFor("MODELAPI::SL2_TVAPI_VSTR_TVSERVICE_PLAY_ATTRIBUTES: 8, vec size: 0."));
    EXPECT_EQ(encrypted.count(), 0U);
    model.set(PLAY_ATTRIBUTES, Lines{"0", "1", "2", "3", "4", "5", "6", "7", "1"});
    EXPECT_TRUE(encrypted.waitFor("2 on"));
}

NO_FAULT(TheNotification, Refuses,
         "Nobody asks for a notification: there is nothing to refuse but the subscription.");
NO_FAULT(TheNotification, HasOtherRights, "Rights are a matter of subscribing.");

// Actions

class TheAction : public FaultTest {
  protected:
    std::future<bool> begin(bool (SourceSwitchAccessImpl::*request)()) {
        return std::async(std::launch::async, [this, request] { return (access.*request)(); });
    }

    unsigned idOf(const std::string& direction) const {
        for (const simulated::Invocation& invocation : model.invocations(SWITCH_ACTION))
            if (invocation.arguments.at(3).value == direction) return invocation.id;
        ADD_FAILURE() << "no such request";
        return 0;
    }

    SourceSwitchAccessImpl access;
};

FAULT(TheAction, Refuses, "the request returns false; error line `error: 9` with the model's status") {
    setFault(SWITCH_ACTION, &KeyFaults::invokeStatus, 9);
    EXPECT_FALSE(access.setChannelNext());
    EXPECT_EQ(logged("error: 9"), 1U);
    clearFaults(SWITCH_ACTION);
    EXPECT_TRUE(access.setChannelNext());
}

FAULT(TheAction, IsLate, "the request returns true when the answer comes") {
    setFault<std::chrono::milliseconds>(SWITCH_ACTION, &KeyFaults::notificationDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_TRUE(access.setChannelNext());
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(SWITCH_ACTION);
    EXPECT_TRUE(access.setChannelPrev());
}

FAULT(TheAction, NeverAnswers,
      "the caller waits, without a limit; requests of other threads are answered meanwhile") {
    setFault(SWITCH_ACTION, &KeyFaults::neverAnswer, true);
    std::future<bool> unanswered = begin(&SourceSwitchAccessImpl::setChannelNext);
    EXPECT_TRUE(log.waitFor("waiting result ...  001"));
    clearFaults(SWITCH_ACTION);
    EXPECT_TRUE(access.setChannelPrev());
    EXPECT_EQ(unanswered.wait_for(0s), std::future_status::timeout);
    model.answer(SWITCH_ACTION, idOf("+1"), {});
    EXPECT_TRUE(unanswered.get());
}

FAULT(TheAction, AnswersTwice, "the request takes the first answer; the second disturbs nobody") {
    setFault(SWITCH_ACTION, &KeyFaults::repeatAnswers, 1U);
    EXPECT_TRUE(access.setChannelNext());
    EXPECT_TRUE(model.settle());
    EXPECT_EQ(log.withMessage("waiting done. " + std::to_string(idOf("+1")) + "  : err : 0\n").size(), 1U);
    clearFaults(SWITCH_ACTION);
    EXPECT_TRUE(access.setChannelPrev());
}

FAULT(TheAction, IsOutOfOrder,
      "answers in another order than the requests: each request gets its own; one that comes before the "
      "request waits is found") {
    setFault(SWITCH_ACTION, &KeyFaults::neverAnswer, true);
    std::future<bool> next = begin(&SourceSwitchAccessImpl::setChannelNext);
    EXPECT_TRUE(log.waitFor("waiting result ...  001"));
    std::future<bool> previous = begin(&SourceSwitchAccessImpl::setChannelPrev);
    EXPECT_TRUE(log.waitFor("waiting result ...  001", 2));
    model.answer(SWITCH_ACTION, idOf("-1"), {44, {}});
    EXPECT_FALSE(previous.get());
    model.answer(SWITCH_ACTION, idOf("+1"), {});
    EXPECT_TRUE(next.get());
    clearFaults(SWITCH_ACTION);
    setFault(SWITCH_ACTION, &KeyFaults::answerBeforeReturning, true);
    EXPECT_TRUE(access.setChannelNext());
    clearFaults(SWITCH_ACTION);
    EXPECT_TRUE(access.setChannelPrev());
}

FAULT(TheAction, IsOfAnotherType,
      "`connect()` gives 6 and has unsubscribed again; error line `Observer Type not match for …`; "
      "`invoke()` gives -1") {
    constexpr char key[] = "test.action.type";
    defineAs(key, OBJECT_TYPE_NUMERIC_INTEGER, 1);
    ActionAccess action(key);
    EXPECT_EQ(action.connect(0), 6);
    EXPECT_EQ(logged("Observer Type not match for test.action.type,( 1 ) vs ObserverAction "), 1U);
    EXPECT_EQ(model.subscribers(key), 0U);
    unsigned id = 77;
    EXPECT_EQ(action.invoke(id, {}), -1);
    EXPECT_EQ(id, 77U);
    defineAs(key, OBJECT_TYPE_ACTION);
    EXPECT_EQ(action.connect(0), 0);
    EXPECT_EQ(action.invoke(id, {}), 0);
}

FAULT(TheAction, IsFull,
      "as many requests at once as there are threads wait side by side; all are answered") {
    constexpr std::size_t callers = 12;
    ASSERT_TRUE(access.setChannelNext());
    log.clear();
    model.holdNotifications();
    std::vector<std::future<bool>> requests;
    for (std::size_t i = 0; i < callers; ++i)
        requests.push_back(begin(&SourceSwitchAccessImpl::setChannelNext));
    EXPECT_TRUE(log.waitFor("waiting result ...  001", callers));
    model.releaseNotifications();
    for (auto& request : requests) EXPECT_TRUE(request.get());
    EXPECT_TRUE(access.setChannelPrev());
}

FAULT(TheAction, HasAnotherGeometry,
      "a result with a place twice, one missing and one beyond it: the missing one is empty, the one beyond "
      "is lost") {
    constexpr char key[] = "test.action.result";
    defineAs(key, OBJECT_TYPE_ACTION);
    const auto recorder = std::make_shared<ActionRecorder>();
    ActionAccess action(key, recorder);
    ASSERT_EQ(action.connect(0), 0);
    unsigned id = 0;
    model.setAction(key, [](const auto&) {
        return Answer{0, {{0, 2, "c"}, {0, 200, "x"}, {0, 0, "a"}, {0, 2, "d"}}};
    });
    EXPECT_EQ(action.invoke(id, {}), 0);
    EXPECT_TRUE(recorder->heard.waitFor(std::to_string(id) + " [a,,d,]"));
    model.setAction(key, [](const auto&) { return Answer{0, {{0, 0, "a"}, {0, 1, "b"}}}; });
    EXPECT_EQ(action.invoke(id, {}), 0);
    EXPECT_TRUE(recorder->heard.waitFor(std::to_string(id) + " [a,b]"));
}

NO_FAULT(TheAction, HasOtherRights, "A model that denies a client an action refuses it.");

// Tables and iterators

class OnATable : public FaultTest {
  protected:
    std::unique_ptr<IteratorAccess> open(const std::string& key, const std::vector<int>& columns = {0, 1}) {
        auto iterator =
            std::make_unique<IteratorAccess>(key, recorder, IteratorType{1, 3}, std::vector<TableSelection>(),
                                             columns, std::vector<TableOrder>());
        EXPECT_EQ(iterator->create(), 0);
        return iterator;
    }

    // One that is ready, and of which nothing has been heard but that.
    std::unique_ptr<IteratorAccess> openAndReady(const std::vector<int>& columns = {0, 1}) {
        auto iterator = open(CHANNELS, columns);
        EXPECT_TRUE(recorder->heard.waitForBeginning("ready"));
        recorder->heard.forget();
        return iterator;
    }

    const std::shared_ptr<IteratorRecorder> recorder = std::make_shared<IteratorRecorder>();
};

class TheTable : public OnATable {};

FAULT(TheTable, Refuses,
      "`TableAccess::connect()` gives 5, and `IteratorAccess::create()` 4 after a second; error lines "
      "`Failed 9.` and `Error connect name : …`") {
    setFault(CHANNELS, &KeyFaults::connectStatus, 9);
    IteratorAccess iterator(CHANNELS, recorder, {0, 3}, {}, {0}, {});
    EXPECT_EQ(iterator.create(), 4);
    EXPECT_EQ(iterator.getIterator(), nullptr);
    EXPECT_EQ(logged("Failed 9."), 1U);
    EXPECT_EQ(logged("Error connect name : " + std::string(CHANNELS) + ",  status: 5"), 1U);
    clearFaults(CHANNELS);
    EXPECT_EQ(iterator.create(), 0);
    EXPECT_TRUE(recorder->heard.waitForBeginning("ready"));
}

FAULT(TheTable, IsLate,
      "`connect()` goes on every 100 ms within its time-out, and gives 0 once the table is offered") {
    model.withdraw(CHANNELS);
    TableAccess table(CHANNELS);
    auto connecting = std::async(std::launch::async, [&] { return table.connect(PATIENCE_MS); });
    EXPECT_TRUE(eventually([&] { return model.connectAttempts(CHANNELS) >= 2; }));
    model.offer(CHANNELS);
    EXPECT_EQ(connecting.get(), 0);
    EXPECT_NE(table.getAccess(), nullptr);
}

FAULT(TheTable, NeverAnswers, "it never yields an object: `connect()` gives 5; error line `Failed 0.`") {
    setFault(CHANNELS, &KeyFaults::connectYieldsNothing, true);
    TableAccess table(CHANNELS);
    EXPECT_EQ(table.connect(0), 5);
    EXPECT_EQ(logged("Failed 0."), 1U);
    clearFaults(CHANNELS);
    EXPECT_EQ(table.connect(0), 0);
}

FAULT(TheTable, AnswersTwice,
      "an update told twice is logged twice, and the iterator that follows the table hears it twice") {
    const auto iterator = openAndReady();
    const auto updates = [this] { return log.countEnter("table_access.cpp", "notifyUpdate"); };
    setFault(CHANNELS, &KeyFaults::repeatNotifications, 1U);
    model.setRows(CHANNELS, {{"1", "One"}});
    EXPECT_TRUE(recorder->heard.waitFor("update 0", 2));
    EXPECT_EQ(updates(), 2U);
    clearFaults(CHANNELS);
    model.setRows(CHANNELS, {{"1", "One"}, {"2", "Two"}});
    EXPECT_TRUE(recorder->heard.waitFor("update 0", 3));
    EXPECT_EQ(updates(), 3U);
}

FAULT(TheTable, IsOfAnotherType,
      "a key that is no table is connected (0), and `create()` gives 0, but there is no iterator: "
      "`getIterator()` is null") {
    constexpr char key[] = "test.no.table";
    defineAs(key, OBJECT_TYPE_NUMERIC_INTEGER, 1);
    EXPECT_EQ(open(key)->getIterator(), nullptr);
    defineAs(key, OBJECT_TYPE_TABLE);
    const auto iterator = open(key);
    EXPECT_NE(iterator->getIterator(), nullptr);
    EXPECT_TRUE(recorder->heard.waitFor("ready 0"));
}

FAULT(TheTable, IsFull, "a table of 5000 rows: the iterator tells all of them") {
    const auto iterator = openAndReady();
    model.setRows(CHANNELS, simulated::Rows(5000, {"1", "One"}));
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("total 5000"));
    model.setRows(CHANNELS, {{"1", "One"}});
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("total 1"));
}

FAULT(TheTable, HasAnotherGeometry, "rows with fewer columns than asked for are filled up with empty texts") {
    const auto iterator = openAndReady();
    model.setRows(CHANNELS, {{"1"}, {"2", "Two"}});
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("row 1,"));
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("row 2,Two"));
}

NO_FAULT(TheTable, IsOutOfOrder, "Nothing but updates is told of a table, and one is like the other.");
NO_FAULT(TheTable, HasOtherRights, "A model that denies a client a table refuses it.");

class TheIterator : public OnATable {};

FAULT(TheIterator, Refuses, "the request gives the model's status, and nothing is heard") {
    const auto iterator = openAndReady();
    setFault(CHANNELS, &KeyFaults::readStatus, 9);
    EXPECT_EQ(iterator->getIterator()->readRow(), 9);
    EXPECT_TRUE(model.settle());
    EXPECT_EQ(recorder->heard.count(), 0U);
    clearFaults(CHANNELS);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("row 1,First"));
}

FAULT(TheIterator, IsLate, "the request returns at once; the answer comes later") {
    const auto iterator = openAndReady();
    setFault<std::chrono::milliseconds>(CHANNELS, &KeyFaults::notificationDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("total 5"));
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(CHANNELS);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("row 1,First"));
}

FAULT(TheIterator, NeverAnswers, "the request gives 0, and nothing is heard; the next one is answered") {
    const auto iterator = openAndReady();
    setFault(CHANNELS, &KeyFaults::dropNotifications, 1U);
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("row 1,First"));
    EXPECT_EQ(recorder->heard.count(), 1U);
}

FAULT(TheIterator, AnswersTwice, "the handler hears the answer twice") {
    const auto iterator = openAndReady();
    setFault(CHANNELS, &KeyFaults::repeatNotifications, 1U);
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("total 5", 2));
    clearFaults(CHANNELS);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->heard.all(), ElementsAre("total 5", "total 5", "row 1,First"));
}

FAULT(TheIterator, IsOutOfOrder,
      "the handler hears the answers as they come; each is named by what it answers") {
    const auto iterator = openAndReady();
    model.holdNotifications();
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_EQ(iterator->getIterator()->seekToRow(1), 0);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    model.releaseNotifications(Order::REVERSED);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->heard.all(), ElementsAre("row 2,Night", "seek 1", "total 5"));
    EXPECT_EQ(iterator->getIterator()->requestCursorPosition(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("cursor 2"));
}

FAULT(TheIterator, IsFull,
      "more rows asked for than a chunk holds: the handler hears one chunk of the size agreed on; the next "
      "request goes on behind it") {
    const auto iterator = openAndReady({0});
    EXPECT_EQ(iterator->getIterator()->readRowChunk(100), 0);
    EXPECT_TRUE(recorder->heard.waitFor("chunk 1 2 3"));
    EXPECT_EQ(iterator->getIterator()->readRowChunk(100), 0);
    EXPECT_TRUE(recorder->heard.waitFor("chunk 4 5"));
}

FAULT(TheIterator, HasAnotherGeometry,
      "columns that the table does not have are read as empty texts; a row that it does not have is -1") {
    {
        const auto iterator = openAndReady({0, 99, -1});
        EXPECT_EQ(iterator->getIterator()->readRow(), 0);
        EXPECT_TRUE(recorder->heard.waitFor("row 1,,"));
        EXPECT_EQ(iterator->getIterator()->seekToRow(99), 0);
        EXPECT_TRUE(recorder->heard.waitFor("seek -1"));
    }
    recorder->heard.forget();
    const auto iterator = openAndReady();
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->heard.waitFor("row 1,First"));
}

NO_FAULT(TheIterator, IsOfAnotherType, "What is no table gives no iterator.");
NO_FAULT(TheIterator, HasOtherRights, "Rights are a matter of the table.");

// The application manager

class TheApplicationManager : public FaultTest {
  protected:
    simulated::ApplicationManager& manager = television.applications();
};

FAULT(TheApplicationManager, Refuses,
      "`registerApp()` is true all the same, and no news comes; registered again, it does") {
    manager.refuseRegistrations(5);
    Service service("refused");
    EXPECT_TRUE(service.state().registerApp());
    EXPECT_TRUE(manager.applications().empty());
    manager.refuseRegistrations(0);
    EXPECT_TRUE(service.state().registerApp());
    manager.tell(Lifecycle::RUNNING, "url");
    EXPECT_TRUE(service.heard.waitFor("1"));
}

FAULT(TheApplicationManager, IsLate,
      "news wait behind the callback of another service, and come when it has returned") {
    struct Slow {
        Gate gate;
        Heard heard;
        SystemState state{"a slow one"};
    } slow;
    slow.state.registerCallBackTVPowerState(
        [](TVPowerState, void* self) {
            static_cast<Slow*>(self)->heard.add("entered");
            static_cast<Slow*>(self)->gate.pass();
        },
        &slow);
    Service service("behind it");
    manager.tell(Lifecycle::SUSPEND, "url");
    EXPECT_TRUE(slow.heard.waitFor("entered"));
    EXPECT_EQ(service.heard.count(), 0U);
    slow.gate.open();
    EXPECT_TRUE(service.heard.waitFor("2"));
    manager.tell(Lifecycle::RESUME, "url");
    EXPECT_TRUE(service.heard.waitFor("4"));
}

FAULT(TheApplicationManager, NeverAnswers,
      "it cannot be reached: `registerApp()` and `unRegisterApp()` are false; error line `Failed to get an "
      "instance of AppManagerClient.`") {
    manager.setReachable(false);
    {
        SystemState alone("alone");
        EXPECT_FALSE(alone.registerApp());
        EXPECT_FALSE(alone.unRegisterApp());
        EXPECT_EQ(logged("Failed to get an instance of AppManagerClient."), 3U);  // and the constructor's
    }
    manager.setReachable(true);
    Service service("again");
    manager.tell(Lifecycle::RUNNING, "url");
    EXPECT_TRUE(service.heard.waitFor("1"));
}

FAULT(TheApplicationManager, AnswersTwice,
      "the callback is called twice; a suspend to RAM is reported twice, before and after") {
    Service service("twice");
    for (int i = 0; i < 2; ++i) manager.tell(Lifecycle::STR_SUSPEND, "url");
    EXPECT_TRUE(service.heard.waitFor("7", 2));
    EXPECT_TRUE(manager.settle());
    EXPECT_EQ(manager.reports().size(), 4U);
    manager.tell(Lifecycle::STR_RESUME, "url");
    EXPECT_TRUE(service.heard.waitFor("8"));
}

FAULT(TheApplicationManager, IsOutOfOrder, "a resume before its suspend is told as it comes") {
    Service service("backwards");
    manager.tell(Lifecycle::RESUME, "url");
    manager.tell(Lifecycle::SUSPEND, "url");
    EXPECT_TRUE(manager.settle());
    EXPECT_THAT(service.heard.all(), ElementsAre("4", "2"));
    manager.tell(Lifecycle::RESUME, "url");
    EXPECT_TRUE(service.heard.waitFor("4", 2));
}

FAULT(TheApplicationManager, IsOfAnotherType,
      "a reason that is none is logged as it is; the callback is called") {
    Service service("reason");
    manager.tell(Lifecycle::STR_SUSPENDING, "url", "", -99);
    EXPECT_TRUE(service.heard.waitFor("6"));
    EXPECT_EQ(logged("app_url: url, suspendReason: -99."), 1U);
    manager.tell(Lifecycle::STR_RESUMING, "url", "", 1);
    EXPECT_TRUE(service.heard.waitFor("9"));
}

NO_FAULT(TheApplicationManager, IsFull, "A manager that takes no more applications refuses.");
NO_FAULT(TheApplicationManager, HasAnotherGeometry, "Names and messages are texts of any length.");
NO_FAULT(TheApplicationManager, HasOtherRights, "A manager that denies a service its name refuses.");

// Thread creation

class TheThreadCreation : public FaultTest {};

FAULT(TheThreadCreation, Refuses, "a set gives -1, and nothing is written") {
    SystemSetting setting;
    television.threads().fail(1);
    EXPECT_EQ(setting.setVideoBrightness(60), -1);
    EXPECT_TRUE(model.writes(BRIGHTNESS).empty());
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    expectWorkerToEnd();
    EXPECT_EQ(setting.getVideoBrightness(), 60);
}

FAULT(TheThreadCreation, IsFull,
      "no thread for the third of the colour tuner's four values: the set gives -1, those before it are "
      "written") {
    SystemSetting setting;
    std::vector<int> values{1, 10, 20, 30};
    television.threads().fail(1, 2);
    EXPECT_EQ(setting.setVideoColorTunerFamily(values), -1);
    EXPECT_EQ(setting.getVideoColorTuner(), 1);
    EXPECT_TRUE(eventually([&] { return setting.getVideoColorTunerB() == 10; }));
    EXPECT_EQ(setting.getVideoColorTunerS(), 0);
    EXPECT_EQ(setting.getVideoColorTunerH(), 0);
    EXPECT_TRUE(log.waitFor("set video color tuner brightness successed."));  // its worker has ended
    EXPECT_EQ(setting.setVideoColorTunerFamily(values), 0);
    EXPECT_EQ(setting.getVideoColorTunerS(), 20);
    EXPECT_EQ(setting.getVideoColorTunerH(), 30);
}

NO_FAULT(TheThreadCreation, IsLate,
         "A set returns before its worker has begun; when that is, is nowhere said.");
NO_FAULT(TheThreadCreation, AnswersTwice, "One creation starts one thread.");
NO_FAULT(TheThreadCreation, IsOutOfOrder, "Workers that run side by side have no order.");
NO_FAULT(TheThreadCreation, IsOfAnotherType, "A thread has no type.");
NO_FAULT(TheThreadCreation, Dies, "A thread does not die alone: the process dies with it.");
NO_FAULT(TheThreadCreation, HasAnotherGeometry, "The attributes are the platform's own.");
NO_FAULT(TheThreadCreation, HasOtherRights, "A process without rights to threads is refused.");

// Debug output

class TheDebugOutput : public FaultTest {};

FAULT(TheDebugOutput, Refuses, "no level is on: nothing is printed, and every operation answers as ever") {
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

FAULT(TheDebugOutput, IsLate, "whoever logs waits until the line is printed, and goes on") {
    Gate gate;
    Heard entered;
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

FAULT(TheDebugOutput, IsFull, "no line can be written any more: every operation answers as ever") {
    television.debugOutput().setSink(nullptr);  // prints on stderr
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

NO_FAULT(TheDebugOutput, NeverAnswers,
         "Lines that go nowhere are as lines that are off. One that never returns keeps its caller: it is "
         "the platform's to return.");
NO_FAULT(TheDebugOutput, AnswersTwice, "A line is printed, not answered.");
NO_FAULT(TheDebugOutput, IsOutOfOrder, "The order of different threads' lines is nowhere said.");
NO_FAULT(TheDebugOutput, IsOfAnotherType, "Formats and arguments are checked by the compiler.");
NO_FAULT(TheDebugOutput, Dies, "It is in the client's own process, and ends with it.");
NO_FAULT(TheDebugOutput, HasAnotherGeometry, "A line has any length.");
NO_FAULT(TheDebugOutput, HasOtherRights, "Where it may not write, it writes nothing: as full.");

}  // namespace
