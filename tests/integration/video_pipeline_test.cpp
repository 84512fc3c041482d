// The library and the simulated television's video pipeline, each in its own process, with a real decoder.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <mqueue.h>
#include <sys/shm.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "asleep.h"
#include "platform_adaptation/picture_capture.h"
#include "television_test.h"
#include "video/capture_block.h"

using korvale::ai::PictureData;
using testing::HasSubstr;

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

// Films and other files of a test program, gone when it ends.
class Files {
  public:
    Files() : m_folder(fs::temp_directory_path() / ("video_pipeline_test." + std::to_string(getpid()))) {
        fs::create_directory(m_folder);
    }
    ~Files() { fs::remove_all(m_folder); }

    std::string path(const std::string& name) const { return m_folder / name; }

    // Two seconds of one of videotestsrc's patterns.
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

    // Settings travel beside the requests: captures until a frame has what is wanted.
    template <typename Condition>
    bool captureUntil(Condition condition) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < limit)
            if (captureFrame() && condition(meanOf(picture))) return true;
        return false;
    }

    static std::unique_ptr<Files> files;
    PictureData picture{nullptr, 224, 224, korvale::ai::COLOR_MODE_RGB, 0};
    PictureCapture capture;
};

std::unique_ptr<Files> TheVideoPipeline::files;

TEST_F(TheVideoPipeline, DeliversTheFilmThatIsPlaying) {
    play(files->film("red"));
    startCapture();
    ASSERT_TRUE(captureFrame());
    EXPECT_EQ(picture.width, 224U);
    EXPECT_EQ(picture.height, 224U);
    const Colour mean = meanOf(picture);
    EXPECT_GT(mean.red, 220);
    EXPECT_LT(mean.green, 15);
    EXPECT_LT(mean.blue, 15);
}

TEST_F(TheVideoPipeline, ScalesToTheSizeThatIsAskedFor) {
    play(files->film("smpte"));
    startCapture();
    picture.width = 70;
    picture.height = 40;
    ASSERT_TRUE(captureFrame());
    EXPECT_EQ(picture.width, 70U);
    EXPECT_EQ(picture.height, 40U);
    // The test card's first bar is light grey, its last one in the upper part blue.
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
    ASSERT_TRUE(captureFrame());
    EXPECT_GT(picture.width, 0U);
    EXPECT_LE(std::uint64_t{picture.width} * picture.height * 3, video::CAPTURE_PIXEL_BYTES);
}

TEST_F(TheVideoPipeline, ShowsMovingScenesWithoutAFilm) {
    play("");
    startCapture();
    ASSERT_TRUE(captureFrame());
    const std::vector<unsigned char> first(picture.data, picture.data + video::CAPTURE_PIXEL_BYTES);
    EXPECT_TRUE(
        captureUntil([&](const Colour&) { return !std::equal(first.begin(), first.end(), picture.data); }));
}

TEST_F(TheVideoPipeline, ShowsThePictureSettingsInForce) {
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

TEST_F(TheVideoPipeline, ServesALibraryThatStopsAndStarts) {
    play(files->film("red"));
    for (int i = 0; i < 3; ++i) {
        startCapture();
        EXPECT_TRUE(captureFrame());
        capture.stop();
    }
}

TEST_F(TheVideoPipeline, ServesAgainAfterTheQueueWasTakenAway) {
    play(files->film("red"));
    startCapture();
    ASSERT_TRUE(captureFrame());
    ASSERT_EQ(mq_unlink(video::REQUEST_QUEUE_NAME), 0);
    // The library still holds the queue that nobody can find any more, until it starts anew.
    capture.stop();
    startCapture();
    EXPECT_TRUE(captureFrame());
}

TEST_F(TheVideoPipeline, CanDieAndComeBackUnderARunningLibrary) {
    play(files->film("red"));
    startCapture();
    ASSERT_TRUE(captureFrame());
    television.video().kill();
    EXPECT_FALSE(television.video().running());
    EXPECT_FALSE(captureFrame());
    play(files->film("blue"));
    EXPECT_TRUE(captureUntil([](const Colour& mean) { return mean.blue > 200 && mean.red < 40; }));
}

TEST_F(TheVideoPipeline, CanHangAndGoOn) {
    play(files->film("red"));
    startCapture();
    television.video().stall();
    EXPECT_FALSE(captureFrame());
    television.video().resume();
    EXPECT_TRUE(captureFrame());
}

TEST_F(TheVideoPipeline, ChangesItsFilmOnCommand) {
    play(files->film("red"));
    startCapture();
    EXPECT_TRUE(television.video().command("clip " + files->film("blue")));
    EXPECT_TRUE(captureUntil([](const Colour& mean) { return mean.blue > 200 && mean.red < 40; }));
    EXPECT_FALSE(television.video().command("clip " + files->path("missing.avi")));
    EXPECT_TRUE(captureFrame());
    EXPECT_FALSE(television.video().command("dance"));
    EXPECT_GE(television.video().delivered(), 1U);
}

TEST_F(TheVideoPipeline, TakesUnusedQueueAndBlockAwayWhenTheTelevisionIsSwitchedOff) {
    play(files->film("red"));
    ASSERT_NE(shmget(video::CAPTURE_BLOCK_KEY, sizeof(video::CaptureBlock), IPC_CREAT | 0666), -1);
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT, 0666, nullptr);
    ASSERT_NE(queue, -1);
    mq_close(queue);
    television.video().stop();
    EXPECT_FALSE(isAnythingLeft());
}

TEST_F(TheVideoPipeline, LeavesQueueAndBlockToARunningLibraryWhenTheTelevisionIsSwitchedOff) {
    play(files->film("red"));
    startCapture();
    ASSERT_TRUE(captureFrame());
    television.video().stop();
    play(files->film("blue"));
    ASSERT_TRUE(captureFrame());
    EXPECT_GT(meanOf(picture).blue, 200);
}

TEST_F(TheVideoPipeline, ShowsItsPictureWithoutTheClientsBlockAndQueue) {
    play(files->film("red"));
    const simulated::Picture red = television.video().picture(70, 40);
    EXPECT_EQ(red.problem, "");
    EXPECT_EQ(red.width, 70U);
    EXPECT_EQ(red.height, 40U);
    ASSERT_EQ(red.rgba.size(), 4U * 70U * 40U);
    EXPECT_GT(red.rgba[0], 220);
    EXPECT_LT(red.rgba[1], 15);
    EXPECT_EQ(television.video().delivered(), 0U);
    EXPECT_FALSE(isAnythingLeft());

    // A setting is in force from the next picture on.
    model.set(BRIGHTNESS, 0);
    EXPECT_LT(television.video().picture(70, 40).rgba.at(0), 40);
}

TEST_F(TheVideoPipeline, SaysWhyThereIsNoPicture) {
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
    EXPECT_EQ(video.picture(70, 40).problem, "");
    // Not by the television's doing.
    pid_t pipeline = 0;
    std::ifstream("/proc/thread-self/children") >> pipeline;
    ASSERT_GT(pipeline, 0);
    ASSERT_EQ(kill(pipeline, SIGKILL), 0);
    EXPECT_EQ(video.picture(70, 40).problem, "the video pipeline died");
}

TEST_F(TheVideoPipeline, GivesPicturesOfOneSizeAfterItHungInAnother) {
    play(files->film("red"));
    television.video().stall();
    EXPECT_EQ(television.video().picture(70, 40).problem, "the video pipeline does not answer");
    EXPECT_EQ(television.video().picture(200, 100).problem, "the video pipeline does not answer");
    television.video().resume();
    const simulated::Picture red = television.video().picture(200, 100);
    EXPECT_EQ(red.problem, "");
    EXPECT_EQ(red.rgba.size(), 4U * 200U * 100U);
}

TEST_F(TheVideoPipeline, LeavesNoDescriptorsBehind) {
    const auto open = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    play("");
    television.video().kill();
    const auto before = open();
    for (int i = 0; i < 5; ++i) {
        play("");
        EXPECT_EQ(television.video().picture(70, 40).problem, "");
        if (i % 2 == 0) {
            television.video().kill();
        } else {
            television.video().stop();
        }
    }
    EXPECT_EQ(open(), before);
}

TEST_F(TheVideoPipeline, IsTheOnlyOneOfItsMachine) {
    play(files->film("red"));
    EXPECT_FALSE(television.video().start(files->film("red")));
    EXPECT_EQ(television.video().error(), "the video pipeline runs already");
    const Finished second = runProgram(PIPELINE_PROGRAM " " + files->film("red"));
    EXPECT_EQ(second.status, 3);
    EXPECT_THAT(second.output, HasSubstr("another"));
    EXPECT_TRUE(television.video().running());
}

TEST_F(TheVideoPipeline, RefusesWhatIsNoFilmInOneLineAndLeavesNothingBehind) {
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
    // The pipeline notices on its own that the program has ended.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (isAnythingLeft() && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(isAnythingLeft());
}

}  // namespace
