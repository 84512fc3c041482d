#include "platform_adaptation/system_access/action_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "attempts.h"
#include "keys.h"
#include "lomodelapi/argument.h"
#include "lomodelapi/object_type_spec.h"
#include "lomodelapi/observer.h"
#include "recorders.h"
#include "television_test.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::Answer;
using simulated::KeyFaults;
using simulated::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;
using tests::ActionRecorder;
using tests::LogLine;

namespace {

using Clock = std::chrono::steady_clock;
using Arguments = std::vector<Argument>;

constexpr char FILE_NAME[] = "action_access.cpp";
constexpr auto LIMIT = 30s;

// One of the two notifications that the model sends for an action.
struct Notification {
    const char* function;
    std::function<void(ActionAccess&)> call;
    LogLine line;
    std::string answer;
};

std::vector<Notification> bothNotifications(const std::string& key) {
    return {
        {"notifyExecutionError",
         [](ActionAccess& access) { access.notifyExecutionError(7, 22); },
         {tests::ERROR, FILE_NAME, "notifyExecutionError", "Action Failed : " + key + ",  7,  22\n"},
         "7 failed 22"},
        {"notifyResult",
         [](ActionAccess& access) {
             access.notifyResult(8, {{0, 1, "b"}, {0, 0, "a"}});
         },
         {tests::INFO, FILE_NAME, "notifyResult", "Action Result: " + key + ",  8,  2\n"},
         "8 [a,b]"},
    };
}

class ActionTest : public tests::TelevisionTest {
  protected:
    void SetUp() override {
        define(OBJECT_TYPE_ACTION);
        model.setAction(KEY, {});
    }

    void define(ObjectTypeSpec type, const Value& value = {}) {
        model.define({"", KEY, type, value, {}, "", {}, {}});
    }

    template <typename T>
    void setFault(T KeyFaults::*fault, T value) {
        KeyFaults faults;
        faults.*fault = value;
        model.setFaults(KEY, faults);
    }

    // Invokes the action, expects success, and returns the id.
    int invoke(ActionAccess& access, const Arguments& arguments = {}) {
        unsigned id = 0;
        EXPECT_EQ(access.invoke(id, arguments), 0);
        return static_cast<int>(id);
    }

    static LogLine error(const char* function, const std::string& message) {
        return {tests::ERROR, FILE_NAME, function, message};
    }

    static constexpr char KEY[] = "test.access.action";

    const std::shared_ptr<ActionRecorder> handler = std::make_shared<ActionRecorder>();
};

// Creation and destruction

using AnActionAccessor = ActionTest;

TEST_F(AnActionAccessor, DoesNotConnectWhenItIsCreatedOrDestroyed) {
    {
        const ActionAccess without(KEY);
        const ActionAccess with(KEY, handler);
    }
    EXPECT_EQ(television.framework().lookups(), 0U);
    EXPECT_EQ(model.connectAttempts(KEY), 0U);
}

TEST_F(AnActionAccessor, DisconnectsWhenDestroyedThroughAnyBaseClass) {
    const std::vector<std::function<void(ActionAccess*)>> ways{
        [](ActionAccess* access) { delete access; },
        [](ActionAccess* access) { delete static_cast<ValueAccessBase*>(access); },
        [](ActionAccess* access) { delete static_cast<ObserverAction*>(access); },
    };
    for (const auto& destroy : ways) {
        auto access = std::make_unique<ActionAccess>(KEY, handler);
        ASSERT_EQ(access->connect(0), 0);
        ASSERT_EQ(model.subscribers(KEY), 1U);
        const unsigned lookups = television.framework().lookups();
        destroy(access.release());
        EXPECT_EQ(television.framework().lookups(), lookups + 1);
        EXPECT_EQ(model.subscribers(KEY), 0U);
        EXPECT_EQ(handler.use_count(), 1);
    }
}

TEST_F(AnActionAccessor, DropsPendingAnswersWhenItIsDestroyed) {
    {
        ActionAccess access(KEY, handler);
        ASSERT_EQ(access.connect(0), 0);
        model.holdNotifications();
        invoke(access);
    }
    model.releaseNotifications(simulated::Order::AS_THEY_CAME);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), IsEmpty());
}

TEST_F(AnActionAccessor, IgnoresAChangeOfAvailability) {
    ActionAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    model.withdraw(KEY);
    model.offer(KEY);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(handler->received.all(), IsEmpty());
    EXPECT_EQ(access.getType(), OBJECT_TYPE_ACTION);
}

// Connecting

class AnActionsTimeout : public ActionTest, public testing::WithParamInterface<tests::Attempts> {};

TEST_P(AnActionsTimeout, DeterminesTheNumberOfAttempts) {
    tests::expectAttempts<ActionAccess>(KEY, GetParam());
}

INSTANTIATE_TEST_SUITE_P(, AnActionsTimeout, testing::ValuesIn(tests::ATTEMPTS));

using AnActionsConnection = ActionTest;

TEST_F(AnActionsConnection, SucceedsAtTheFirstAttemptWithoutALogLine) {
    ActionAccess access(KEY);
    EXPECT_EQ(access.connect(1000), 0);
    EXPECT_EQ(access.getType(), OBJECT_TYPE_ACTION);
    EXPECT_EQ(model.connectAttempts(KEY), 1U);
    EXPECT_EQ(model.subscribers(KEY), 1U);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AnActionsConnection, FailsAtOnceWithoutATimeout) {
    model.withdraw(KEY);
    ActionAccess access(KEY);
    // Measures the shortest of several calls; a pause would lengthen all of them.
    auto quickest = Clock::duration::max();
    for (int i = 0; i < 10; ++i) {
        const auto start = Clock::now();
        EXPECT_EQ(access.connect(0), 5);
        quickest = std::min(quickest, Clock::now() - start);
    }
    EXPECT_LT(quickest, 100ms);
}

TEST_F(AnActionsConnection, LogsTheStatusOfTheModelIfItFails) {
    ActionAccess access(KEY);
    for (const int status : {3, 99, -1}) {
        setFault(&KeyFaults::connectStatus, status);
        log.clear();
        EXPECT_EQ(access.connect(0), 5);
        EXPECT_THAT(log.lines(), ElementsAre(error("connect", "Failed " + std::to_string(status) + "\n")));
    }
    EXPECT_EQ(access.getType(), 0);
    EXPECT_EQ(model.subscribers(KEY), 0U);
}

TEST_F(AnActionsConnection, LogsTheStatusOfTheLastAttempt) {
    setFault(&KeyFaults::connectStatus, 11);
    ActionAccess access(KEY);
    auto connecting = std::async(std::launch::async, [&] { return access.connect(2000); });
    const auto limit = Clock::now() + LIMIT;
    while (model.connectAttempts(KEY) == 0 && Clock::now() < limit) std::this_thread::sleep_for(1ms);
    setFault(&KeyFaults::connectStatus, 12);
    EXPECT_EQ(connecting.get(), 5);
    EXPECT_THAT(log.lines(), ElementsAre(error("connect", "Failed 12\n")));
}

TEST_F(AnActionsConnection, FailsIfTheModelReturnsNoObject) {
    setFault(&KeyFaults::connectYieldsNothing, true);
    ActionAccess access(KEY);
    EXPECT_EQ(access.connect(150), 5);
    EXPECT_EQ(model.connectAttempts(KEY), 2U);
    EXPECT_THAT(log.lines(), ElementsAre(error("connect", "Failed 0\n")));
    EXPECT_EQ(access.getType(), 0);
}

TEST_F(AnActionsConnection, SucceedsOnceTheActionIsAvailable) {
    model.withdraw(KEY);
    ActionAccess access(KEY, handler);
    auto connecting = std::async(std::launch::async, [&] { return access.connect(60000); });
    const auto limit = Clock::now() + LIMIT;
    while (model.connectAttempts(KEY) < 2 && Clock::now() < limit) std::this_thread::sleep_for(1ms);
    model.offer(KEY);
    EXPECT_EQ(connecting.get(), 0);
    EXPECT_GE(model.connectAttempts(KEY), 3U);
    EXPECT_THAT(log.lines(), IsEmpty());
    const int id = invoke(access);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), ElementsAre(ActionRecorder::resultText(id, ValueObject("[]"))));
}

TEST_F(AnActionsConnection, IsKeptByFurtherCallsWithAnyTimeout) {
    ActionAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    model.withdraw(KEY);
    const unsigned lookups = television.framework().lookups();
    for (const int timeoutMs : {5000, 0, -1, INT_MIN}) EXPECT_EQ(access.connect(timeoutMs), 0);
    EXPECT_EQ(television.framework().lookups(), lookups);
    EXPECT_EQ(model.connectAttempts(KEY), 1U);
    EXPECT_EQ(model.subscribers(KEY), 1U);
}

TEST_F(AnActionsConnection, KeepsTheTimeoutOfTheLastCall) {
    ActionAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    ASSERT_EQ(access.connect(250), 0);
    access.disconnect();
    model.withdraw(KEY);
    const unsigned before = model.connectAttempts(KEY);
    EXPECT_EQ(access.tryConnectIfNeeded(), 5);
    EXPECT_EQ(model.connectAttempts(KEY) - before, 3U);
}

TEST_F(AnActionsConnection, IsClosedIfTheObjectIsNoAction) {
    const std::vector<std::pair<ObjectTypeSpec, Value>> otherTypes{
        {OBJECT_TYPE_NONE, {}},
        {OBJECT_TYPE_NUMERIC_INTEGER, 1},
        {OBJECT_TYPE_STRING, std::string()},
        {OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, std::vector<int>()},
        {OBJECT_TYPE_VECTOR_STRING, std::vector<std::string>()},
        {OBJECT_TYPE_TABLE, {}},
        {OBJECT_TYPE_VECTOR_INTEGER, {}},
        {OBJECT_TYPE_NUMERIC_INT64, 1LL},
    };
    ActionAccess access(KEY);
    unsigned attempts = 0;
    for (const auto& [type, value] : otherTypes) {
        SCOPED_TRACE(type);
        define(type, value);
        log.clear();
        EXPECT_EQ(access.connect(1000), 6);
        EXPECT_THAT(log.lines(),
                    ElementsAre(error("connect", std::string("Observer Type not match for ") + KEY + ",( " +
                                                     std::to_string(type) + " ) vs ObserverAction \n")));
        EXPECT_EQ(model.connectAttempts(KEY), ++attempts);
        EXPECT_EQ(model.subscribers(KEY), 0U);
        unsigned id = 0;
        EXPECT_EQ(access.invoke(id, {}), -1);
    }
    define(OBJECT_TYPE_ACTION);
    EXPECT_EQ(access.connect(0), 0);
}

// Disconnecting

using AnActionsDisconnection = ActionTest;

TEST_F(AnActionsDisconnection, EndsTheSubscriptionAndAllowsAnother) {
    ActionAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    model.holdNotifications();
    invoke(access);
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(model.subscribers(KEY), 0U);
    EXPECT_EQ(access.getType(), 0);
    model.releaseNotifications(simulated::Order::AS_THEY_CAME);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), IsEmpty());
    EXPECT_EQ(access.connect(0), 0);
    invoke(access);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(handler->received.count(), 1U);
}

TEST_F(AnActionsDisconnection, IsRequestedFromTheModelWithoutAConnection) {
    {
        ActionAccess access(KEY);
        for (unsigned lookups = 1; lookups <= 3; ++lookups) {
            EXPECT_EQ(access.disconnect(), 0);
            EXPECT_EQ(television.framework().lookups(), lookups);
        }
    }
    EXPECT_EQ(television.framework().lookups(), 3U);
}

// The handler

using AnActionsHandler = ActionTest;

TEST_F(AnActionsHandler, IsReleasedWhenItIsReplaced) {
    const auto other = std::make_shared<ActionRecorder>();
    ActionAccess access(KEY, handler);
    EXPECT_EQ(access.setActionResultHandler(handler), 0);
    access.notifyExecutionError(1, 2);
    EXPECT_EQ(access.setActionResultHandler(other), 0);
    EXPECT_EQ(handler.use_count(), 1);
    access.notifyExecutionError(3, 4);
    EXPECT_EQ(access.setActionResultHandler(nullptr), 0);
    EXPECT_EQ(other.use_count(), 1);
    access.notifyExecutionError(5, 6);
    EXPECT_THAT(handler->received.all(), ElementsAre("1 failed 2"));
    EXPECT_THAT(other->received.all(), ElementsAre("3 failed 4"));
}

TEST_F(AnActionsHandler, ReceivesAnswersIfItIsSetAfterConnecting) {
    ActionAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    access.setActionResultHandler(handler);
    invoke(access);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(handler->received.count(), 1U);
}

TEST_F(AnActionsHandler, IsIndependentOfTheValueHandler) {
    class Values : public ValueHandler {
      public:
        void onNewValue(const ValueObject&) override { ++calls; }
        int calls = 0;
    };
    const auto values = std::make_shared<Values>();
    ActionAccess access(KEY);
    access.setNewValueHandler(values);
    for (const Notification& notification : bothNotifications(KEY)) notification.call(access);
    EXPECT_EQ(values->calls, 0);
}

TEST_F(AnActionsHandler, MayReplaceItself) {
    for (const Notification& notification : bothNotifications(KEY)) {
        ActionAccess access(KEY);
        auto leaving = std::make_shared<ActionRecorder>([&] { access.setActionResultHandler(handler); });
        const std::weak_ptr<ActionRecorder> watched = leaving;
        access.setActionResultHandler(std::move(leaving));
        notification.call(access);
        EXPECT_TRUE(watched.expired());
        notification.call(access);
        EXPECT_EQ(handler->received.all().back(), notification.answer);
    }
    EXPECT_EQ(handler->received.count(), 2U);
}

// Invoking

using AnInvocation = ActionTest;

TEST_F(AnInvocation, FailsWithoutAConnectionAndDoesNotConnect) {
    ActionAccess access(KEY, handler);
    unsigned id = 4711;
    EXPECT_EQ(access.invoke(id, {{0, 0, "a"}}), -1);
    EXPECT_EQ(id, 4711U);
    EXPECT_THAT(log.lines(), ElementsAre(error("invoke", "No Access yet.\n")));
    EXPECT_EQ(television.framework().lookups(), 0U);
    ASSERT_EQ(access.connect(0), 0);
    access.disconnect();
    EXPECT_EQ(access.invoke(id, {}), -1);
    EXPECT_EQ(id, 4711U);
    EXPECT_THAT(model.invocations(KEY), IsEmpty());
}

TEST_F(AnInvocation, PassesItsArgumentsUnchangedAndReturnsItsId) {
    const std::vector<Arguments> lists{
        {},
        {{0, 0, "setChannel"}, {0, 1, "12"}, {0, 2, ""}},
        {{7, 65535, std::string("a\0b", 3)}, {65535, 2, std::string(5000, 'x')}, {0, 2, "%s%n"}},
    };
    ActionAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    for (const Arguments& list : lists) {
        unsigned id = 0;
        EXPECT_EQ(access.invoke(id, list), 0);
        const simulated::Invocation received = model.invocations(KEY).back();
        EXPECT_EQ(received.id, id);
        ASSERT_EQ(received.arguments.size(), list.size());
        for (std::size_t i = 0; i < list.size(); ++i) {
            EXPECT_EQ(received.arguments[i].type, list[i].type);
            EXPECT_EQ(received.arguments[i].position, list[i].position);
            EXPECT_EQ(received.arguments[i].value, list[i].value);
        }
    }
    EXPECT_EQ(model.invocations(KEY).size(), lists.size());
}

TEST_F(AnInvocation, ReturnsTheStatusOfTheModelWithoutALogLine) {
    ActionAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    for (const int status : {1, 5, 6, 7, -1, INT_MAX, INT_MIN}) {
        setFault(&KeyFaults::invokeStatus, status);
        unsigned id = 0;
        EXPECT_EQ(access.invoke(id, {}), status);
    }
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(handler->received.all(), IsEmpty());
}

TEST_F(AnInvocation, IsAnsweredUnderItsIdWithTheActionsResult) {
    model.setAction(KEY, [](const Arguments& arguments) {
        const std::string& text = arguments.at(0).value;
        return text == "fail" ? Answer{-22, {}} : Answer{0, {{0, 1, text}, {0, 0, "done"}}};
    });
    ActionAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    const int up = invoke(access, {{0, 0, "up"}});
    const int fail = invoke(access, {{0, 0, "fail"}});
    const int down = invoke(access, {{0, 0, "down"}});
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(),
                ElementsAre(std::to_string(up) + " [done,up]", ActionRecorder::failureText(fail, -22),
                            std::to_string(down) + " [done,down]"));
}

TEST_F(AnInvocation, MayBeAnsweredOnAModelThreadBeforeItReturns) {
    setFault(&KeyFaults::answerBeforeReturning, true);
    std::atomic<std::thread::id> thread{std::this_thread::get_id()};
    const auto recorder = std::make_shared<ActionRecorder>([&] { thread = std::this_thread::get_id(); });
    ActionAccess access(KEY, recorder);
    ASSERT_EQ(access.connect(0), 0);
    const int id = invoke(access);
    EXPECT_THAT(recorder->received.all(), ElementsAre(std::to_string(id) + " []"));
    EXPECT_NE(thread.load(), std::this_thread::get_id());
}

TEST_F(AnInvocation, NotifiesTheHandlerOfEachRepeatedAnswer) {
    ActionAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    setFault(&KeyFaults::repeatAnswers, 2U);
    const std::string thrice = std::to_string(invoke(access)) + " []";
    ASSERT_TRUE(model.settle());
    setFault(&KeyFaults::neverAnswer, true);
    const int later = invoke(access);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), ElementsAre(thrice, thrice, thrice));
    model.setFaults(KEY, {});
    model.answer(KEY, static_cast<unsigned>(later), {5, {}});
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(handler->received.all().back(), ActionRecorder::failureText(later, 5));
}

TEST_F(AnInvocation, IsNotRequiredForAnAnswer) {
    ActionAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    model.answer(KEY, 123456, {0, {{0, 0, "a"}}});
    model.answer(KEY, UINT_MAX, {0, {}});
    model.answer(KEY, 0x80000000U, {7, {}});
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(),
                ElementsAre("123456 [a]", "-1 []", ActionRecorder::failureText(INT_MIN, 7)));
    EXPECT_THAT(model.invocations(KEY), IsEmpty());
}

TEST_F(AnInvocation, MayBeMadeInTheHandlerOfAnAnswer) {
    ActionAccess access(KEY);
    std::atomic<int> more{3};
    const auto repeating = std::make_shared<ActionRecorder>([&] {
        if (more-- > 0) invoke(access);
    });
    access.setActionResultHandler(repeating);
    ASSERT_EQ(access.connect(0), 0);
    invoke(access);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(repeating->received.count(), 4U);
}

TEST_F(AnInvocation, HasAUniqueIdOnEveryThread) {
    model.setNotificationDelay(0ms);
    ActionAccess access(KEY, handler);
    ASSERT_EQ(access.connect(0), 0);
    std::vector<std::future<std::vector<std::string>>> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.push_back(std::async(std::launch::async, [&] {
            std::vector<std::string> expected;
            for (int i = 0; i < 25; ++i) expected.push_back(std::to_string(invoke(access)) + " []");
            return expected;
        }));
    std::vector<std::string> expected;
    for (auto& thread : threads)
        for (const std::string& answer : thread.get()) expected.push_back(answer);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(), UnorderedElementsAreArray(expected));
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(std::unique(expected.begin(), expected.end()), expected.end());
}

TEST_F(AnInvocation, ReachesTheTelevisionsSourceSwitch) {
    ActionAccess access(SWITCH_ACTION, handler);
    ASSERT_EQ(access.connect(1000), 0);
    const int id = invoke(access, {{0, 0, "there is no such command"}});
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(handler->received.all(),
                ElementsAre(ActionRecorder::failureText(id, simulated::SourceSwitch::ERROR_UNKNOWN_COMMAND)));
}

// Answers

using AnAnswer = ActionTest;

TEST_F(AnAnswer, IsLoggedAndPassedToTheHandler) {
    ActionAccess access(KEY, handler);
    for (const Notification& notification : bothNotifications(KEY)) {
        SCOPED_TRACE(notification.function);
        log.clear();
        notification.call(access);
        EXPECT_EQ(log.countEnter(FILE_NAME, notification.function), 1U);
        ASSERT_EQ(log.lines().size(), 2U);
        EXPECT_EQ(log.lines()[1], notification.line);
        EXPECT_EQ(handler->received.all().back(), notification.answer);
    }
    EXPECT_EQ(handler->received.count(), 2U);
}

TEST_F(AnAnswer, IsOnlyLoggedWithoutAHandler) {
    ActionAccess access(KEY);
    for (const Notification& notification : bothNotifications(KEY)) {
        SCOPED_TRACE(notification.function);
        log.clear();
        notification.call(access);
        EXPECT_EQ(log.countEnter(FILE_NAME, notification.function), 1U);
        EXPECT_EQ(log.count(notification.line), 1U);
        EXPECT_EQ(log.lines().size(), 2U);
    }
}

TEST_F(AnAnswer, IsLoggedWithSignedNumbersAndTheNumberOfArguments) {
    ActionAccess access(KEY);
    access.notifyExecutionError(UINT_MAX, INT_MIN);
    access.notifyResult(0x80000000U, Arguments(300));
    EXPECT_EQ(log.count(error("notifyExecutionError",
                              std::string("Action Failed : ") + KEY + ",  -1,  -2147483648\n")),
              1U);
    EXPECT_EQ(log.withMessage(std::string("Action Result: ") + KEY + ",  -2147483648,  300\n").size(), 1U);
}

TEST_F(AnAnswer, ListsItsTextsInTheOrderOfTheirPositions) {
    ActionAccess access(KEY, handler);
    access.notifyResult(5, {{0, 2, "c"}, {9, 0, "a"}, {65535, 1, "b"}});
    const ValueObject result = handler->result;
    EXPECT_EQ(result.type(), ValueObject::TYPE_VECTOR);
    EXPECT_EQ(handler->received.all().back(), "5 [a,b,c]");
    for (const ValueObject& item : result.items) EXPECT_EQ(item.type(), ValueObject::TYPE_STRING);
    EXPECT_EQ(handler->capacity, 3U);
}

TEST_F(AnAnswer, IsAnEmptyListWithoutArguments) {
    ActionAccess access(KEY, handler);
    access.notifyResult(5, {});
    EXPECT_EQ(handler->result.type(), ValueObject::TYPE_VECTOR);
    EXPECT_THAT(handler->received.all(), ElementsAre("5 []"));
}

TEST_F(AnAnswer, KeepsItsTextsUnchanged) {
    const std::string text("a\0b%s", 5);
    ActionAccess access(KEY, handler);
    access.notifyResult(5, {{0, 1, std::string(3000, 'x')}, {0, 0, text}});
    ASSERT_EQ(handler->result.items.size(), 2U);
    EXPECT_EQ(handler->result.items[0].text, text);
    EXPECT_EQ(handler->result.items[1].text, std::string(3000, 'x'));
}

struct Placing {
    std::vector<unsigned> positions;  // the positions of the texts a, b, c, ...
    const char* result;
};

TEST_F(AnAnswer, DropsTextsBeyondTheListAndLeavesGapsEmpty) {
    const std::vector<Placing> table{
        {{0, 0, 0}, "[c,,]"},
        {{1, 1}, "[,b]"},
        {{1, 2}, "[,a]"},
        {{3, 4, 5}, "[,,]"},
        {{128, 0}, "[b,]"},
        {{255}, "[]"},
        {{256}, "[a]"},
        {{257, 512}, "[b,a]"},
        {{65280, 65281, 65282}, "[a,b,c]"},
        {{65535, 65408, 1}, "[,c,]"},
        {{127, 128}, "[,]"},
        {{0, 256, 65280}, "[c,,]"},
    };
    for (const auto& [positions, result] : table) {
        Arguments arguments;
        char name = 'a';
        for (const unsigned position : positions)
            arguments.push_back({0, static_cast<std::uint16_t>(position), std::string(1, name++)});
        ActionAccess access(KEY, handler);
        access.notifyResult(1, arguments);
        EXPECT_EQ(handler->received.all().back(), std::string("1 ") + result);
        EXPECT_EQ(handler->result.items.size(), positions.size());
    }
}

// The expected list, computed separately: the index of a text is the low byte of its position as a signed
// number.
std::vector<std::string> placed(const Arguments& arguments) {
    std::vector<std::string> list(arguments.size());
    for (const Argument& argument : arguments) {
        const unsigned low = argument.position % 256U;
        if (low < 128 && low < list.size()) list[low] = argument.value;
    }
    return list;
}

class AnAnswerOfSize : public ActionTest, public testing::WithParamInterface<std::size_t> {
  protected:
    void expectPlaced(const Arguments& arguments) {
        access.notifyResult(1, arguments);
        const ValueObject result = handler->result;
        const std::vector<std::string> expected = placed(arguments);
        ASSERT_EQ(result.items.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            ASSERT_EQ(result.items[i].type(), ValueObject::TYPE_STRING);
            ASSERT_EQ(result.items[i].text, expected[i]) << "at " << i;
        }
    }

    void SetUp() override { television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF); }

    ActionAccess access{KEY, handler};
};

TEST_P(AnAnswerOfSize, NeverWritesOutsideItsList) {
    const std::size_t size = GetParam();
    for (unsigned first = 0; first <= UINT16_MAX;
         first += static_cast<unsigned>(std::max<std::size_t>(size, 1))) {
        Arguments arguments;
        for (unsigned i = 0; i < size; ++i)
            arguments.push_back({0, static_cast<std::uint16_t>(first + i), std::to_string(first + i)});
        ASSERT_NO_FATAL_FAILURE(expectPlaced(arguments));
        if (size == 0) break;
    }
}

TEST_P(AnAnswerOfSize, PlacesEachTextByItsPosition) {
    std::mt19937 random(static_cast<unsigned>(GetParam()));
    // First any positions, then positions about as large as the list, which therefore repeat.
    for (const unsigned range : {65536U, static_cast<unsigned>(GetParam()) + 2}) {
        for (int round = 0; round < 30; ++round) {
            Arguments arguments;
            for (std::size_t i = 0; i < GetParam(); ++i)
                arguments.push_back(
                    {0, static_cast<std::uint16_t>(random() % range), std::to_string(random())});
            ASSERT_NO_FATAL_FAILURE(expectPlaced(arguments));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, AnAnswerOfSize, testing::Values(0, 1, 127, 128, 129, 255, 256, 257, 300));

}  // namespace
