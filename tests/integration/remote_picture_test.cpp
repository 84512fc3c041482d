// The library in this process captures frames from the video pipeline of a television in another process.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <mqueue.h>
#include <sys/shm.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "asleep.h"
#include "keys.h"
#include "pipeline_process.h"
#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_info.h"
#include "remote_test.h"
#include "video/capture_block.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using testing::HasSubstr;
using tests::ChildProcess;
using tests::TelevisionProcess;

namespace {

class TheTelevisionsPicture : public tests::RemoteTest {
  protected:
    TheTelevisionsPicture() : RemoteTest("scenes") {
        simulated::Television::instance().debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::INFO);
    }

    void SetUp() override { switchOn(); }

    void startCapture() {
        capture.start();
        ASSERT_TRUE(log.waitFor("create thread to send message queue."));
    }

    bool captureFrame() {
        // The library loses a request while its sender thread is not waiting for one.
        const pid_t sender = log.withMessage("create thread to send message queue.\n").back().thread;
        EXPECT_TRUE(tests::waitUntilAsleep(sender));
        korvale::ai::PictureData picture{nullptr, 224, 224, korvale::ai::COLOR_MODE_RGB, 0};
        if (!capture.getPicture(true, &picture)) return false;
        mean = 0;
        const std::size_t bytes = std::size_t{picture.width} * picture.height * 3;
        for (std::size_t i = 0; i < bytes; ++i) mean += picture.data[i];
        mean /= static_cast<double>(bytes);
        return true;
    }

    template <typename Condition>
    bool captureUntil(Condition condition) {
        const auto limit = std::chrono::steady_clock::now() + 30s;
        while (std::chrono::steady_clock::now() < limit)
            if (captureFrame() && condition()) return true;
        return false;
    }

    // On a busy machine, a frame may not arrive within the library's two seconds.
    bool captureEventually() {
        return captureUntil([] { return true; });
    }

    double mean = 0;  // the mean of the last frame's bytes
    PictureCapture capture;
};

TEST_F(TheTelevisionsPicture, IsCapturedAndFollowsTheSettings) {
    startCapture();
    ASSERT_TRUE(captureEventually());
    tests::Integer brightness(BRIGHTNESS);
    EXPECT_EQ(brightness.setValue(0), 0);
    EXPECT_TRUE(captureUntil([&] { return mean < 60; }));
    EXPECT_EQ(brightness.setValue(100), 0);
    EXPECT_TRUE(captureUntil([&] { return mean > 180; }));
    EXPECT_GT(television.property<unsigned>("", TelevisionProcess::TELEVISION, "FramesDelivered"), 0U);
    capture.stop();
}

TEST_F(TheTelevisionsPicture, SetsTheFormatAndHdrTypeOfItsFilm) {
    const std::string film =
        std::filesystem::temp_directory_path() / ("remote_picture_test." + std::to_string(getpid()) + ".ts");
    const std::string make =
        "ffmpeg -loglevel error -nostdin -y -f lavfi -i color=gray:size=720x576:rate=25:duration=0.4 -c:v "
        "libx265 "
        "-preset ultrafast -pix_fmt yuv420p10le -x265-params log-level=none:colorprim=bt2020:"
        "transfer=arib-std-b67:colormatrix=bt2020nc ";
    ASSERT_EQ(std::system((make + film).c_str()), 0);
    television.call("ShowVideo", film);
    EXPECT_EQ(television.get<std::string>(VIDEO_FORMAT), "720x576p@25");
    EXPECT_EQ(television.get<std::string>(HDR_TYPE), "hdr_hlg");
    television.call("ShowVideo", std::string("scenes"));
    EXPECT_EQ(television.get<std::string>(VIDEO_FORMAT), "1920x1080p@50");
    EXPECT_EQ(television.get<std::string>(HDR_TYPE), "sdr");
    std::filesystem::remove(film);
}

TEST_F(TheTelevisionsPicture, ReturnsWhenAKilledTelevisionRestarts) {
    startCapture();
    ASSERT_TRUE(captureEventually());
    for (int life = 0; life < 2; ++life) {
        std::atomic<bool> ending{false};
        std::thread service([&] {
            while (!ending) {
                korvale::ai::PictureData picture{nullptr, 224, 224, korvale::ai::COLOR_MODE_RGB, 0};
                capture.getPicture(true, &picture);
            }
        });
        television.kill();
        ending = true;
        service.join();
        switchOn();
        EXPECT_TRUE(captureEventually());
    }
    capture.stop();
}

TEST_F(TheTelevisionsPicture, IsMissingWhileThePipelineHangs) {
    startCapture();
    television.setFault("", "video.stalled", 1);
    EXPECT_FALSE(captureFrame());
    television.setFault("", "video.stalled", 0);
    EXPECT_TRUE(captureEventually());
    capture.stop();
}

TEST_F(TheTelevisionsPicture, ReturnsAfterTheTelevisionWasKilledInAHang) {
    startCapture();
    television.setFault("", "video.stalled", 1);
    television.kill();
    switchOn();
    EXPECT_TRUE(captureEventually());
    capture.stop();
}

TEST_F(TheTelevisionsPicture, IsTheOnlyOneOfItsIpcNamespace) {
    TelevisionProcess second("second", {"--video", "scenes"});
    ASSERT_TRUE(second.start());
    EXPECT_THAT(
        second.process().errors(),
        HasSubstr("aipq-television: no picture: another video pipeline already serves this machine\n"));
    EXPECT_THAT(second.process().output(), HasSubstr("shows nothing"));
    EXPECT_FALSE(second.property<bool>("", TelevisionProcess::TELEVISION, "VideoRunning"));
    EXPECT_EQ(second.get<int>(BRIGHTNESS), 50);
    EXPECT_EQ(second.stop(), 0);
    startCapture();
    EXPECT_TRUE(captureEventually());
    capture.stop();
}

TEST_F(TheTelevisionsPicture, ReleasesEverythingWhenTheTelevisionEnds) {
    startCapture();
    EXPECT_TRUE(captureEventually());
    capture.stop();
    EXPECT_EQ(television.stop(), 0);
    EXPECT_EQ(mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY), -1);
}

TEST(ATelevisionWhosePipelineDies, RestartsItUnlessAFaultForbidsIt) {
    TelevisionProcess television("crashing", {"--video", "scenes"});
    ASSERT_TRUE(television.start());
    const auto problem = [&television] {
        return television.property<std::string>("", TelevisionProcess::TELEVISION, "VideoProblem");
    };
    const std::string frame = tests::runtimeFolder() / "frame.png";
    const std::vector<std::string> capture{AIPQCTL_PROGRAM, "--tv", television.name(),
                                           "capture",       "-o",   frame};
    EXPECT_EQ(problem(), "");
    ASSERT_TRUE(tests::crashPipelineOf(std::to_string(television.process().id())));
    ASSERT_TRUE(television.process().waitForErrors("runs again"));
    EXPECT_EQ(television.process().errors(),
              "simulated television: the video pipeline died (signal 9, Killed); next try in 0.5 s (1 of 5)\n"
              "simulated television: the video pipeline runs again\n");
    EXPECT_EQ(problem(), "");
    EXPECT_EQ(ChildProcess(capture).wait(), 0);

    television.setFault("", "video.killed", 1);
    EXPECT_EQ(problem(), "the video pipeline died");
    ChildProcess failing(capture);
    EXPECT_EQ(failing.wait(), 1);
    EXPECT_EQ(failing.errors(), "aipqctl: no frame arrives: the video pipeline died\n");
    television.setFault("", "video.killed", 0);
    EXPECT_EQ(ChildProcess(capture).wait(), 0);
    EXPECT_EQ(television.stop(), 0);
}

TEST(ATelevisionThatIsKilled, EndsACaptureBeforeItsLastRequest) {
    TelevisionProcess television("killed", {"--video", "scenes"});
    ASSERT_TRUE(television.start());
    ChildProcess capture({AIPQCTL_PROGRAM, "--tv", television.name(), "-v", "capture", "--format", "rgb",
                          "-n", "0", "-o", "/dev/null"});
    ASSERT_TRUE(capture.waitForErrors("state: "));
    television.kill();
    EXPECT_EQ(capture.wait(), 7);
    // While the television runs, three requests of a frame may take 2 s each.
    const std::string log = capture.errors();
    int limits = 0;
    for (std::size_t at = log.find("time out."); at != std::string::npos; at = log.find("time out.", at + 1))
        ++limits;
    EXPECT_LT(limits, 3) << log;
}

}  // namespace
