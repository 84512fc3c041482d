// The events for which scenarios wait. The second step of each scenario waits for an event that the first
// step or the test causes.
#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <optional>
#include <string>

#include "keys.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "scenario_fixture.h"

using namespace tests::keys;
using simulated::Lifecycle;
using simulated::ScenarioPlayer;
using testing::SizeIs;
using tests::AipqService;
using tests::AScenario;
using tests::Outcome;
using tests::SET_60;
using tests::step;

namespace {

class AnEvent : public AScenario {
  protected:
    // Plays a step that waits for `event`, and calls `cause` after the step before it.
    void expectOccurs(const std::string& event, const std::function<void()>& cause) {
        std::promise<void> underWay;
        ScenarioPlayer player(
            television,
            parse(step("notify = \"ui_status\"\n") + step("after = { " + event + " }\n" + SET_60)),
            {[&](const ScenarioPlayer::Progress& progress) {
                 if (progress.line == 1) underWay.set_value();
             },
             {}});
        underWay.get_future().wait();
        EXPECT_EQ(valueOf<int>(BRIGHTNESS), 50);
        cause();
        const ScenarioPlayer::Result result = player.wait();
        EXPECT_EQ(result.outcome, Outcome::FINISHED) << result.text;
        EXPECT_EQ(valueOf<int>(BRIGHTNESS), 60);
    }

    // Expects the scenario to time out when `event` does not occur.
    void expectTimeout(const std::string& event, const std::string& described) {
        expectFailed(step("after = { " + event + ", within = 0.02 }\n" + SET_60),
                     "my.toml:1: " + described + " did not occur within 0.02 s");
    }
};

TEST_F(AnEvent, OccursWhenAKeyReachesAValue) {
    const std::string event = "key = \"dovra.sl2.i32.video.contrast\", is = 52";
    expectTimeout(event, "key \"dovra.sl2.i32.video.contrast\", is 52");
    expectOccurs(event, [&] {
        // The event also occurs for a value that the key has only briefly.
        for (const int value : {51, 52, 53}) model.set(CONTRAST, value);
    });
}

TEST_F(AnEvent, OccursAtOnceIfAKeyAlreadyHasTheValue) {
    expectFinished(
        step("after = { key = \"dovra.sl2.i32.video.contrast\", is = 50, within = 0 }\n" + SET_60));
}

TEST_F(AnEvent, OccursWhenAKeyChanges) {
    const std::string event = "changes = \"dovra.sl2.i32.video.contrast\"";
    expectTimeout(event, "changes \"dovra.sl2.i32.video.contrast\"");
    expectOccurs(event, [&] { model.set(CONTRAST, 1); });
}

TEST_F(AnEvent, OccursWhenAClientSubscribes) {
    struct Client : lomodelapi::ObserverNumericInteger {
        void notifyNewValue(int) override {}
        void notifyAvailability(bool) override {}
    } client;
    BizValue* value = nullptr;
    const std::string event = "client = \"dovra.sl2.i32.video.contrast\"";
    expectTimeout(event, "client \"dovra.sl2.i32.video.contrast\"");
    expectOccurs(event, [&] { model.root()->connectValue(CONTRAST, &client, value); });
    expectFinished(step("after = { " + event + ", within = 0 }\n" + SET_60));
    model.root()->disconnectValue(CONTRAST, &client, value);
}

TEST_F(AnEvent, OccursWhenAnApplicationRegisters) {
    expectTimeout("registered = \"aipq\"", "registered \"aipq\"");
    std::optional<AipqService> service;
    expectOccurs("registered = \"aipq\"", [&] { service.emplace(); });
    expectFinished(step("after = { registered = \"aipq\", within = 0 }\n" + SET_60));
}

TEST_F(AnEvent, OccursWhenAnApplicationReports) {
    AipqService service;
    expectTimeout("report = 8", "report 8");
    expectOccurs("report = 8", [&] { television.applications().notify(Lifecycle::STR_SUSPEND, ""); });
    model.set(BRIGHTNESS, 50);
    expectOccurs("report = 7, application = \"aipq\"",
                 [&] { television.applications().notify(Lifecycle::STR_SUSPEND, ""); });
    EXPECT_THAT(service.received(), SizeIs(2));
}

TEST_F(AnEvent, OccursWhenTheChannelChanges) {
    expectTimeout("channel = \"any\"", "channel \"any\"");
    expectTimeout("channel = 3", "channel \"3\"");
    expectOccurs("channel = \"any\"", [&] { television.sourceSwitch().selectChannel("2"); });
    model.set(BRIGHTNESS, 50);
    expectOccurs("channel = 3", [&] {
        for (const char* const number : {"4", "3", "5"}) television.sourceSwitch().selectChannel(number);
    });
    expectFinished(step("after = { channel = 5, within = 0 }\n" + SET_60));
}

TEST_F(AnEvent, DoesNotOccurWithoutADeliveredFrame) { expectTimeout("frames = 1", "frames 1"); }

TEST_F(AnEvent, MayBeCausedByThePrecedingStep) {
    expectFinished(
        step("channel = 2\n") + step("after = { channel = \"any\", within = 0 }\n" + SET_60) +
        step("after = { changes = \"dovra.sl2.i32.video.brightness\", within = 0 }\nchannel = 1\n"));
}

TEST_F(AnEvent, OfAnEarlierStepIsIgnored) {
    expectFailed(step("channel = 2\n") + step(SET_60) +
                     step("after = { channel = \"any\", within = 0.02 }\nchannel = 1\n"),
                 "my.toml:6: channel \"any\" did not occur within 0.02 s");
}

}  // namespace
