// Scenarios that show pictures, among them the installed examples.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "asleep.h"
#include "pipeline_process.h"
#include "platform_adaptation/picture_capture.h"
#include "simulated/faults.h"
#include "simulated/scenario.h"
#include "simulated/scenario_player.h"
#include "simulated/scenario_recorder.h"
#include "television_test.h"

using korvale::ai::PictureData;
using simulated::describe;
using simulated::fault;
using simulated::parseScenario;
using simulated::Scenario;
using simulated::ScenarioPlayer;
using simulated::ScenarioRecorder;
using testing::ElementsAre;
using testing::SizeIs;
using testing::StartsWith;
using Outcome = ScenarioPlayer::Outcome;

namespace {

class AScenarioWithAPicture : public tests::TelevisionTest {
  protected:
    ScenarioPlayer::Result play(const std::string& text, double speed = 1) {
        ScenarioPlayer player(television, parseScenario(text, "my.toml"), {{}, {}}, speed);
        return player.wait();
    }

    void expectFinished(const std::string& text, double speed = 1) {
        const ScenarioPlayer::Result result = play(text, speed);
        EXPECT_EQ(result.outcome, Outcome::FINISHED) << result.text;
    }

    simulated::VideoPipeline& video = television.video();
};

TEST_F(AScenarioWithAPicture, StartsAndStopsThePicture) {
    expectFinished("video = \"scenes\"\nstep = []\n");
    EXPECT_TRUE(video.running());
    const std::string off = "[[step]]\nvideo = \"off\"\n";
    expectFinished(off);
    EXPECT_FALSE(video.running());
    expectFinished(off + "[[step]]\nvideo = \"scenes\"\n");
    EXPECT_TRUE(video.running());
}

TEST_F(AScenarioWithAPicture, KeepsThePictureThatIsShown) {
    ASSERT_TRUE(video.start());
    bool shown = false;
    const simulated::Events::Subscription listening(television.events(), [&](const simulated::Event& event) {
        shown = shown || std::holds_alternative<simulated::ShowVideo>(event.what);
    });
    expectFinished("video = \"scenes\"\nstep = []\n");
    EXPECT_FALSE(shown);
}

TEST_F(AScenarioWithAPicture, IsRejectedCompletelyIfAFilmIsInvalid) {
    const std::string film = testing::TempDir() + "no-film-" + std::to_string(::getpid()) + ".avi";
    std::ofstream(film) << "no film at all\n";
    std::string message = "accepted";
    try {
        play("[[step]]\nchannel = 2\n[[step]]\nvideo = \"" + film + "\"\n");
    } catch (const std::runtime_error& error) {
        message = error.what();
    }
    EXPECT_THAT(message, StartsWith("my.toml:4:9: cannot play '" + film + "': "));
    EXPECT_EQ(television.sourceSwitch().channelNumber(), "1");
    std::filesystem::remove(film);
}

TEST_F(AScenarioWithAPicture, FailsIfAFilmDisappearsAndKeepsThePicture) {
    ASSERT_TRUE(video.start());
    for (const bool fromTheStart : {true, false}) {
        Scenario scenario = parseScenario("[[step]]\nvideo = \"scenes\"\n", "my.toml");
        if (fromTheStart) {
            scenario.video = "/nowhere/film.avi";
        } else {
            scenario.steps.front().action = simulated::ShowVideo{"/nowhere/film.avi"};
        }
        const ScenarioPlayer::Result result = ScenarioPlayer(television, scenario, {{}, {}}).wait();
        EXPECT_EQ(result.outcome, Outcome::FAILED);
        EXPECT_EQ(result.text, std::string("my.toml:") + (fromTheStart ? "" : "1:") +
                                   " no picture: cannot play '/nowhere/film.avi': No such file or directory");
        EXPECT_TRUE(video.running());
        EXPECT_EQ(video.problem(), "");
    }
}

TEST_F(AScenarioWithAPicture, BreaksAndRepairsThePicture) {
    ASSERT_TRUE(video.start());
    for (const char* const name : {"video.stalled", "video.killed"}) {
        const std::string step = std::string("[[step]]\nfault = \"") + name + "\"\nto = ";
        expectFinished(step + "true\n");
        EXPECT_EQ(fault(television, "", name), 1) << name;
        expectFinished(step + "false\n");
        EXPECT_EQ(fault(television, "", name), 0) << name;
        EXPECT_TRUE(video.running());
        expectFinished(step + "true\n[[step]]\nclear_faults = true\n");
        EXPECT_EQ(fault(television, "", name), 0) << name;
        EXPECT_TRUE(video.command("scene snow"));
    }
}

TEST_F(AScenarioWithAPicture, WaitsForCapturedFrames) {
    ASSERT_TRUE(video.start());
    PictureCapture capture;
    capture.start();
    ASSERT_TRUE(log.waitFor("create thread to send message queue."));
    const pid_t sender = log.withMessage("create thread to send message queue.\n").back().thread;
    // The library loses a request while its sender thread is not waiting for one.
    const auto captureFrame = [&] {
        PictureData picture;
        initPictureData(picture);
        return tests::waitUntilAsleep(sender) && capture.getPicture(true, &picture);
    };
    std::promise<void> underWay;
    ScenarioPlayer player(
        television,
        parseScenario("[[step]]\nscene = \"snow\"\n[[step]]\nafter = { frames = 2 }\nscene = \"night\"\n",
                      "my.toml"),
        {[&](const ScenarioPlayer::Progress& progress) {
             if (progress.line == 1) underWay.set_value();
         },
         {}});
    underWay.get_future().wait();
    ASSERT_TRUE(captureFrame());
    EXPECT_FALSE(player.result());
    ASSERT_TRUE(captureFrame());
    const ScenarioPlayer::Result result = player.wait();
    EXPECT_EQ(result.outcome, Outcome::FINISHED) << result.text;
    capture.stop();
}

TEST_F(AScenarioWithAPicture, IsRecordedWithThePicture) {
    ASSERT_TRUE(video.start());
    const ScenarioRecorder recorder(television);
    video.showProgramme("snow");
    simulated::setFault(television, "", "video.killed", 1);
    simulated::setFault(television, "", "video.killed", 0);
    television.sourceSwitch().selectChannel("2");  // also changes the scene
    video.stop();
    const Scenario recorded = recorder.scenario();
    EXPECT_EQ(recorded.video, "scenes");
    std::vector<std::string> actions;
    for (const simulated::Step& step : recorded.steps)
        if (step.at) actions.push_back(describe(step.action));
    EXPECT_THAT(actions, ElementsAre("scene \"snow\"", "fault \"video.killed\", to true",
                                     "fault \"video.killed\", to false", "channel \"2\"", "video \"off\""));
}

TEST_F(AScenarioWithAPicture, IsRecordedWithoutACrashAndItsEffects) {
    ASSERT_TRUE(video.start());
    const ScenarioRecorder recorder(television);
    std::promise<void> restarted;
    const simulated::Events::Subscription listening(television.events(), [&](const simulated::Event& event) {
        if (std::holds_alternative<simulated::PipelineRestarted>(event.what)) restarted.set_value();
    });
    video.setRestarts({{std::chrono::milliseconds(1)}});
    ASSERT_TRUE(tests::crashPipelineOf());
    EXPECT_EQ(restarted.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready);
    const Scenario recorded = recorder.scenario();
    EXPECT_TRUE(std::none_of(recorded.steps.begin(), recorded.steps.end(),
                             [](const simulated::Step& step) { return step.at.has_value(); }));
}

class TheExample : public AScenarioWithAPicture, public testing::WithParamInterface<std::string> {
  protected:
    static std::string path() { return std::string(SCENARIO_EXAMPLES) + '/' + GetParam(); }

    static Scenario example() {
        std::ostringstream text;
        text << std::ifstream(path()).rdbuf();
        return parseScenario(text.str(), GetParam());
    }
};

TEST_P(TheExample, PlaysToItsEnd) {
    const Scenario scenario = example();
    EXPECT_FALSE(scenario.title.empty());
    std::size_t steps = 0;
    ScenarioPlayer player(television, scenario, {[&](const ScenarioPlayer::Progress&) { ++steps; }, {}},
                          1000);
    const ScenarioPlayer::Result result = player.wait();
    EXPECT_EQ(result.outcome, Outcome::FINISHED) << result.text;
    EXPECT_EQ(steps, scenario.steps.size());
}

TEST_P(TheExample, LeavesNoFaultSet) {
    const ScenarioPlayer::Result result = ScenarioPlayer(television, example(), {{}, {}}, 1000).wait();
    EXPECT_EQ(result.outcome, Outcome::FINISHED) << result.text;
    for (const simulated::FaultDefinition& definition : simulated::faultDefinitions()) {
        if (!definition.ofKey) {
            EXPECT_EQ(fault(television, "", definition.name), definition.harmless) << definition.name;
            continue;
        }
        for (const simulated::KeyDefinition& key : model.keys())
            EXPECT_EQ(fault(television, key.name, definition.name), definition.harmless)
                << definition.name << " of " << key.name;
    }
}

TEST_P(TheExample, SurvivesWritingAndParsing) {
    const Scenario scenario = example();
    const Scenario again = parseScenario(formatScenario(scenario), "again.toml");
    EXPECT_EQ(formatScenario(again), formatScenario(scenario));
    EXPECT_THAT(again.steps, SizeIs(scenario.steps.size()));
}

INSTANTIATE_TEST_SUITE_P(Of, TheExample,
                         testing::Values("evening.toml", "bad-antenna.toml", "late-answers.toml"),
                         [](const auto& row) {
                             std::string name = row.param.substr(0, row.param.find('.'));
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST(TheExamples, AreAllTested) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(SCENARIO_EXAMPLES))
        names.push_back(entry.path().filename());
    EXPECT_THAT(names,
                testing::UnorderedElementsAre("evening.toml", "bad-antenna.toml", "late-answers.toml"));
}

}  // namespace
