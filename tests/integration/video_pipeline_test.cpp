// The frames and the pictures that the video pipeline delivers, and the program of the pipeline.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <mqueue.h>
#include <sys/shm.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "keys.h"
#include "pipeline_process.h"
#include "run_program.h"
#include "video/capture_block.h"
#include "video_pipeline_fixture.h"

using testing::HasSubstr;
using testing::StartsWith;
using tests::Colour;
using tests::crashPipelineOf;
using tests::Finished;
using tests::isAnythingLeft;
using tests::meanOf;
using tests::runProgram;
using tests::TheVideoPipeline;
using namespace tests::keys;

namespace {

namespace fs = std::filesystem;

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
