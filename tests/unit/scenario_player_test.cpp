// Playing scenarios: expectations, times, speeds, and the end. The tests that need a picture are in
// scenario_video_test.cpp.
#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <future>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "keys.h"
#include "scenario_fixture.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::ScenarioPlayer;
using testing::ElementsAre;
using tests::AScenario;
using tests::Outcome;
using tests::SET_60;
using tests::step;

namespace {

TEST_F(AScenario, ExpectsAValueAtOnceOrWithinATime) {
    const std::string expect = "expect = \"dovra.sl2.i32.video.contrast\"\n";
    expectFinished(step(expect + "is = 50\n"));
    expectFailed("\n" + step(expect + "is = 51\n"),
                 "my.toml:2: expected dovra.sl2.i32.video.contrast to be 51, but it is 50");
    expectFailed(step(expect + "is = 51\nwithin = 0.02\n"),
                 "my.toml:1: expected dovra.sl2.i32.video.contrast to be 51 within 0.02 s, but it is 50");
    expectFailed(step("expect = \"dovra.sl2.str.source.current.path\"\nis = \"HDMI1\"\n") + step(SET_60),
                 "my.toml:1: expected dovra.sl2.str.source.current.path to be \"HDMI1\", but it is \"TV\"");
    EXPECT_EQ(valueOf<int>(BRIGHTNESS), 50) << "a scenario ends at its first failure";

    std::promise<void> underWay;
    ScenarioPlayer player(television, parse(step(SET_60) + step(expect + "is = 51\nwithin = 30\n")),
                          {[&](const ScenarioPlayer::Progress& progress) {
                               if (progress.line == 1) underWay.set_value();
                           },
                           {}});
    underWay.get_future().wait();
    model.set(CONTRAST, 51);
    EXPECT_EQ(player.wait().outcome, Outcome::FINISHED);
}

TEST_F(AScenario, ReportsItsStepsAndItsResult) {
    std::vector<std::string> reported;
    std::vector<std::size_t> lines;
    ScenarioPlayer player(
        television, parse(step(SET_60) + step("at = 7200\nchannel = 2\n")),
        {[&](const ScenarioPlayer::Progress& progress) {
             reported.push_back(progress.text);
             lines.push_back(progress.line);
             if (progress.line == 4) {
                 EXPECT_GE(progress.time, 7200s);
             }
         },
         [&](const ScenarioPlayer::Result& result) {
             reported.emplace_back(result.outcome == Outcome::FINISHED ? "finished" : "not finished");
         }},
        100'000);
    EXPECT_EQ(player.wait().outcome, Outcome::FINISHED);
    ASSERT_TRUE(player.result());
    EXPECT_EQ(player.result()->text, "");
    EXPECT_THAT(reported,
                ElementsAre("set \"dovra.sl2.i32.video.brightness\", to 60", "channel \"2\"", "finished"));
    EXPECT_THAT(lines, ElementsAre(1, 4));
}

TEST_F(AScenario, WaitsForTheTimesOfItsSteps) {
    const auto start = std::chrono::steady_clock::now();
    expectFinished(step("at = 0.05\n" + SET_60) + step("wait = 0.1\nchannel = 1\n"), 2);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 75ms);
}

TEST_F(AScenario, KeepsItsTimeoutsAtAnySpeed) {
    for (const std::string missed : {"after = { channel = \"any\", within = 0.1 }\nchannel = 1\n",
                                     "expect = \"dovra.sl2.i32.video.contrast\"\nis = 51\nwithin = 0.1\n"}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(play(step(missed), 1'000'000).outcome, Outcome::FAILED) << missed;
        EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms) << missed;
    }
}

// At this speed, an hour ends at once. If the timeout were not scaled, this test would time out itself.
TEST_F(AScenario, ShortensItsTimeoutsIfItScalesItsLimits) {
    const std::string head = "scale_limits = true\n";
    expectFailed(head + step("after = { channel = \"any\", within = 3600 }\nchannel = 1\n"),
                 "my.toml:2: channel \"any\" did not occur within 3600 s", 1'000'000);
    expectFailed(head + step("expect = \"dovra.sl2.i32.video.contrast\"\nis = 51\nwithin = 3600\n"),
                 "my.toml:2: expected dovra.sl2.i32.video.contrast to be 51 within 3600 s, but it is 50",
                 1'000'000);
}

TEST_F(AScenario, RefusesAnInvalidSpeed) {
    for (const double speed : {0.0, -1.0, 2e6, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_THROW(play(step(SET_60), speed), std::invalid_argument);
}

TEST_F(AScenario, CanBeStoppedInEveryWait) {
    for (const std::string wait : {"at = 3600\nchannel = 2\n", "wait = 3600\nchannel = 2\n",
                                   "after = { channel = 3, within = 3600 }\nchannel = 2\n",
                                   "expect = \"dovra.sl2.i32.video.contrast\"\nis = 51\nwithin = 3600\n"}) {
        std::promise<void> underWay;
        ScenarioPlayer player(television, parse(step(SET_60) + step(wait) + step("channel = 2\n")),
                              {[&](const auto&) { underWay.set_value(); }, {}});
        underWay.get_future().wait();
        EXPECT_FALSE(player.result());
        player.stop();
        EXPECT_EQ(player.wait().outcome, Outcome::STOPPED) << wait;
        EXPECT_EQ(television.sourceSwitch().channelNumber(), "1");
    }
}

TEST_F(AScenario, StopsWhenItsPlayerIsDestroyed) {
    bool ended = false;
    {
        const ScenarioPlayer player(television, parse(step("at = 3600\n" + SET_60)),
                                    {{}, [&](const ScenarioPlayer::Result&) { ended = true; }});
    }
    EXPECT_TRUE(ended);
    EXPECT_EQ(valueOf<int>(BRIGHTNESS), 50);
}

}  // namespace
