// Faults of the application manager, of thread creation and of the debug output.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <future>
#include <string>
#include <vector>

#include "eventually.h"
#include "keys.h"
#include "model_fault_fixture.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"
#include "recorders.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::KeyFaults;
using simulated::Lifecycle;
using testing::ElementsAre;
using tests::eventually;
using tests::FaultTest;
using tests::Gate;
using tests::Integer;
using tests::Received;
using tests::Service;
using tests::String;

namespace {

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
