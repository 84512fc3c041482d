// Unexpected ends of the video pipeline, and its restarts by the television.
#include <gmock/gmock.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "keys.h"
#include "pipeline_process.h"
#include "simulated/faults.h"
#include "video_pipeline_fixture.h"

using simulated::fault;
using simulated::setFault;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using tests::Colour;
using tests::crashPipelineOf;
using tests::pipelineOf;
using tests::TheVideoPipeline;
using namespace std::chrono_literals;
using namespace tests::keys;

namespace {

namespace fs = std::filesystem;

using Pauses = std::vector<std::chrono::milliseconds>;

class AVideoPipelineThatDies : public TheVideoPipeline {
  protected:
    void crash() { ASSERT_TRUE(crashPipelineOf()); }

    bool waitForDeaths(std::size_t count) {
        return waitFor([this, count] { return m_deaths.size() >= count; });
    }
    bool waitForRestarts(std::size_t count) {
        return waitFor([this, count] { return m_restarts >= count; });
    }

    // Returns all PipelineDied events until now.
    std::vector<simulated::PipelineDied> deaths() const {
        const std::lock_guard lock(m_mutex);
        return m_deaths;
    }
    std::size_t restarts() const {
        const std::lock_guard lock(m_mutex);
        return m_restarts;
    }

    // Crashes the pipeline each time it runs, until the television stops restarting it.
    void crashUntilGivenUp() {
        for (std::size_t count = 1; count <= 10; ++count) {
            crash();
            ASSERT_TRUE(waitForDeaths(count));
            if (!deaths().back().pause) return;
            ASSERT_TRUE(waitForRestarts(count));
        }
        FAIL() << "it is started again and again";
    }

    simulated::VideoPipeline& video = television.video();

  private:
    template <typename Condition>
    bool waitFor(Condition condition) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, 30s, condition);
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<simulated::PipelineDied> m_deaths;
    std::size_t m_restarts = 0;
    simulated::Events::Subscription m_events{
        television.events(), [this](const simulated::Event& event) {
            const std::lock_guard lock(m_mutex);
            if (const auto* const died = std::get_if<simulated::PipelineDied>(&event.what))
                m_deaths.push_back(*died);
            if (std::holds_alternative<simulated::PipelineRestarted>(event.what)) ++m_restarts;
            m_changed.notify_all();
        }};
};

TEST_F(AVideoPipelineThatDies, ShowsTheSameFilmAndSettingsAgain) {
    model.set(BRIGHTNESS, 0);
    play(files->film("smpte"));
    startCapture();
    ASSERT_TRUE(captureEventually());
    const auto died = std::chrono::steady_clock::now();
    crash();
    ASSERT_TRUE(waitForRestarts(1));
    EXPECT_GE(std::chrono::steady_clock::now() - died, 500ms);
    EXPECT_TRUE(video.running());
    EXPECT_EQ(video.problem(), "");
    EXPECT_EQ(video.clip(), files->film("smpte"));
    EXPECT_LT(pictureEventually(70, 40).rgba.at(0), 110);  // a light grey at the usual brightness
    EXPECT_TRUE(captureUntil([](const Colour& mean) { return mean.green < 40; }));
    ASSERT_THAT(deaths(), SizeIs(1));
    EXPECT_EQ(deaths()[0].text, "the video pipeline died (signal 9, Killed); next try in 0.5 s (1 of 5)");
}

TEST_F(AVideoPipelineThatDies, ShowsTheSameSceneAgainAndStaysPaused) {
    video.setRestarts({{1ms}});
    play("");
    television.sourceSwitch().selectChannel("3");
    television.sourceSwitch().setPlaying(false);
    crash();
    ASSERT_TRUE(waitForRestarts(1));
    const simulated::Picture first = pictureEventually(70, 40);
    ASSERT_EQ(first.problem, "");
    // The expected picture is snow; without a selected scene, the pipeline would show the night.
    EXPECT_GT(std::accumulate(first.rgba.begin(), first.rgba.end(), 0U) / first.rgba.size(), 130U);
    for (int i = 0; i < 50; ++i) ASSERT_EQ(pictureEventually(70, 40).rgba, first.rgba);
    television.sourceSwitch().selectChannel("3");  // plays
    const auto limit = std::chrono::steady_clock::now() + 30s;
    while (pictureEventually(70, 40).rgba == first.rgba && std::chrono::steady_clock::now() < limit) continue;
    EXPECT_NE(pictureEventually(70, 40).rgba, first.rgba);
}

TEST_F(AVideoPipelineThatDies, IsNotRestartedAfterTheLastPause) {
    EXPECT_EQ(simulated::VideoPipeline::Restarts().pauses, (Pauses{500ms, 1s, 2s, 4s, 8s}));
    video.setRestarts({{1ms, 20ms, 40ms}});
    const std::string film = files->film("red");
    play(film);
    crashUntilGivenUp();
    std::vector<std::optional<std::chrono::milliseconds>> pauses;
    for (const simulated::PipelineDied& death : deaths()) pauses.push_back(death.pause);
    EXPECT_THAT(pauses, ElementsAre(1ms, 20ms, 40ms, std::nullopt));
    const std::string last =
        "the video pipeline died (signal 9, Killed); given up after 3 tries: check the film '" + film +
        "', then switch the video on again";
    EXPECT_EQ(deaths().back().text, last);
    EXPECT_EQ(video.picture(70, 40).problem, last);
    EXPECT_EQ(video.problem(), last);
    EXPECT_FALSE(video.running());
    EXPECT_EQ(pipelineOf(), 0);
    EXPECT_THROW(setFault(television, "", "video.killed", 1), std::runtime_error);

    play(film);
    EXPECT_EQ(video.problem(), "");
    crash();
    ASSERT_TRUE(waitForRestarts(4));
    EXPECT_EQ(deaths().back().pause, 1ms);
}

TEST_F(AVideoPipelineThatDies, ResetsThePausesAfterAStableRun) {
    video.setRestarts({{1ms, 1h}, 0ms});
    play("");
    for (std::size_t count = 1; count <= 3; ++count) {
        crash();
        ASSERT_TRUE(waitForRestarts(count));
        EXPECT_EQ(deaths().back().pause, 1ms);
    }
}

TEST_F(AVideoPipelineThatDies, ReportsWhyItDoesNotRestart) {
    video.setRestarts({{1ms, 1ms}});
    const std::string film = files->path("removed.avi");
    fs::copy_file(files->film("red"), film);
    play(film);
    fs::remove(film);
    crash();
    ASSERT_TRUE(waitForDeaths(3));
    EXPECT_THAT(deaths()[1].text, AllOf(HasSubstr(film), HasSubstr("; next try in 0.001 s (2 of 2)")));
    EXPECT_THAT(deaths()[2].text, AllOf(HasSubstr(film), HasSubstr("; given up after 2 tries: ")));
    EXPECT_EQ(restarts(), 0U);
}

TEST_F(AVideoPipelineThatDies, IsNotRestartedWhileAFaultForbidsIt) {
    video.setRestarts({{0ms}});
    play("");
    setFault(television, "", "video.killed", 1);
    EXPECT_EQ(pipelineOf(), 0);
    EXPECT_EQ(video.problem(), "the video pipeline died");
    setFault(television, "", "video.killed", 0);
    EXPECT_TRUE(video.running());
    // The fault also works after an unexpected death.
    video.setRestarts({{1h}});
    crash();
    ASSERT_TRUE(waitForDeaths(1));
    EXPECT_EQ(fault(television, "", "video.killed"), 0);
    setFault(television, "", "video.killed", 1);
    EXPECT_EQ(fault(television, "", "video.killed"), 1);
    EXPECT_EQ(video.problem(), "the video pipeline died");
    simulated::clearFaults(television);
    EXPECT_TRUE(video.running());
    EXPECT_THAT(deaths(), SizeIs(1));
    EXPECT_EQ(restarts(), 0U);
}

TEST_F(AVideoPipelineThatDies, IsDistinguishedFromAHangingPipeline) {
    video.setRestarts({{0ms}});
    play("");
    const pid_t pipeline = pipelineOf();
    video.stall();
    EXPECT_EQ(video.picture(70, 40).problem, "the video pipeline does not answer");
    EXPECT_TRUE(video.stalled());
    video.resume();
    EXPECT_EQ(pictureEventually(70, 40).problem, "");
    EXPECT_EQ(pipelineOf(), pipeline);
    EXPECT_THAT(deaths(), IsEmpty());
    // A hanging pipeline may still die.
    video.stall();
    crash();
    ASSERT_TRUE(waitForRestarts(1));
    EXPECT_FALSE(video.stalled());
    EXPECT_EQ(pictureEventually(70, 40).problem, "");
}

TEST_F(AVideoPipelineThatDies, ObeysACommandDuringAPause) {
    video.setRestarts({{1h}});
    play("");
    crash();
    ASSERT_TRUE(waitForDeaths(1));
    EXPECT_TRUE(television.showVideo("scenes"));
    EXPECT_TRUE(video.running());
    crash();
    ASSERT_TRUE(waitForDeaths(2));
    EXPECT_TRUE(video.start(files->film("red")));
    EXPECT_EQ(video.clip(), files->film("red"));
    crash();
    ASSERT_TRUE(waitForDeaths(3));
    video.stop();
    EXPECT_EQ(video.problem(), "the video pipeline is off");
    EXPECT_EQ(pipelineOf(), 0);
    EXPECT_EQ(restarts(), 0U);
}

TEST_F(AVideoPipelineThatDies, IsReapedWithoutAffectingOtherChildren) {
    const auto open = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto threads = [] {
        return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
    };
    const pid_t child = fork();
    if (child == 0) _exit(7);
    video.setRestarts({Pauses(10, 1ms)});
    play("");
    const auto openBefore = open();
    const auto threadsBefore = threads();
    for (std::size_t count = 1; count <= 5; ++count) {
        crash();
        ASSERT_TRUE(waitForRestarts(count));
    }
    EXPECT_EQ(open(), openBefore);
    EXPECT_EQ(threads(), threadsBefore);
    video.stop();
    EXPECT_EQ(threads(), threadsBefore - 1);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(waitpid(-1, &status, WNOHANG), -1);
}

TEST_F(AVideoPipelineThatDies, StaysOffIfItIsStoppedAfterACrash) {
    video.setRestarts({{0ms}});
    for (int i = 0; i < 10; ++i) {
        play("");
        crash();
        video.stop();
        EXPECT_FALSE(video.running());
        EXPECT_EQ(pipelineOf(), 0);
    }
}

}  // namespace
