#include "platform_adaptation/system_access/value_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "allocation_faults.h"
#include "attempts.h"
#include "eventually.h"
#include "lomodelapi/object_type_spec.h"
#include "lomodelapi/observer.h"
#include "platform_adaptation/system_access/value_handler.h"
#include "recorders.h"
#include "television_test.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using simulated::KeyFaults;
using simulated::Value;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Pair;
using tests::allocationsUntilFailure;
using tests::eventually;
using tests::LogLine;
using tests::ValueRecorder;

namespace {

using Clock = std::chrono::steady_clock;
using IntegerAccess = ValueAccessT<ObserverNumericInteger>;
using Int64Access = ValueAccessT<ObserverNumericInt64>;
using StringAccess = ValueAccessT<ObserverString>;
using IntegersAccess = ValueAccessT<ObserverVectorNumericInteger>;
using StringsAccess = ValueAccessT<ObserverVectorString>;

constexpr char FILE_NAME[] = "value_access.cpp";
constexpr char BASE_FILE_NAME[] = "value_access_base.cpp";

class Event {
  public:
    void set() {
        const std::lock_guard lock(m_mutex);
        m_isSet = true;
        m_changed.notify_all();
    }

    bool wait() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, 30s, [this] { return m_isSet; });
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isSet = false;
};

// A handler that calls a function of the test.
class Calling : public ValueHandler {
  public:
    explicit Calling(std::function<void(const ValueObject&)> function) : m_function(std::move(function)) {}
    void onNewValue(const ValueObject& value) override { m_function(value); }

  private:
    std::function<void(const ValueObject&)> m_function;
};

// The state of a `Staying` handler, whose call does not return until `mayLeave` is set.
struct Stay {
    Event entered;
    Event mayLeave;
    std::atomic<bool> left{false};
    std::atomic<bool> destroyedInside{false};
};

class Staying : public ValueHandler {
  public:
    explicit Staying(std::shared_ptr<Stay> stay) : m_stay(std::move(stay)) {}
    ~Staying() override { m_stay->destroyedInside = m_inside.load(); }

    void onNewValue(const ValueObject&) override {
        const std::shared_ptr<Stay> stay = m_stay;
        m_inside = true;
        stay->entered.set();
        stay->mayLeave.wait();
        if (!stay->destroyedInside) m_inside = false;
        stay->left = true;
    }

  private:
    std::shared_ptr<Stay> m_stay;
    std::atomic<bool> m_inside{false};
};

class AccessTest : public tests::TelevisionTest {
  protected:
    void SetUp() override { define(KEY, OBJECT_TYPE_NUMERIC_INTEGER, 0); }

    void define(const std::string& key, ObjectTypeSpec type, const Value& value) {
        model.define({"", key, type, value, {}, ""});
    }

    void refuse(int status) {
        KeyFaults faults;
        faults.connectStatus = status;
        model.setFaults(KEY, faults);
    }

    static LogLine connectError(const std::string& message) {
        return {tests::ERROR, BASE_FILE_NAME, "connect", message};
    }

    static constexpr char KEY[] = "test.access.value";
};

// Tests of all five types of observer

template <typename T>
struct KindOf;

template <>
struct KindOf<ObserverNumericInteger> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INTEGER;
    static constexpr char NAME[] = "ObserverNumericInteger";
    static constexpr int VALUE_KIND = 1;
    static constexpr char TEXT[] = "-60";
    static Value initial() { return 0; }
    static Value changed() { return -60; }
};

template <>
struct KindOf<ObserverNumericInt64> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INT64;
    static constexpr char NAME[] = "ObserverNumericInt64";
    static constexpr int VALUE_KIND = 3;
    static constexpr char TEXT[] = "-4294967297";
    static Value initial() { return 0LL; }
    static Value changed() { return -4294967297LL; }
};

template <>
struct KindOf<ObserverString> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_STRING;
    static constexpr char NAME[] = "ObserverString";
    static constexpr int VALUE_KIND = 8;
    static constexpr char TEXT[] = "HDMI2";
    static Value initial() { return std::string("TV"); }
    static Value changed() { return std::string("HDMI2"); }
};

template <>
struct KindOf<ObserverVectorNumericInteger> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    static constexpr char NAME[] = "ObserverVectorNumericInteger";
    static constexpr int VALUE_KIND = 10;
    static constexpr char TEXT[] = "[3,4]";
    static Value initial() { return std::vector<int>{1}; }
    static Value changed() { return std::vector<int>{3, 4}; }
};

template <>
struct KindOf<ObserverVectorString> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_STRING;
    static constexpr char NAME[] = "ObserverVectorString";
    static constexpr int VALUE_KIND = 10;
    static constexpr char TEXT[] = "[play,0,]";
    static Value initial() { return std::vector<std::string>{}; }
    static Value changed() { return std::vector<std::string>{"play", "0", ""}; }
};

// One notification of the model and the value that the handler receives for it.
template <typename Observer>
struct Notification {
    const char* function;
    std::function<void(ValueAccessT<Observer>&)> call;
    int kind;
    const char* text;
    std::vector<int> kindsOfItems;
};

template <typename Observer>
class ATypedAccessor : public AccessTest {
  protected:
    void SetUp() override { define(KEY, KindOf<Observer>::TYPE, KindOf<Observer>::initial()); }

    static std::vector<Notification<Observer>> everyNotification() {
        using Access = ValueAccessT<Observer>;
        return {
            {"notifyNewValue", [](Access& access) { access.notifyNewValue(INT_MIN); }, 1, "-2147483648", {}},
            {"notifyNewValue",
             [](Access& access) { access.notifyNewValue(LLONG_MAX); },
             3,
             "9223372036854775807",
             {}},
            {"notifyNewValue",
             [](Access& access) { access.notifyNewValue(std::string("HDMI1")); },
             8,
             "HDMI1",
             {}},
            {"notifyIntegerVector",
             [](Access& access) {
                 access.notifyIntegerVector({3, 4});
             },
             10,
             "[3,4]",
             {1, 1}},
            {"notifyIntegerVector", [](Access& access) { access.notifyIntegerVector({}); }, 10, "[]", {}},
            {"notifyStringVector",
             [](Access& access) {
                 access.notifyStringVector({"b", "", "a"});
             },
             10,
             "[b,,a]",
             {8, 8, 8}},
            {"notifyStringVector", [](Access& access) { access.notifyStringVector({}); }, 10, "[]", {}},
        };
    }

    const std::shared_ptr<ValueRecorder> handler = std::make_shared<ValueRecorder>();
};

using Observers = testing::Types<ObserverNumericInteger, ObserverNumericInt64, ObserverString,
                                 ObserverVectorNumericInteger, ObserverVectorString>;
TYPED_TEST_SUITE(ATypedAccessor, Observers);

TYPED_TEST(ATypedAccessor, DoesNotConnectWhenItIsCreatedOrDestroyed) {
    {
        const ValueAccessT<TypeParam> without(this->KEY);
        const ValueAccessT<TypeParam> with(this->KEY, this->handler);
    }
    EXPECT_EQ(this->television.framework().lookups(), 0U);
    EXPECT_EQ(this->model.connectAttempts(this->KEY), 0U);
}

TYPED_TEST(ATypedAccessor, ConnectsToAKeyOfItsType) {
    ValueAccessT<TypeParam> access(this->KEY);
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_EQ(access.getType(), KindOf<TypeParam>::TYPE);
    EXPECT_EQ(this->model.subscribers(this->KEY), 1U);
    EXPECT_THAT(this->log.lines(), IsEmpty());
}

TYPED_TEST(ATypedAccessor, RefusesAKeyOfAnyOtherType) {
    const std::vector<std::pair<ObjectTypeSpec, Value>> everyType{
        {OBJECT_TYPE_NONE, {}},
        {OBJECT_TYPE_NUMERIC_INTEGER, 1},
        {OBJECT_TYPE_STRING, std::string()},
        {OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, std::vector<int>()},
        {OBJECT_TYPE_VECTOR_STRING, std::vector<std::string>()},
        {OBJECT_TYPE_ACTION, {}},
        {OBJECT_TYPE_TABLE, {}},
        {OBJECT_TYPE_VECTOR_INTEGER, {}},
        {OBJECT_TYPE_NUMERIC_INT64, 1LL},
    };
    ValueAccessT<TypeParam> access(this->KEY);
    for (const auto& [type, value] : everyType) {
        if (type == KindOf<TypeParam>::TYPE) continue;
        SCOPED_TRACE(type);
        this->define(this->KEY, type, value);
        this->log.clear();
        EXPECT_EQ(access.connect(1000), 6);
        EXPECT_THAT(this->log.lines(),
                    ElementsAre(this->connectError("Observer Type not match for " + std::string(this->KEY) +
                                                   ",( " + std::to_string(type) + " ) vs " +
                                                   KindOf<TypeParam>::NAME + ".\n")));
        EXPECT_EQ(this->model.subscribers(this->KEY), 0U);
        EXPECT_EQ(access.getType(), 0);
    }
    // A key of another type is not tried a second time.
    EXPECT_EQ(this->model.connectAttempts(this->KEY), everyType.size() - 1);
}

TYPED_TEST(ATypedAccessor, PassesAChangeOfItsKeyToItsHandler) {
    ValueAccessT<TypeParam> access(this->KEY, this->handler);
    ASSERT_EQ(access.connect(0), 0);
    this->model.set(this->KEY, KindOf<TypeParam>::changed());
    ASSERT_TRUE(this->model.settle());
    EXPECT_THAT(this->handler->kindsAndTexts(),
                ElementsAre(Pair(int{KindOf<TypeParam>::VALUE_KIND}, std::string(KindOf<TypeParam>::TEXT))));
}

TYPED_TEST(ATypedAccessor, ConvertsEveryNotificationToItsValue) {
    ValueAccessT<TypeParam> access(this->KEY);
    for (const auto& notification : this->everyNotification()) {
        SCOPED_TRACE(notification.text);
        const auto recorder = std::make_shared<ValueRecorder>();
        access.setNewValueHandler(recorder);
        notification.call(access);
        EXPECT_THAT(recorder->kindsAndTexts(),
                    ElementsAre(Pair(notification.kind, std::string(notification.text))));
        std::vector<int> kindsOfItems;
        const std::vector<ValueObject> values = recorder->values();
        for (const ValueObject& item : values.at(0).items) kindsOfItems.push_back(item.type());
        EXPECT_EQ(kindsOfItems, notification.kindsOfItems);
    }
}

TYPED_TEST(ATypedAccessor, LogsEveryNotificationAndItsDelivery) {
    ValueAccessT<TypeParam> access(this->KEY, this->handler);
    for (const auto& notification : this->everyNotification()) {
        SCOPED_TRACE(notification.text);
        this->log.clear();
        notification.call(access);
        EXPECT_EQ(this->log.countEnter(FILE_NAME, notification.function), 1U);
        EXPECT_EQ(this->log.countEnter(BASE_FILE_NAME, "onNewValue"), 1U);
        const std::vector<LogLine> lines = this->log.lines();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines.front().function, notification.function);
    }
}

TYPED_TEST(ATypedAccessor, DropsEveryNotificationWithoutAHandler) {
    ValueAccessT<TypeParam> access(this->KEY);
    for (const auto& notification : this->everyNotification()) {
        SCOPED_TRACE(notification.text);
        this->log.clear();
        notification.call(access);
        EXPECT_EQ(this->log.countEnter(FILE_NAME, notification.function), 1U);
        EXPECT_EQ(this->log.lines().size(), 1U);
    }
}

TYPED_TEST(ATypedAccessor, DisconnectsWhenItIsDestroyed) {
    using Access = ValueAccessT<TypeParam>;
    const std::vector<std::function<void(Access*)>> ways{
        [](Access* access) { delete access; },
        [](Access* access) { delete static_cast<ValueAccessBase*>(access); },
        [](Access* access) { delete static_cast<Observer*>(access); },
    };
    for (const auto& destroy : ways) {
        auto access = std::make_unique<Access>(this->KEY, this->handler);
        ASSERT_EQ(access->connect(0), 0);
        ASSERT_EQ(this->model.subscribers(this->KEY), 1U);
        destroy(access.release());
        EXPECT_EQ(this->model.subscribers(this->KEY), 0U);
        EXPECT_EQ(this->handler.use_count(), 1);
    }
}

// Notifications

using ANotification = AccessTest;

TEST_F(ANotification, IsPassedByTheVirtualOperationOfTheAccessor) {
    class Override : public IntegersAccess {
      public:
        using IntegersAccess::IntegersAccess;
        void onNewValue(const ValueObject& value) override { texts.push_back(value.convertToStringType()); }
        std::vector<std::string> texts;
    };
    const auto handler = std::make_shared<ValueRecorder>();
    Override access(KEY, handler);
    access.notifyIntegerVector({3, 4});
    access.notifyNewValue(5);
    EXPECT_THAT(access.texts, ElementsAre("[3,4]", "5"));
    EXPECT_THAT(handler->received.all(), IsEmpty());
    access.setNewValueHandler(nullptr);
    access.notifyNewValue(6);
    EXPECT_EQ(access.texts.size(), 2U);
}

TEST_F(ANotification, OfAnIntegerAllocatesNothing) {
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
    int received = 0;
    IntegerAccess access(KEY, std::make_shared<Calling>([&](const ValueObject& value) { received = value; }));
    std::thread([&] {
        allocationsUntilFailure = 0;
        access.notifyNewValue(5);
        EXPECT_EQ(std::exchange(allocationsUntilFailure, -1), 0);
    }).join();
    EXPECT_EQ(received, 5);
}

TEST_F(ANotification, OfATextIsDroppedWithoutMemory) {
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
    const auto handler = std::make_shared<ValueRecorder>();
    const std::string text = "a text that is too long for a small string";
    StringAccess access(KEY, handler);
    allocationsUntilFailure = 0;
    EXPECT_THROW(access.notifyNewValue(text), std::bad_alloc);
    access.notifyNewValue(text);
    EXPECT_THAT(handler->received.all(), ElementsAre(text));
}

// The leak sanitizer fails this test if the thread leaks memory.
TEST_F(ANotification, MayComeFromTheDestructorOfAThreadLocalObject) {
    struct Notifying {
        ~Notifying() { access->notifyNewValue(5); }
        IntegerAccess* access = nullptr;
    };
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    std::thread([&] {
        thread_local Notifying own;
        own.access = &access;
    }).join();
    EXPECT_THAT(handler->received.all(), ElementsAre("5"));
}

TEST_F(ANotification, HasAListOfExactlyItsCapacity) {
    std::vector<std::size_t> capacities;
    IntegersAccess access(KEY, std::make_shared<Calling>([&](const ValueObject& value) {
                              capacities.push_back(value.items.capacity());
                          }));
    access.notifyIntegerVector({1, 2, 3, 4, 5});
    access.notifyStringVector({"a", "b", "c"});
    EXPECT_THAT(capacities, ElementsAre(5, 3));
}

TEST_F(ANotification, ArrivesOnAModelThread) {
    std::atomic<bool> onThisThread{true};
    const auto caller = std::this_thread::get_id();
    IntegerAccess access(KEY, std::make_shared<Calling>([&](const ValueObject&) {
                             onThisThread = std::this_thread::get_id() == caller;
                         }));
    ASSERT_EQ(access.setValue(60), 0);
    ASSERT_TRUE(model.settle());
    EXPECT_FALSE(onThisThread);
}

TEST_F(ANotification, IsNotSentForAnUnchangedValue) {
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), IsEmpty());
}

TEST_F(ANotification, ArrivesForEachChangeInOrder) {
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    std::vector<std::string> expected;
    for (int value = 1; value <= 50; ++value) {
        model.set(KEY, value);
        expected.push_back(std::to_string(value));
    }
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), ElementsAreArray(expected));
}

TEST_F(ANotification, ReachesEveryAccessorOfTheKey) {
    const auto first = std::make_shared<ValueRecorder>();
    const auto second = std::make_shared<ValueRecorder>();
    IntegerAccess one(KEY, first);
    IntegerAccess another(KEY, second);
    ASSERT_EQ(one.connect(0), 0);
    ASSERT_EQ(another.connect(0), 0);
    EXPECT_EQ(model.subscribers(KEY), 2U);
    model.set(KEY, 60);
    ASSERT_TRUE(model.settle());
    one.disconnect();
    model.set(KEY, 61);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(first->received.all(), ElementsAre("60"));
    EXPECT_THAT(second->received.all(), ElementsAre("60", "61"));
}

TEST_F(ANotification, IsNotSentForAChangeOfAvailability) {
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    model.withdraw(KEY);
    model.offer(KEY);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(access.getType(), 1);
    model.set(KEY, 60);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), ElementsAre("60"));
}

TEST_F(ANotification, ReachesAHandlerThatWasSetWhileDisconnected) {
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, std::make_shared<ValueRecorder>());
    ASSERT_EQ(access.connect(0), 0);
    access.disconnect();
    access.setNewValueHandler(handler);
    ASSERT_EQ(access.connect(0), 0);
    model.set(KEY, 60);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), ElementsAre("60"));
}

// Connecting

class ATimeout : public AccessTest, public testing::WithParamInterface<tests::Attempts> {};

TEST_P(ATimeout, DeterminesTheNumberOfAttempts) { tests::expectAttempts<IntegerAccess>(KEY, GetParam()); }

INSTANTIATE_TEST_SUITE_P(, ATimeout, testing::ValuesIn(tests::ATTEMPTS));

class AConnection : public AccessTest {
  protected:
    // The number of attempts to connect that the next read makes. The read fails.
    unsigned attemptsOfARead(ValueAccessBase& access) {
        const unsigned before = model.connectAttempts(KEY);
        int number = 0;
        EXPECT_EQ(access.getValue(number), 5);
        return model.connectAttempts(KEY) - before;
    }
};

TEST_F(AConnection, FailsAtOnceWithoutATimeout) {
    model.withdraw(KEY);
    IntegerAccess access(KEY);
    for (const int timeoutMs : {0, -100}) {
        // Measures the shortest of several calls; a pause would lengthen all of them.
        auto quickest = Clock::duration::max();
        for (int i = 0; i < 10; ++i) {
            const auto start = Clock::now();
            EXPECT_EQ(access.connect(timeoutMs), 5);
            quickest = std::min(quickest, Clock::now() - start);
        }
        EXPECT_LT(quickest, 100ms);
    }
}

TEST_F(AConnection, SucceedsAtTheFirstAttemptIfTheKeyIsAvailable) {
    IntegerAccess access(KEY);
    EXPECT_EQ(access.connect(1000), 0);
    EXPECT_EQ(model.connectAttempts(KEY), 1U);
}

TEST_F(AConnection, LogsTheStatusOfTheModelIfItFails) {
    IntegerAccess access(KEY);
    for (const int status : {3, 99, -1}) {
        refuse(status);
        log.clear();
        EXPECT_EQ(access.connect(0), 5);
        EXPECT_THAT(log.lines(), ElementsAre(connectError("Failed " + std::to_string(status) + "\n")));
    }
    EXPECT_EQ(access.getType(), 0);
    EXPECT_EQ(model.subscribers(KEY), 0U);
    model.setFaults(KEY, {});
    EXPECT_EQ(access.connect(0), 0);
}

TEST_F(AConnection, FailsForAnUnknownKey) {
    IntegerAccess access("test.access.unknown");
    EXPECT_EQ(access.connect(0), 5);
    EXPECT_EQ(log.count(connectError("Failed " + std::to_string(simulated::STATUS_UNKNOWN_KEY) + "\n")), 1U);
}

TEST_F(AConnection, LogsStatusZeroIfTheModelReturnsNoObject) {
    KeyFaults faults;
    faults.connectYieldsNothing = true;
    model.setFaults(KEY, faults);
    IntegerAccess access(KEY);
    EXPECT_EQ(access.connect(150), 5);
    EXPECT_EQ(model.connectAttempts(KEY), 2U);
    EXPECT_THAT(log.lines(), ElementsAre(connectError("Failed 0\n")));
    EXPECT_EQ(access.getType(), 0);
    model.setFaults(KEY, {});
    EXPECT_EQ(access.connect(0), 0);
}

TEST_F(AConnection, LogsTheStatusOfTheLastAttempt) {
    refuse(11);
    IntegerAccess access(KEY);
    auto connecting = std::async(std::launch::async, [&] { return access.connect(2000); });
    ASSERT_TRUE(eventually([&] { return model.connectAttempts(KEY) > 0; }));
    refuse(12);
    EXPECT_EQ(connecting.get(), 5);
    EXPECT_THAT(log.lines(), ElementsAre(connectError("Failed 12\n")));
}

TEST_F(AConnection, SucceedsOnceTheKeyIsAvailable) {
    model.withdraw(KEY);
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    auto connecting = std::async(std::launch::async, [&] { return access.connect(60000); });
    ASSERT_TRUE(eventually([&] { return model.connectAttempts(KEY) >= 2; }));
    model.offer(KEY);
    const unsigned failed = model.connectAttempts(KEY);
    EXPECT_EQ(connecting.get(), 0);
    EXPECT_LE(model.connectAttempts(KEY), failed + 1);
    EXPECT_THAT(log.lines(), IsEmpty());
    model.set(KEY, 60);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), ElementsAre("60"));
}

TEST_F(AConnection, LooksUpTheRootOnceForAllAttempts) {
    model.withdraw(KEY);
    IntegerAccess access(KEY);
    EXPECT_EQ(access.connect(250), 5);
    EXPECT_EQ(model.connectAttempts(KEY), 3U);
    EXPECT_EQ(television.framework().lookups(), 1U);
}

TEST_F(AConnection, ServesAllFollowingReadsAndWrites) {
    IntegerAccess access(KEY);
    int number = 0;
    for (int value = 1; value <= 3; ++value) {
        EXPECT_EQ(access.setValue(value), 0);
        EXPECT_EQ(access.getValue(number), 0);
        EXPECT_EQ(number, value);
    }
    EXPECT_EQ(television.framework().lookups(), 1U);
    EXPECT_EQ(model.connectAttempts(KEY), 1U);
}

TEST_F(AConnection, IsKeptByASecondCall) {
    IntegerAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    const unsigned lookups = television.framework().lookups();
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_EQ(television.framework().lookups(), lookups);
    EXPECT_EQ(model.connectAttempts(KEY), 1U);
    EXPECT_EQ(model.subscribers(KEY), 1U);
}

TEST_F(AConnection, KeepsTheTimeoutOfASecondCall) {
    IntegerAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    ASSERT_EQ(access.connect(250), 0);
    access.disconnect();
    model.withdraw(KEY);
    EXPECT_EQ(attemptsOfARead(access), 3U);
}

TEST_F(AConnection, IsMadeOnDemandWithTheTimeoutOfTheLastCall) {
    model.withdraw(KEY);
    IntegerAccess access(KEY);
    for (const auto& [timeoutMs, attempts] : {std::pair(250, 3U), std::pair(-5, 1U), std::pair(150, 2U)}) {
        access.connect(timeoutMs);
        EXPECT_EQ(attemptsOfARead(access), attempts);
    }
}

TEST_F(AConnection, IsTriedForOneSecondByDefault) {
    model.withdraw(KEY);
    IntegerAccess access(KEY);
    const auto start = Clock::now();
    EXPECT_EQ(attemptsOfARead(access), 10U);
    EXPECT_GE(Clock::now() - start, 1s);
    EXPECT_EQ(access.setValue(5), 5);
    EXPECT_EQ(model.connectAttempts(KEY), 20U);
    EXPECT_THAT(model.writes(KEY), IsEmpty());
    EXPECT_EQ(log.withMessage(std::string("BizValue connect failed:'") + KEY + "', ret: 5\n").size(), 2U);
}

TEST_F(AConnection, IsTriedAgainByTheNextReadAfterAFailure) {
    model.withdraw(KEY);
    IntegerAccess access(KEY);
    ASSERT_EQ(access.connect(0), 5);
    model.offer(KEY);
    model.set(KEY, 42);
    int number = 0;
    EXPECT_EQ(access.getValue(number), 0);
    EXPECT_EQ(number, 42);
}

TEST_F(AConnection, IsTriedAgainAfterAMismatch) {
    define(KEY, OBJECT_TYPE_NUMERIC_INT64, 5LL);
    IntegerAccess access(KEY);
    int number = 9;
    EXPECT_EQ(access.getValue(number), 6);
    EXPECT_EQ(number, 9);
    EXPECT_EQ(log.withMessage(std::string("BizValue connect failed:'") + KEY + "', ret: 6\n").size(), 1U);
    define(KEY, OBJECT_TYPE_NUMERIC_INTEGER, 42);
    EXPECT_EQ(access.getValue(number), 0);
    EXPECT_EQ(number, 42);
    EXPECT_EQ(model.subscribers(KEY), 1U);
}

TEST_F(AConnection, ToAKeyOfAnotherTypeIsUnsubscribed) {
    define(KEY, OBJECT_TYPE_NUMERIC_INT64, 5LL);
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    EXPECT_EQ(access.connect(0), 6);
    EXPECT_EQ(log.count(connectError(std::string("Observer Type not match for ") + KEY +
                                     ",( 8 ) vs ObserverNumericInteger.\n")),
              1U);
    EXPECT_EQ(model.subscribers(KEY), 0U);
    model.set(KEY, 6LL);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), IsEmpty());
}

TEST_F(AConnection, ByAnExplicitCallIsNotLogged) {
    IntegerAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    int number = 0;
    ASSERT_EQ(access.getValue(number), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

// The placeholder

class ThePlaceholderMissing : public AccessTest {
  protected:
    // The placeholder is not connected even if the model has a key with this name.
    void SetUp() override { define(NAME, OBJECT_TYPE_NUMERIC_INTEGER, 7); }

    static constexpr char NAME[] = "missing";
};

TEST_F(ThePlaceholderMissing, IsNeverConnected) {
    IntegerAccess access(NAME);
    EXPECT_EQ(access.connect(1000), 8);
    EXPECT_THAT(log.lines(), ElementsAre(connectError("Value is 'missing\n")));
    EXPECT_EQ(television.framework().lookups(), 0U);
    EXPECT_EQ(model.connectAttempts(NAME), 0U);
}

TEST_F(ThePlaceholderMissing, ReturnsTheSameStatusOnEveryAccess) {
    IntegerAccess access(NAME);
    int number = 1;
    long long wide = 2;
    std::string text = "text";
    std::vector<int> numbers{3};
    std::vector<std::string> texts{"a"};
    const std::vector<int> statuses{
        access.getValue(number),  access.getValue(wide),       access.getValue(text),
        access.getValue(numbers), access.getValue(texts),      access.setValue(number),
        access.setValue(wide),    access.setValue(text),       access.setValue(numbers),
        access.setValue(texts),   access.tryConnectIfNeeded(),
    };
    EXPECT_THAT(statuses, Each(8));
    EXPECT_EQ(log.count(connectError("Value is 'missing\n")), statuses.size());
    EXPECT_EQ(log.withMessage("BizValue connect failed:'missing', ret: 8\n").size(), statuses.size());
    EXPECT_EQ(television.framework().lookups(), 0U);
    EXPECT_THAT(model.writes(NAME), IsEmpty());
    EXPECT_EQ(number, 1);
    EXPECT_EQ(text, "text");
}

TEST_F(ThePlaceholderMissing, DoesNotKeepTheTimeout) {
    class Open : public IntegerAccess {
      public:
        using IntegerAccess::IntegerAccess;
        using IntegerAccess::m_connectTimeout;
    };
    Open access(NAME);
    access.connect(250);
    EXPECT_EQ(access.m_connectTimeout, 1000);
}

TEST_F(ThePlaceholderMissing, IsRecognizedByItsWholeNameOnly) {
    for (const std::string name : {"missing.key", "missin", "Missing", "not.missing"}) {
        define(name, OBJECT_TYPE_NUMERIC_INTEGER, 7);
        IntegerAccess access(name);
        EXPECT_EQ(access.connect(0), 0) << name;
    }
}

// Disconnecting

using ADisconnection = AccessTest;

TEST_F(ADisconnection, EndsTheSubscription) {
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(model.subscribers(KEY), 0U);
    EXPECT_EQ(access.getType(), 0);
    model.set(KEY, 60);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), IsEmpty());
}

TEST_F(ADisconnection, LooksUpTheRoot) {
    IntegerAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    const unsigned lookups = television.framework().lookups();
    access.disconnect();
    EXPECT_EQ(television.framework().lookups(), lookups + 1);
}

TEST_F(ADisconnection, IsRequestedFromTheModelWithoutAConnection) {
    IntegerAccess access(KEY);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(television.framework().lookups(), 1U);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(television.framework().lookups(), 2U);
}

TEST_F(ADisconnection, ByDestructionLooksUpTheRootOnce) {
    auto access = std::make_unique<IntegerAccess>(KEY);
    ASSERT_EQ(access->connect(0), 0);
    const unsigned lookups = television.framework().lookups();
    access.reset();
    EXPECT_EQ(television.framework().lookups(), lookups + 1);
}

TEST_F(ADisconnection, IsNotRepeatedByDestruction) {
    auto access = std::make_unique<IntegerAccess>(KEY);
    ASSERT_EQ(access->connect(0), 0);
    access->disconnect();
    const unsigned lookups = television.framework().lookups();
    access.reset();
    EXPECT_EQ(television.framework().lookups(), lookups);
}

TEST_F(ADisconnection, AllowsAnotherConnection) {
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    access.disconnect();
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_EQ(model.connectAttempts(KEY), 2U);
    model.set(KEY, 60);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), ElementsAre("60"));
}

TEST_F(ADisconnection, EndsWithTheNextReadOrWrite) {
    IntegerAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    access.disconnect();
    EXPECT_EQ(access.setValue(61), 0);
    EXPECT_EQ(model.subscribers(KEY), 1U);
    access.disconnect();
    int number = 0;
    EXPECT_EQ(access.getValue(number), 0);
    EXPECT_EQ(number, 61);
}

TEST_F(ADisconnection, DropsPendingNotifications) {
    const auto handler = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    model.holdNotifications();
    for (int value = 1; value <= 3; ++value) model.set(KEY, value);
    access.disconnect();
    model.releaseNotifications(simulated::Order::AS_THEY_CAME);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), IsEmpty());
}

TEST_F(ADisconnection, WaitsForTheCurrentNotification) {
    const auto stay = std::make_shared<Stay>();
    IntegerAccess access(KEY, std::make_shared<Staying>(stay));
    ASSERT_EQ(access.connect(0), 0);
    model.set(KEY, 60);
    ASSERT_TRUE(stay->entered.wait());
    auto leftBeforeItReturned = std::async(std::launch::async, [&] {
        EXPECT_EQ(access.disconnect(), 0);
        return stay->left.load();
    });
    EXPECT_TRUE(eventually([&] { return model.subscribers(KEY) == 0; }));
    // A disconnect() that does not wait would return within this time.
    EXPECT_EQ(leftBeforeItReturned.wait_for(50ms), std::future_status::timeout);
    stay->mayLeave.set();
    EXPECT_TRUE(leftBeforeItReturned.get());
}

TEST_F(ADisconnection, ByDestructionWaitsForTheCurrentNotification) {
    const auto stay = std::make_shared<Stay>();
    auto access = std::make_unique<IntegerAccess>(KEY, std::make_shared<Staying>(stay));
    ASSERT_EQ(access->connect(0), 0);
    model.set(KEY, 60);
    ASSERT_TRUE(stay->entered.wait());
    auto destroying = std::async(std::launch::async, [&] { access.reset(); });
    EXPECT_TRUE(eventually([&] { return model.subscribers(KEY) == 0; }));
    EXPECT_EQ(destroying.wait_for(50ms), std::future_status::timeout);
    stay->mayLeave.set();
    destroying.get();
    EXPECT_TRUE(stay->left);
    EXPECT_FALSE(stay->destroyedInside);
}

TEST_F(ADisconnection, MayBeRequestedInANotification) {
    std::atomic<unsigned> calls{0};
    std::atomic<int> status{-1};
    IntegerAccess access(KEY);
    access.setNewValueHandler(std::make_shared<Calling>([&](const ValueObject&) {
        ++calls;
        status = access.disconnect();
    }));
    ASSERT_EQ(access.connect(0), 0);
    model.holdNotifications();
    model.set(KEY, 60);
    model.set(KEY, 61);
    model.releaseNotifications(simulated::Order::AS_THEY_CAME);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(status, 0);
    EXPECT_EQ(model.subscribers(KEY), 0U);
    EXPECT_EQ(calls, 1U);
}

TEST_F(ADisconnection, EndsNotificationsDuringASeriesOfChanges) {
    std::atomic<bool> disconnected{false};
    std::atomic<unsigned> calls{0};
    std::atomic<unsigned> late{0};
    IntegerAccess access(
        KEY, std::make_shared<Calling>([&](const ValueObject&) { ++(disconnected ? late : calls); }));
    model.setNotificationDelay(0ms);
    int value = 0;
    for (int round = 0; round < 20; ++round) {
        disconnected = false;
        EXPECT_EQ(access.connect(0), 0);
        const unsigned before = calls;
        for (int i = 0; i < 50; ++i) model.set(KEY, ++value);
        EXPECT_TRUE(eventually([&] { return calls > before; }));
        EXPECT_EQ(access.disconnect(), 0);
        disconnected = true;
        EXPECT_TRUE(model.settle());
    }
    EXPECT_EQ(late, 0U);
}

// Operations that a handler may perform in its own call

class AHandlerInItsCall : public AccessTest {
  protected:
    // Calls a function of the test and then uses its own members.
    class Acting : public ValueHandler {
      public:
        Acting(std::vector<std::string>& events, std::function<void()> act)
            : m_events(events), m_act(std::move(act)) {}
        ~Acting() override { m_events.emplace_back("ended"); }
        void onNewValue(const ValueObject& value) override {
            m_act();
            m_events.push_back(value.convertToStringType());
        }

      private:
        std::vector<std::string>& m_events;
        const std::function<void()> m_act;
    };

    std::shared_ptr<ValueHandler> acting(std::function<void()> act) {
        return std::make_shared<Acting>(events, std::move(act));
    }

    std::vector<std::string> events;
};

TEST_F(AHandlerInItsCall, MayReplaceItself) {
    const auto next = std::make_shared<ValueRecorder>();
    IntegerAccess access(KEY);
    access.setNewValueHandler(acting([&] { access.setNewValueHandler(next); }));
    ASSERT_EQ(access.connect(0), 0);
    model.set(KEY, 60);
    model.set(KEY, 61);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(events, ElementsAre("60", "ended"));
    EXPECT_THAT(next->received.all(), ElementsAre("61"));
}

TEST_F(AHandlerInItsCall, MayRemoveItself) {
    IntegerAccess access(KEY);
    access.setNewValueHandler(acting([&] { access.setNewValueHandler(nullptr); }));
    ASSERT_EQ(access.connect(0), 0);
    model.set(KEY, 60);
    model.set(KEY, 61);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(events, ElementsAre("60", "ended"));
}

TEST_F(AHandlerInItsCall, ExistsUntilItsOutermostCallReturns) {
    IntegerAccess access(KEY);
    int calls = 0;
    access.setNewValueHandler(acting([&] {
        if (++calls == 1) {
            access.notifyNewValue(2);
        } else {
            access.setNewValueHandler(nullptr);
        }
    }));
    access.notifyNewValue(1);
    EXPECT_THAT(events, ElementsAre("2", "1", "ended"));
}

TEST_F(AHandlerInItsCall, MayDestroyItsAccessor) {
    std::unique_ptr<IntegerAccess> access;
    access = std::make_unique<IntegerAccess>(KEY, acting([&] { access.reset(); }));
    ASSERT_EQ(access->connect(0), 0);
    access->notifyNewValue(1);
    EXPECT_EQ(access, nullptr);
    EXPECT_EQ(model.subscribers(KEY), 0U);
    EXPECT_THAT(events, ElementsAre("1", "ended"));
}

TEST_F(AHandlerInItsCall, MayThrowAnException) {
    IntegerAccess access(KEY);
    int calls = 0;
    access.setNewValueHandler(acting([&] {
        if (++calls == 2) access.setNewValueHandler(nullptr);
        throw std::runtime_error("thrown by a client's handler");
    }));
    EXPECT_THROW(access.notifyNewValue(1), std::runtime_error);
    EXPECT_THAT(events, IsEmpty());
    EXPECT_THROW(access.notifyNewValue(2), std::runtime_error);
    EXPECT_THAT(events, ElementsAre("ended"));
    access.notifyNewValue(3);
    EXPECT_EQ(calls, 2);
}

// Destroying an accessor

class AnAccessorsDestruction : public AccessTest {
  protected:
    const std::shared_ptr<ValueRecorder> handler = std::make_shared<ValueRecorder>();
    std::unique_ptr<IntegerAccess> access = std::make_unique<IntegerAccess>(KEY, handler);
};

TEST_F(AnAccessorsDestruction, AllocatesNothing) {
    ASSERT_EQ(access->connect(0), 0);
    access->notifyNewValue(5);
    allocationsUntilFailure = 0;
    access.reset();
    EXPECT_EQ(std::exchange(allocationsUntilFailure, -1), 0);
    EXPECT_EQ(handler.use_count(), 1);
}

// The child process has only the thread that called fork(). The model's thread does not exist there; at the
// fork it is in a handler's call, and so holds no lock of the model.
TEST_F(AnAccessorsDestruction, MayHappenInAForkedChild) {
    ASSERT_EQ(access->connect(0), 0);
    const auto stay = std::make_shared<Stay>();
    IntegerAccess called(KEY, std::make_shared<Staying>(stay));
    ASSERT_EQ(called.connect(0), 0);
    model.set(KEY, 5);
    ASSERT_TRUE(stay->entered.wait());
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        alarm(30);
        access.reset();
        _exit(0);
    }
    stay->mayLeave.set();
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// The handler that calls its owner

class Owner {
  public:
    virtual ~Owner() = default;
    virtual void onVirtual(const ValueObject& value) {
        calls.push_back("owner " + value.convertToStringType());
    }
    void onPlain(const ValueObject& value) { calls.push_back("plain " + value.convertToStringType()); }

    std::vector<std::string> calls;
};

class DerivedOwner : public Owner {
  public:
    void onVirtual(const ValueObject& value) override {
        calls.push_back("derived " + value.convertToStringType());
    }
};

class AnOwnersHandler : public AccessTest {
  protected:
    static LogLine error(const std::string& message) {
        return {tests::ERROR, "value_handler.cpp", "onNewValue", message};
    }

    // The expected message: "No Observer for" and the three addresses.
    static std::string noObserver(const void* handler, const void* owner, const void* callback) {
        char message[200];
        std::snprintf(message, sizeof message, "No Observer for %p,  %p, %p\n", handler, owner, callback);
        return message;
    }
};

TEST_F(AnOwnersHandler, CallsTheMemberFunctionWithTheValue) {
    Owner owner;
    ValueHandlerT<Owner> handler(&owner, &Owner::onPlain);
    handler.onNewValue(ValueObject(5));
    handler.onNewValue(ValueObject("TV"));
    EXPECT_THAT(owner.calls, ElementsAre("plain 5", "plain TV"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AnOwnersHandler, CallsTheVirtualMemberFunctionOfTheDerivedClass) {
    DerivedOwner owner;
    ValueHandlerT<Owner> handler(&owner, &Owner::onVirtual);
    handler.onNewValue(ValueObject(5));
    EXPECT_THAT(owner.calls, ElementsAre("derived 5"));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AnOwnersHandler, DropsTheValueWithoutAnOwnerAndACallback) {
    ValueHandlerT<Owner> handler(nullptr, nullptr);
    handler.onNewValue(ValueObject(5));
    EXPECT_THAT(log.lines(), ElementsAre(error(noObserver(&handler, nullptr, nullptr))));
}

TEST_F(AnOwnersHandler, DropsTheValueWithoutACallback) {
    Owner owner;
    ValueHandlerT<Owner> handler(&owner, nullptr);
    handler.onNewValue(ValueObject(5));
    EXPECT_THAT(log.lines(), ElementsAre(error(noObserver(&handler, &owner, nullptr))));
}

TEST_F(AnOwnersHandler, DropsTheValueWithoutAnOwner) {
    ValueHandlerT<Owner> handler(nullptr, &Owner::onPlain);
    handler.onNewValue(ValueObject(5));
    const std::vector<LogLine> lines = log.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0], error(lines[0].message));
    // The printed form of the callback depends on the compiler, so only the text before it is compared.
    const std::string withoutCallback = noObserver(&handler, nullptr, nullptr);
    EXPECT_EQ(lines[0].message.rfind(withoutCallback.substr(0, withoutCallback.rfind(',') + 2), 0), 0U);
    EXPECT_NE(lines[0].message, withoutCallback);
}

TEST_F(AnOwnersHandler, ReceivesTheChangesOfAKey) {
    Owner owner;
    {
        IntegerAccess access(KEY, std::make_shared<ValueHandlerT<Owner>>(&owner, &Owner::onPlain));
        ASSERT_EQ(access.connect(0), 0);
        model.set(KEY, 60);
        ASSERT_TRUE(model.settle());
    }
    EXPECT_THAT(owner.calls, ElementsAre("plain 60"));
}

}  // namespace
