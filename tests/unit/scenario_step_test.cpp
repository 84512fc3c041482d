// The steps of scenarios: values, channels, actions, notifications and faults.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <ostream>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "keys.h"
#include "scenario_fixture.h"
#include "simulated/faults.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::describe;
using simulated::FaultDefinition;
using simulated::FaultKind;
using simulated::Scenario;
using simulated::ScenarioPlayer;
using simulated::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using tests::AipqService;
using tests::AScenario;
using tests::SET_60;
using tests::step;

namespace simulated {

void PrintTo(const FaultDefinition& fault, std::ostream* out) { *out << fault.name; }

}  // namespace simulated

namespace {

TEST_F(AScenario, SetsKeysOfEveryType) {
    const std::string list = describe(Value(std::vector<int>(27, 3)));
    expectFinished(step(SET_60) +
                   step("set = \"dovra.sl2.str.video.format.info\"\nto = \"3840x2160p@60\"\n") +
                   step("set = \"dovra.sl2.vint.video.aipq.pq.setting\"\nto = " + list + "\n") +
                   step("set = \"dovra.sl2.vstr.tvservice.play.main\"\nto = []\n"));
    EXPECT_EQ(valueOf<int>(BRIGHTNESS), 60);
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "3840x2160p@60");
    EXPECT_EQ(valueOf<std::vector<int>>(PQ_SETTING), std::vector<int>(27, 3));
    EXPECT_THAT(valueOf<std::vector<std::string>>(PLAY_ATTRIBUTES), IsEmpty());
}

TEST_F(AScenario, SwitchesSourceAndChannel) {
    expectFinished(step("source = \"HDMI2\"\n"));
    EXPECT_EQ(valueOf<std::string>(SOURCE), "HDMI2");
    expectFinished(step("channel = 3\n"));
    EXPECT_EQ(valueOf<std::string>(SOURCE), "TV");
    EXPECT_EQ(valueOf<std::string>(HDR_TYPE), "hdr_hlg");
    EXPECT_EQ(television.sourceSwitch().channelNumber(), "3");
    expectFinished(step("channel = \"-1\"\n"));
    EXPECT_EQ(television.sourceSwitch().channelNumber(), "2");
}

TEST_F(AScenario, FailsAtAChannelThatNoLongerExists) {
    const Scenario scenario = parse(step("channel = 3\n"));
    model.setRows("dovra.sl2.table.channel.list", {});
    ScenarioPlayer player(television, scenario, {{}, {}});
    EXPECT_EQ(player.wait().text, "my.toml:1: the television has no channel 3");
}

TEST_F(AScenario, StopsAndRestartsPlayback) {
    expectFinished(step("playing = false\n"));
    EXPECT_FALSE(television.sourceSwitch().playing());
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "");
    expectFinished(step("playing = true\n"));
    EXPECT_TRUE(television.sourceSwitch().playing());
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "1920x1080p@50");
}

TEST_F(AScenario, InvokesActions) {
    const std::string next =
        step("invoke = \"dovra.sl2.action.source.switch\"\narguments = [[1, \"8\"], [3, \"+1\"]]\n");
    expectFinished(next);
    EXPECT_EQ(television.sourceSwitch().channelNumber(), "2");
    EXPECT_THAT(model.invocations(SWITCH_ACTION), SizeIs(1));
    expectFailed(
        step("fault = \"key.invoke_status\"\nkey = \"dovra.sl2.action.source.switch\"\nto = 4\n") + next,
        "my.toml:5: the television refused the action with status 4");
}

TEST_F(AScenario, NotifiesOneApplicationOrAll) {
    AipqService service;
    expectFinished(step("notify = \"running\"\n") + step("notify = \"suspend\"\napplication = \"other\"\n") +
                   step("notify = \"resume\"\napplication = \"aipq\"\n"));
    EXPECT_THAT(service.received(), ElementsAre(1, 4));
}

TEST_F(AScenario, SuspendsToRamAndResumes) {
    AipqService service;
    model.set(VIDEO_FORMAT, std::string("3840x2160p@60"));
    expectFinished(step("power = \"suspend\"\n") + step("power = \"suspend\"\n"));
    EXPECT_TRUE(television.suspended());
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "");
    EXPECT_THAT(service.received(), ElementsAre(2, 6, 7));
    expectFinished(step("power = \"resume\"\n") + step("power = \"resume\"\n"));
    EXPECT_FALSE(television.suspended());
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "3840x2160p@60");
    EXPECT_THAT(service.received(), ElementsAre(2, 6, 7, 8, 9, 4));
}

TEST_F(AScenario, CanAnnounceAnUnchangedValue) {
    std::promise<void> announced;
    const simulated::Events::Subscription listening(television.events(), [&](const simulated::Event& event) {
        if (std::holds_alternative<simulated::Announce>(event.what)) announced.set_value();
    });
    expectFinished(step("announce = \"dovra.sl2.i32.video.brightness\"\n"));
    EXPECT_EQ(announced.get_future().wait_for(0s), std::future_status::ready);
}

TEST_F(AScenario, WithoutAPipelineCannotSetAVideoFault) {
    for (const char* const fault : {"video.stalled", "video.killed"})
        expectFailed(step(std::string("fault = \"") + fault + "\"\nto = true\n"),
                     "my.toml:1: the video pipeline does not run");
}

class EachFault : public AScenario, public testing::WithParamInterface<FaultDefinition> {
  protected:
    static std::string keyOf(const FaultDefinition& fault) { return fault.ofKey ? BRIGHTNESS : ""; }
};

TEST_P(EachFault, IsSetAndClearedByAScenario) {
    const FaultDefinition& fault = GetParam();
    EXPECT_FALSE(fault.meaning.empty());
    EXPECT_EQ(simulated::fault(television, keyOf(fault), fault.name), fault.harmless);
    const std::string set = "fault = \"" + fault.name + "\"\n" +
                            (fault.ofKey ? "key = \"" + std::string(BRIGHTNESS) + "\"\n" : std::string()) +
                            (fault.kind == FaultKind::FLAG ? "to = true\n" : "to = 7\n");
    expectFinished(step(set));
    EXPECT_EQ(simulated::fault(television, keyOf(fault), fault.name), fault.kind == FaultKind::FLAG ? 1 : 7);
    expectFinished(step("clear_faults = true\n"));
    EXPECT_EQ(simulated::fault(television, keyOf(fault), fault.name), fault.harmless);
}

TEST_P(EachFault, IsRefusedOutOfRangeAndForAnotherOwner) {
    const FaultDefinition& fault = GetParam();
    for (const long long value : {fault.lowest - 1, fault.highest + 1})
        EXPECT_THROW(simulated::setFault(television, keyOf(fault), fault.name, value), std::domain_error);
    EXPECT_THROW(simulated::setFault(television, fault.ofKey ? "" : BRIGHTNESS, fault.name, 1),
                 std::invalid_argument);
    if (fault.ofKey) {
        EXPECT_THROW(simulated::setFault(television, "no.such.key", fault.name, 1), std::out_of_range);
    }
}

std::vector<FaultDefinition> faultsWithoutVideo() {
    std::vector<FaultDefinition> faults = simulated::faultDefinitions();
    faults.erase(std::remove_if(faults.begin(), faults.end(),
                                [](const FaultDefinition& fault) { return fault.name.find("video.") == 0; }),
                 faults.end());
    return faults;
}

INSTANTIATE_TEST_SUITE_P(Of, EachFault, testing::ValuesIn(faultsWithoutVideo()), [](const auto& row) {
    std::string name = row.param.name;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
});

TEST_F(AScenario, RefusesAnUnknownFault) {
    EXPECT_EQ(simulated::findFault("key.nothing"), nullptr);
    EXPECT_THROW(simulated::setFault(television, BRIGHTNESS, "key.nothing", 1), std::out_of_range);
    EXPECT_THROW(simulated::fault(television, BRIGHTNESS, "key.nothing"), std::out_of_range);
}

TEST_F(AScenario, KeepsOtherFaultsWhenItSetsOne) {
    simulated::setFault(television, BRIGHTNESS, "key.delay", 20);
    simulated::setFault(television, BRIGHTNESS, "key.repeat", 2);
    EXPECT_EQ(model.faults(BRIGHTNESS).notificationDelay, 20ms);
    EXPECT_EQ(model.faults(BRIGHTNESS).repeatNotifications, 2U);
    EXPECT_EQ(model.faults(CONTRAST).repeatNotifications, 0U);
}

}  // namespace
