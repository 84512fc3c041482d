// The library and the simulated television's video pipeline, in two processes, with a real decoder.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <mqueue.h>
#include <sys/shm.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "asleep.h"
#include "eventually.h"
#include "keys.h"
#include "pipeline_process.h"
#include "platform_adaptation/picture_capture.h"
#include "simulated/faults.h"
#include "television_test.h"
#include "video/capture_block.h"

using korvale::ai::PictureData;
using simulated::fault;
using simulated::setFault;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using tests::crashPipelineOf;
using tests::pipelineOf;
using namespace std::chrono_literals;
using namespace tests::keys;

namespace {

namespace fs = std::filesystem;

struct Finished {
    int status;
    std::string output;  // both streams
};

Finished runProgram(const std::string& command) {
    std::FILE* const pipe = popen(("exec 2>&1; " + command).c_str(), "r");
    std::string output;
    std::array<char, 256> part{};
    while (std::fgets(part.data(), part.size(), pipe) != nullptr) output += part.data();
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

bool isAnythingLeft() {
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY);
    if (queue != -1) mq_close(queue);
    return queue != -1 || shmget(video::CAPTURE_BLOCK_KEY, 0, 0) != -1;
}

void removeEverything() {
    mq_unlink(video::REQUEST_QUEUE_NAME);
    if (const int id = shmget(video::CAPTURE_BLOCK_KEY, 0, 0); id != -1) shmctl(id, IPC_RMID, nullptr);
}

// Films and other files of a test program. They are removed at its end.
class Files {
  public:
    Files() : m_folder(fs::temp_directory_path() / ("video_pipeline_test." + std::to_string(getpid()))) {
        fs::create_directory(m_folder);
    }
    ~Files() { fs::remove_all(m_folder); }

    std::string path(const std::string& name) const { return m_folder / name; }

    // Makes a film of two seconds from a pattern of videotestsrc.
    std::string film(const std::string& pattern) {
        const std::string file = path(pattern + ".avi");
        if (fs::exists(file)) return file;
        const Finished made =
            runProgram("gst-launch-1.0 -q videotestsrc num-buffers=50 pattern=" + pattern +
                       " ! video/x-raw,width=320,height=180,framerate=25/1 ! jpegenc ! avimux !"
                       " filesink location=" +
                       file);
        EXPECT_EQ(made.status, 0) << made.output;
        return file;
    }

    std::string text(const std::string& name) {
        std::ofstream(path(name)) << "no film at all\n";
        return path(name);
    }

  private:
    fs::path m_folder;
};

struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
};

Colour meanOf(const PictureData& picture) {
    Colour sum;
    const double pixels = static_cast<double>(picture.width) * picture.height;
    for (std::size_t i = 0; i < std::size_t{picture.width} * picture.height; ++i) {
        sum.red += picture.data[3 * i];
        sum.green += picture.data[3 * i + 1];
        sum.blue += picture.data[3 * i + 2];
    }
    return {sum.red / pixels, sum.green / pixels, sum.blue / pixels};
}

class TheVideoPipeline : public tests::TelevisionTest {
  protected:
    TheVideoPipeline() { removeEverything(); }
    ~TheVideoPipeline() override { removeEverything(); }

    static void SetUpTestSuite() { files = std::make_unique<Files>(); }
    static void TearDownTestSuite() { files.reset(); }

    void play(const std::string& film) {
        ASSERT_TRUE(television.video().start(film)) << television.video().error();
    }

    void startCapture() {
        log.clear();
        capture.start();
        ASSERT_TRUE(log.waitFor("create thread to send message queue."));
    }

    bool captureFrame() {
        const pid_t sender = log.withMessage("create thread to send message queue.\n").back().thread;
        EXPECT_TRUE(tests::waitUntilAsleep(sender));
        return capture.getPicture(true, &picture);
    }

    // Settings arrive independently of requests: captures until a frame fulfils the condition.
    template <typename Condition>
    bool captureUntil(Condition condition) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < limit)
            if (captureFrame() && condition(meanOf(picture))) return true;
        return false;
    }

    // On a busy machine, a frame may not arrive within the library's two seconds.
    bool captureEventually() {
        return captureUntil([](const Colour&) { return true; });
    }

    // Returns the current picture. On a busy machine, it may not be drawn within the television's second.
    simulated::Picture pictureEventually(unsigned width, unsigned height) {
        simulated::Picture shown;
        tests::eventually([&] {
            shown = television.video().picture(width, height);
            return shown.problem != "the video pipeline does not answer";
        });
        return shown;
    }

    static std::unique_ptr<Files> files;
    PictureData picture{nullptr, 224, 224, korvale::ai::COLOR_MODE_RGB, 0};
    PictureCapture capture;
};

std::unique_ptr<Files> TheVideoPipeline::files;

TEST_F(TheVideoPipeline, DeliversTheFilmThatIsPlaying) {
    play(files->film("red"));
    startCapture();
    ASSERT_TRUE(captureEventually());
    EXPECT_EQ(picture.width, 224U);
    EXPECT_EQ(picture.height, 224U);
    const Colour mean = meanOf(picture);
    EXPECT_GT(mean.red, 220);
    EXPECT_LT(mean.green, 15);
    EXPECT_LT(mean.blue, 15);
}

TEST_F(TheVideoPipeline, ScalesToTheRequestedSize) {
    play(files->film("smpte"));
    startCapture();
    picture.width = 70;
    picture.height = 40;
    ASSERT_TRUE(captureEventually());
    EXPECT_EQ(picture.width, 70U);
    EXPECT_EQ(picture.height, 40U);
    // The first bar of the test card is light grey; the last bar in its upper part is blue.
    EXPECT_GT(picture.data[1], 150);
    const unsigned char* const last = picture.data + 3 * 69;
    EXPECT_GT(last[2], 100);
    EXPECT_LT(last[0], 80);
}

TEST_F(TheVideoPipeline, NeverDeliversMoreThanTheBlockHolds) {
    play(files->film("red"));
    startCapture();
    picture.width = 0xFFFFFFFF;
    picture.height = 3;
    ASSERT_TRUE(captureEventually());
    EXPECT_GT(picture.width, 0U);
    EXPECT_LE(std::uint64_t{picture.width} * picture.height * 3, video::CAPTURE_PIXEL_BYTES);
}

TEST_F(TheVideoPipeline, ShowsMovingScenesWithoutAFilm) {
    play("");
    startCapture();
    ASSERT_TRUE(captureEventually());
    const std::vector<unsigned char> first(picture.data, picture.data + video::CAPTURE_PIXEL_BYTES);
    EXPECT_TRUE(
        captureUntil([&](const Colour&) { return !std::equal(first.begin(), first.end(), picture.data); }));
}

TEST_F(TheVideoPipeline, AppliesTheCurrentPictureSettings) {
    model.set(BRIGHTNESS, 0);
    play(files->film("smpte"));
    startCapture();
    EXPECT_TRUE(captureUntil([](const Colour& mean) { return mean.green < 40; }));
    model.set(BRIGHTNESS, 100);
    EXPECT_TRUE(captureUntil([](const Colour& mean) { return mean.green > 200; }));
    model.set(BRIGHTNESS, 50);
    model.set("dovra.sl2.i32.video.colour.intensity", 0);
    EXPECT_TRUE(captureUntil([](const Colour& mean) {
        return mean.green < 180 && std::abs(mean.red - mean.blue) < 3 && std::abs(mean.red - mean.green) < 3;
    }));
}

TEST_F(TheVideoPipeline, ServesALibraryThatRestarts) {
    play(files->film("red"));
    for (int i = 0; i < 3; ++i) {
        startCapture();
        EXPECT_TRUE(captureEventually());
        capture.stop();
    }
}

TEST_F(TheVideoPipeline, ServesAgainAfterTheQueueWasRemoved) {
    play(files->film("red"));
    startCapture();
    ASSERT_TRUE(captureEventually());
    ASSERT_EQ(mq_unlink(video::REQUEST_QUEUE_NAME), 0);
    // The library keeps the removed queue open until it starts again.
    capture.stop();
    startCapture();
    EXPECT_TRUE(captureEventually());
}

TEST_F(TheVideoPipeline, CanRestartWhileALibraryRuns) {
    play(files->film("red"));
    startCapture();
    ASSERT_TRUE(captureEventually());
    television.video().kill();
    EXPECT_FALSE(television.video().running());
    EXPECT_FALSE(captureFrame());
    play(files->film("blue"));
    EXPECT_TRUE(captureUntil([](const Colour& mean) { return mean.blue > 200 && mean.red < 40; }));
}

TEST_F(TheVideoPipeline, CanHangAndContinue) {
    play(files->film("red"));
    startCapture();
    television.video().stall();
    EXPECT_FALSE(captureFrame());
    television.video().resume();
    EXPECT_TRUE(captureEventually());
}

TEST_F(TheVideoPipeline, ChangesItsFilmOnCommand) {
    play(files->film("red"));
    startCapture();
    EXPECT_TRUE(television.video().command("clip " + files->film("blue")));
    EXPECT_TRUE(captureUntil([](const Colour& mean) { return mean.blue > 200 && mean.red < 40; }));
    EXPECT_FALSE(television.video().command("clip " + files->path("missing.avi")));
    EXPECT_TRUE(captureEventually());
    EXPECT_FALSE(television.video().command("dance"));
    EXPECT_GE(television.video().delivered(), 1U);
}

TEST_F(TheVideoPipeline, RemovesUnusedQueueAndBlockAtItsEnd) {
    play(files->film("red"));
    ASSERT_NE(shmget(video::CAPTURE_BLOCK_KEY, sizeof(video::CaptureBlock), IPC_CREAT | 0666), -1);
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT, 0666, nullptr);
    ASSERT_NE(queue, -1);
    mq_close(queue);
    television.video().stop();
    EXPECT_FALSE(isAnythingLeft());
}

TEST_F(TheVideoPipeline, KeepsQueueAndBlockOfARunningLibraryAtItsEnd) {
    play(files->film("red"));
    startCapture();
    ASSERT_TRUE(captureEventually());
    television.video().stop();
    play(files->film("blue"));
    ASSERT_TRUE(captureEventually());
    EXPECT_GT(meanOf(picture).blue, 200);
}

TEST_F(TheVideoPipeline, DrawsAPictureWithoutClientBlockAndQueue) {
    play(files->film("red"));
    const simulated::Picture red = pictureEventually(70, 40);
    EXPECT_EQ(red.problem, "");
    EXPECT_EQ(red.width, 70U);
    EXPECT_EQ(red.height, 40U);
    ASSERT_EQ(red.rgba.size(), 4U * 70U * 40U);
    EXPECT_GT(red.rgba[0], 220);
    EXPECT_LT(red.rgba[1], 15);
    EXPECT_EQ(television.video().delivered(), 0U);
    EXPECT_FALSE(isAnythingLeft());

    // A setting takes effect with the next picture.
    model.set(BRIGHTNESS, 0);
    EXPECT_LT(pictureEventually(70, 40).rgba.at(0), 40);
}

TEST_F(TheVideoPipeline, ReportsWhyThereIsNoPicture) {
    simulated::VideoPipeline& video = television.video();
    EXPECT_EQ(video.picture(70, 40).problem, "the video pipeline is off");
    EXPECT_FALSE(video.start(files->path("missing.avi")));
    EXPECT_EQ(video.picture(70, 40).problem, video.error());
    play(files->film("red"));
    EXPECT_THAT(video.picture(100'000, 100'000).problem, HasSubstr("at most"));
    EXPECT_THAT(video.picture(0, 40).problem, HasSubstr("WIDTHxHEIGHT"));
    video.kill();
    EXPECT_EQ(video.picture(70, 40).problem, "the video pipeline died");
    play(files->film("red"));
    EXPECT_EQ(pictureEventually(70, 40).problem, "");
    // Crash it from outside: the television did not stop it.
    ASSERT_TRUE(crashPipelineOf());
    EXPECT_THAT(video.picture(70, 40).problem, StartsWith("the video pipeline died"));
}

TEST_F(TheVideoPipeline, DrawsTheRequestedSizeAfterAHang) {
    play(files->film("red"));
    television.video().stall();
    EXPECT_EQ(television.video().picture(70, 40).problem, "the video pipeline does not answer");
    EXPECT_EQ(television.video().picture(200, 100).problem, "the video pipeline does not answer");
    television.video().resume();
    const simulated::Picture red = pictureEventually(200, 100);
    EXPECT_EQ(red.problem, "");
    EXPECT_EQ(red.rgba.size(), 4U * 200U * 100U);
}

TEST_F(TheVideoPipeline, ClosesItsDescriptors) {
    const auto open = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    play("");
    television.video().kill();
    const auto before = open();
    for (int i = 0; i < 5; ++i) {
        play("");
        EXPECT_EQ(pictureEventually(70, 40).problem, "");
        if (i % 2 == 0) {
            television.video().kill();
        } else {
            television.video().stop();
        }
    }
    EXPECT_EQ(open(), before);
}

// Unexpected ends of the pipeline

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

TEST_F(TheVideoPipeline, RefusesAnotherPipelineInItsIpcNamespace) {
    play(files->film("red"));
    EXPECT_FALSE(television.video().start(files->film("red")));
    EXPECT_EQ(television.video().error(), "the video pipeline runs already");
    const Finished second = runProgram(PIPELINE_PROGRAM " " + files->film("red"));
    EXPECT_EQ(second.status, 3);
    EXPECT_EQ(second.output, "aipq-video-pipeline: another video pipeline already serves this machine\n");
    EXPECT_TRUE(television.video().running());
}

TEST_F(TheVideoPipeline, AllowsAPipelineInAnotherIpcNamespace) {
    play(files->film("red"));
    // Closing its control pipe stops the second pipeline, once it is serving.
    const std::string second = PIPELINE_PROGRAM " --control-fd 0 -- " + files->film("red");
    EXPECT_EQ(runProgram("true | " + second).status, 3);
    const Finished apart = runProgram("true | unshare --map-current-user --ipc " + second);
    EXPECT_EQ(apart.status, 0) << apart.output;
    EXPECT_TRUE(television.video().running());
}

TEST_F(TheVideoPipeline, RejectsAnInvalidFilmInOneLine) {
    fs::create_directory(files->path("folder"));
    std::ofstream(files->path("empty.avi")).close();
    for (const std::string& bad : {files->path("missing.avi"), files->path("folder"),
                                   files->path("empty.avi"), files->text("text.avi")}) {
        EXPECT_FALSE(television.video().start(bad)) << bad;
        EXPECT_THAT(television.video().error(), HasSubstr(bad));
        EXPECT_FALSE(television.video().running());
        for (const char* const options : {" --check -- ", " -- "}) {
            const Finished check = runProgram(PIPELINE_PROGRAM + (options + bad));
            EXPECT_EQ(check.status, 1) << bad;
            EXPECT_THAT(check.output, HasSubstr(bad));
            EXPECT_EQ(std::count(check.output.begin(), check.output.end(), '\n'), 1) << check.output;
        }
        EXPECT_FALSE(isAnythingLeft());
    }
}

TEST_F(TheVideoPipeline, StartsWithTheProgramThatUsesTheLibrary) {
    const fs::path folder = files->path("frames");
    fs::create_directory(folder);
    const Finished example = runProgram("AIPQ_TV_LOG=error AIPQ_TV_VIDEO=" + files->film("red") +
                                        " " FIRST_FRAMES_PROGRAM " " + folder.string());
    EXPECT_EQ(example.status, 0) << example.output;
    for (const char* const name : {"waited.png", "callback-1.png", "callback-2.png", "callback-3.png"})
        EXPECT_TRUE(fs::exists(folder / name)) << name;
    // The pipeline itself detects that the program has ended.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (isAnythingLeft() && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(isAnythingLeft());
}

}  // namespace
