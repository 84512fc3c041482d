#include "platform_adaptation/system_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "television_test.h"

using namespace std::chrono_literals;
using simulated::ApplicationManager;
using simulated::Lifecycle;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using tests::LogLine;
using zt::appmanager::AppInterface;

namespace {

constexpr char FILE_NAME[] = "system_state.cpp";
constexpr char NAME[] = "aipq";
constexpr char URL[] = "app://aipq/%s";

// A service that records the power states that it receives, and their thread. It passes itself as the user
// data.
class Service {
  public:
    void registerAt(SystemStateInterface& state) { state.registerCallBackTVPowerState(onState, this); }

    std::vector<int> received() const {
        const std::lock_guard lock(m_mutex);
        return m_received;
    }

    pid_t thread() const {
        const std::lock_guard lock(m_mutex);
        return m_thread;
    }

    static void onState(TVPowerState state, void* self) {
        Service& service = *static_cast<Service*>(self);
        const std::lock_guard lock(service.m_mutex);
        service.m_received.push_back(state);
        service.m_thread = gettid();
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<int> m_received;
    pid_t m_thread = 0;
};

using Reports = std::vector<std::pair<std::string, int>>;

class StateTest : public tests::TelevisionTest {
  protected:
    static LogLine info(const std::string& function, const std::string& message) {
        return {tests::INFO, FILE_NAME, function, message};
    }

    static LogLine error(const std::string& function, const std::string& message) {
        return {tests::ERROR, FILE_NAME, function, message};
    }

    // The lines of SystemState, without traces.
    std::vector<LogLine> logged() const {
        std::vector<LogLine> found;
        for (const LogLine& line : log.lines())
            if (line.file == FILE_NAME && line.level != tests::TRACE) found.push_back(line);
        return found;
    }

    Reports reports() const {
        Reports all;
        for (const ApplicationManager::Report& report : manager.reports())
            all.emplace_back(report.name, report.status);
        return all;
    }

    // Expects a notification between `create` and `destroy`, and none after `destroy`.
    void expectNotificationsUntilDestroyed(const std::function<SystemState&()>& create,
                                           const std::function<void()>& destroy) {
        Service listener;
        listener.registerAt(create());
        EXPECT_THAT(manager.applications(), ElementsAre(NAME));
        manager.notifyOne(NAME, Lifecycle::RUNNING, URL);
        ASSERT_TRUE(manager.settle());
        destroy();
        EXPECT_THAT(manager.applications(), IsEmpty());
        manager.notifyOne(NAME, Lifecycle::SUSPEND, URL);
        ASSERT_TRUE(manager.settle());
        EXPECT_THAT(listener.received(), ElementsAre(1));
        EXPECT_THAT(manager.answers(), ElementsAre(0));
    }

    ApplicationManager& manager = television.applications();
    Service service;
};

using ASystemState = StateTest;
using ALifecycleNotification = StateTest;
using ASuspensionToRAM = StateTest;
using AnIgnoredNotification = StateTest;
using APowerState = StateTest;
using AnUnreachableManager = StateTest;

// Life

TEST_F(ASystemState, RegistersUnderACopyOfItsName) {
    std::string name = "first";
    SystemState state(name.c_str());
    name.replace(0, name.size(), "other");
    EXPECT_THAT(manager.applications(), ElementsAre("first"));
    EXPECT_EQ(state.getName(), "first");
    EXPECT_EQ(log.countEnter(FILE_NAME, "registerApp"), 1U);
    EXPECT_EQ(log.countEnter(FILE_NAME, "unRegisterApp"), 0U);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ASystemState, UnregistersOnceWhenItIsDestroyed) {
    { const SystemState state(NAME); }
    EXPECT_THAT(manager.applications(), IsEmpty());
    EXPECT_EQ(log.countEnter(FILE_NAME, "registerApp"), 1U);
    EXPECT_EQ(log.countEnter(FILE_NAME, "unRegisterApp"), 1U);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ASystemState, ThrowsForANullName) {
    EXPECT_THROW(SystemState(nullptr), std::logic_error);
    EXPECT_THAT(manager.applications(), IsEmpty());
}

TEST_F(ASystemState, IsNotifiedOnlyUnderItsOwnName) {
    SystemState one("one");
    const SystemState two("two");
    EXPECT_THAT(manager.applications(), ElementsAre("one", "two"));
    service.registerAt(one);
    manager.notifyOne("two", Lifecycle::RUNNING, URL);
    manager.notifyOne("one", Lifecycle::RESUME, URL);
    ASSERT_TRUE(manager.settle());
    EXPECT_THAT(service.received(), ElementsAre(4));
}

TEST_F(ASystemState, RegistersAgainOnRequest) {
    SystemState state(NAME);
    EXPECT_TRUE(state.unRegisterApp());
    EXPECT_THAT(manager.applications(), IsEmpty());
    EXPECT_TRUE(state.registerApp());
    EXPECT_THAT(manager.applications(), ElementsAre(NAME));
    EXPECT_EQ(log.countEnter(FILE_NAME, "registerApp"), 2U);
    EXPECT_EQ(log.countEnter(FILE_NAME, "unRegisterApp"), 1U);
}

TEST_F(ASystemState, IgnoresARefusalOfTheManager) {
    manager.refuseRegistrations(5);
    SystemState state(NAME);
    EXPECT_THAT(manager.applications(), IsEmpty());
    EXPECT_TRUE(state.registerApp());
    EXPECT_TRUE(state.unRegisterApp());
    EXPECT_THAT(logged(), IsEmpty());
    manager.refuseRegistrations(0);
    EXPECT_TRUE(state.registerApp());
    EXPECT_THAT(manager.applications(), ElementsAre(NAME));
}

TEST_F(ASystemState, MayBeCreatedOnTheStack) {
    std::optional<SystemState> state;
    expectNotificationsUntilDestroyed([&]() -> SystemState& { return state.emplace(NAME); },
                                      [&] { state.reset(); });
}

TEST_F(ASystemState, MayBeCreatedOnTheHeap) {
    SystemState* state = nullptr;
    expectNotificationsUntilDestroyed([&]() -> SystemState& { return *(state = new SystemState(NAME)); },
                                      [&] { delete state; });
}

TEST_F(ASystemState, MayBeDeletedThroughEitherInterface) {
    AppInterface* app = nullptr;
    expectNotificationsUntilDestroyed(
        [&]() -> SystemState& {
            auto* state = new SystemState(NAME);
            app = state;
            return *state;
        },
        [&] { delete app; });
    manager.reset();
    SystemStateInterface* interface = nullptr;
    expectNotificationsUntilDestroyed(
        [&]() -> SystemState& {
            auto* state = new SystemState(NAME);
            interface = state;
            return *state;
        },
        [&] { delete interface; });
}

TEST_F(ASystemState, MayBeOwnedByASharedPointer) {
    std::shared_ptr<SystemState> state;
    expectNotificationsUntilDestroyed(
        [&]() -> SystemState& { return *(state = std::make_shared<SystemState>(NAME)); },
        [&] { state.reset(); });
    manager.reset();
    expectNotificationsUntilDestroyed(
        [&]() -> SystemState& {
            state.reset(new SystemState(NAME));
            return *state;
        },
        [&] { state.reset(); });
}

TEST_F(ASystemState, MayBeOwnedByABoostSharedPointer) {
    boost::shared_ptr<AppInterface> app;
    expectNotificationsUntilDestroyed(
        [&]() -> SystemState& {
            auto* state = new SystemState(NAME);
            app.reset(state);
            return *state;
        },
        [&] { app.reset(); });
    manager.reset();
    boost::shared_ptr<SystemState> state;
    expectNotificationsUntilDestroyed(
        [&]() -> SystemState& { return *(state = boost::make_shared<SystemState>(NAME)); },
        [&] { state.reset(); });
}

TEST_F(ASystemState, IsDestroyedOnlyAfterItsCurrentCallback) {
    struct Stay {
        std::promise<void> entered;
        std::promise<void> mayLeave;
        std::atomic<bool> left{false};
    } stay;
    auto state = std::make_unique<SystemState>(NAME);
    state->registerCallBackTVPowerState(
        [](TVPowerState, void* userData) {
            Stay& mine = *static_cast<Stay*>(userData);
            mine.entered.set_value();
            mine.mayLeave.get_future().wait_for(30s);
            mine.left = true;
        },
        &stay);
    manager.notify(Lifecycle::RUNNING, URL);
    ASSERT_EQ(stay.entered.get_future().wait_for(30s), std::future_status::ready);
    bool leftBefore = false;
    std::thread destroying([&] {
        state.reset();
        leftBefore = stay.left;
    });
    EXPECT_TRUE(log.waitFor("[unRegisterApp]"));
    stay.mayLeave.set_value();
    destroying.join();
    EXPECT_TRUE(leftBefore);
    ASSERT_TRUE(manager.settle());
}

// Notifications

struct Row {
    Lifecycle lifecycle;
    const char* function;
    int (*call)(SystemState&);  // as the manager calls it
    const char* rest;           // the end of its log line, after the URL
    int state;
};

const Row ROWS[]{
    {Lifecycle::RUNNING, "onRunning", [](SystemState& s) { return s.onRunning(URL, "p"); }, "param: p", 1},
    {Lifecycle::SUSPEND, "onSuspend", [](SystemState& s) { return s.onSuspend(URL, "p"); }, "param: p", 2},
    {Lifecycle::SUSPEND_EX, "onSuspendEx", [](SystemState& s) { return s.onSuspendEx(URL, "p"); }, "param: p",
     3},
    {Lifecycle::RESUME, "onResume", [](SystemState& s) { return s.onResume(URL, "p"); }, "param: p", 4},
    {Lifecycle::RESUME_EX, "onResumeEx", [](SystemState& s) { return s.onResumeEx(URL, "p"); }, "param: p",
     5},
    {Lifecycle::STR_SUSPENDING, "onSTRSuspending", [](SystemState& s) { return s.onSTRSuspending(URL, -3); },
     "suspendReason: -3", 6},
    {Lifecycle::STR_SUSPEND, "onSTRSuspend", [](SystemState& s) { return s.onSTRSuspend(URL, -3); },
     "suspendReason: -3", 7},
    {Lifecycle::STR_RESUME, "onSTRResume", [](SystemState& s) { return s.onSTRResume(URL, -3); },
     "resumeReason: -3", 8},
    {Lifecycle::STR_RESUMING, "onSTRResuming", [](SystemState& s) { return s.onSTRResuming(URL, -3); },
     "resumeReason: -3", 9},
};

std::string urlLine(const Row& row) { return std::string("app_url: ") + URL + ", " + row.rest + ".\n"; }

std::string stateLine(int state) { return "tvPowerState: " + std::to_string(state) + ".\n"; }

TEST_F(ALifecycleNotification, IsLoggedAndPassedAsItsPowerState) {
    SystemState state(NAME);
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.function);
        Service listener;
        listener.registerAt(state);
        log.clear();
        EXPECT_EQ(row.call(state), 0);
        EXPECT_THAT(listener.received(), ElementsAre(row.state));
        // The notifications of the suspension to RAM log no ENTER line; the others log it first.
        const bool enters = row.state < TV_POWER_STATE_STR_SUSPENDING;
        EXPECT_EQ(log.countEnter(FILE_NAME, row.function), enters ? 1U : 0U);
        EXPECT_EQ(log.lines().front().level, enters ? unsigned{tests::TRACE} : unsigned{tests::INFO});
        EXPECT_THAT(logged(), ElementsAre(info(row.function, urlLine(row)),
                                          info("notifyTVPowerState", stateLine(row.state))));
    }
}

TEST_F(ALifecycleNotification, ArrivesOnTheManagersThread) {
    SystemState state(NAME);
    service.registerAt(state);
    std::vector<int> expected;
    pid_t thread = 0;
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.function);
        manager.notify(row.lifecycle, URL, "p", -3);
        ASSERT_TRUE(manager.settle());
        expected.push_back(row.state);
        EXPECT_EQ(service.received(), expected);
        EXPECT_EQ(log.count(info(row.function, urlLine(row))), 1U);
        if (thread == 0) thread = service.thread();
        EXPECT_EQ(service.thread(), thread);
    }
    EXPECT_NE(thread, gettid());
    EXPECT_EQ(manager.answers(), std::vector<int>(std::size(ROWS), 0));
}

TEST_F(ALifecycleNotification, IsReportedBackOnlyIfItIsTheSuspensionToRAM) {
    SystemState state(NAME);
    for (const Row& row : ROWS) {
        manager.reset();
        row.call(state);
        EXPECT_EQ(reports(),
                  row.lifecycle == Lifecycle::STR_SUSPEND ? (Reports{{NAME, 7}, {NAME, 8}}) : Reports())
            << row.function;
    }
}

TEST_F(ASuspensionToRAM, IsReportedBeforeAndAfterTheCallback) {
    SystemState state(NAME);
    static std::vector<ApplicationManager::Report> before;
    before.clear();
    state.registerCallBackTVPowerState(
        [](TVPowerState, void* userData) { before = static_cast<ApplicationManager*>(userData)->reports(); },
        &manager);
    manager.notify(Lifecycle::STR_SUSPEND, URL);
    ASSERT_TRUE(manager.settle());
    ASSERT_EQ(before.size(), 1U);
    EXPECT_EQ(before[0].name, NAME);
    EXPECT_EQ(before[0].status, 7);
    EXPECT_THAT(reports(), ElementsAre(Pair(NAME, 7), Pair(NAME, 8)));
}

TEST_F(AnIgnoredNotification, Returns0AndHasNoOtherEffect) {
    SystemState state(NAME);
    service.registerAt(state);
    log.clear();
    const Lifecycle ignored[]{Lifecycle::DESTROY,          Lifecycle::GET_FOCUS, Lifecycle::LOST_FOCUS,
                              Lifecycle::RESOURCE_READY,   Lifecycle::UI_STATUS, Lifecycle::EVENT_MESSAGE,
                              Lifecycle::RELEASE_RESOURCE, Lifecycle::KEY_EVENT};
    for (const Lifecycle lifecycle : ignored) manager.notify(lifecycle, URL, "text", 3);
    ASSERT_TRUE(manager.settle());
    EXPECT_EQ(manager.answers(), std::vector<int>(std::size(ignored), 0));
    EXPECT_THAT(service.received(), IsEmpty());
    EXPECT_THAT(reports(), IsEmpty());
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_THAT(manager.applications(), ElementsAre(NAME));
}

// The callback

TEST_F(APowerState, IsPassedWithTheUserDataOnTheCallersThread) {
    SystemState state(NAME);
    service.registerAt(state);
    log.clear();
    state.notifyTVPowerState(TV_POWER_STATE_STR_RESUMING);
    EXPECT_THAT(service.received(), ElementsAre(9));
    EXPECT_EQ(service.thread(), gettid());
    EXPECT_THAT(logged(), ElementsAre(info("notifyTVPowerState", stateLine(9))));
}

TEST_F(APowerState, IsLoggedWithAnErrorWithoutACallback) {
    SystemState state(NAME);
    service.registerAt(state);
    state.registerCallBackTVPowerState(nullptr, &service);
    for (const bool fresh : {false, true}) {
        SystemState other("other");
        log.clear();
        (fresh ? other : state).notifyTVPowerState(TV_POWER_STATE_RUNNING);
        const std::vector<LogLine> lines = logged();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[0], info("notifyTVPowerState", stateLine(1)));
        // The level of this line is not checked.
        LogLine none = info("notifyTVPowerState", "m_notifyTVPowerState is NULL.\n");
        none.level = lines[1].level;
        EXPECT_EQ(lines[1], none);
    }
    EXPECT_THAT(service.received(), IsEmpty());
}

TEST_F(APowerState, IsReportedToTheManagerWithoutACallback) {
    SystemState state(NAME);
    EXPECT_EQ(state.onSTRSuspend(URL, 0), 0);
    EXPECT_THAT(reports(), ElementsAre(Pair(NAME, 7), Pair(NAME, 8)));
}

TEST_F(APowerState, ReachesTheCallbackRegisteredLast) {
    SystemState state(NAME);
    Service next;
    service.registerAt(state);
    next.registerAt(state);
    EXPECT_EQ(log.countEnter(FILE_NAME, "registerCallBackTVPowerState"), 2U);
    EXPECT_THAT(logged(), IsEmpty());
    state.notifyTVPowerState(TV_POWER_STATE_SUSPEND);
    EXPECT_THAT(service.received(), IsEmpty());
    EXPECT_THAT(next.received(), ElementsAre(2));
}

TEST_F(APowerState, IsPassedWhileCallbacksAreReplaced) {
    SystemState state(NAME);
    Service other;
    service.registerAt(state);
    std::atomic<bool> ending{false};
    std::thread registering([&] {
        while (!ending) {
            other.registerAt(state);
            service.registerAt(state);
        }
    });
    constexpr std::size_t ROUNDS = 30;
    for (std::size_t i = 0; i < ROUNDS; ++i)
        for (const Row& row : ROWS) manager.notify(row.lifecycle, URL);
    const bool settled = manager.settle();
    ending = true;
    registering.join();
    ASSERT_TRUE(settled);
    EXPECT_EQ(service.received().size() + other.received().size(), ROUNDS * std::size(ROWS));
}

// Without an application manager

TEST_F(AnUnreachableManager, IsLoggedAtEachRegistration) {
    manager.setReachable(false);
    const std::string message = "Failed to get an instance of AppManagerClient.\n";
    std::optional<SystemState> state(NAME);
    EXPECT_FALSE(state->registerApp());
    EXPECT_FALSE(state->unRegisterApp());
    EXPECT_EQ(state->getName(), NAME);
    state.reset();
    const LogLine registering = error("registerApp", message);
    const LogLine unregistering = error("unRegisterApp", message);
    EXPECT_THAT(logged(), ElementsAre(registering, registering, unregistering, unregistering));
    EXPECT_EQ(log.countEnter(FILE_NAME, "registerApp"), 2U);
    EXPECT_EQ(log.countEnter(FILE_NAME, "unRegisterApp"), 2U);
    manager.setReachable(true);
    state.emplace(NAME);
    EXPECT_THAT(manager.applications(), ElementsAre(NAME));
}

TEST_F(AnUnreachableManager, IsNotContactedAgain) {
    manager.setReachable(false);
    SystemState state(NAME);
    manager.setReachable(true);
    EXPECT_FALSE(state.registerApp());
    EXPECT_THAT(manager.applications(), IsEmpty());
}

TEST_F(AnUnreachableManager, DoesNotPreventCallbacks) {
    manager.setReachable(false);
    SystemState state(NAME);
    service.registerAt(state);
    for (const Row& row : ROWS) EXPECT_EQ(row.call(state), 0) << row.function;
    EXPECT_THAT(service.received(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
    EXPECT_THAT(reports(), IsEmpty());
}

}  // namespace
