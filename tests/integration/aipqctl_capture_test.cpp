// aipqctl capture, with the machine's only video pipeline.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <mqueue.h>
#include <png.h>
#include <sys/shm.h>
#include <unistd.h>

#include <filesystem>

#include "aipqctl_run.h"
#include "video/capture_block.h"

using simulated::Television;
using testing::HasSubstr;
using namespace tests;

namespace {

namespace fs = std::filesystem;

void removeEverything() {
    mq_unlink(video::REQUEST_QUEUE_NAME);
    if (const int id = shmget(video::CAPTURE_BLOCK_KEY, 0, 0); id != -1) shmctl(id, IPC_RMID, nullptr);
}

class ACapture : public testing::Test {
  protected:
    ACapture() : m_folder(fs::temp_directory_path() / ("aipqctl_capture_test." + std::to_string(getpid()))) {
        setenv("AIPQ_TV_VIDEO", "scenes", 1);
        fs::create_directory(m_folder);
        removeEverything();
    }
    ~ACapture() override {
        removeEverything();
        fs::remove_all(m_folder);
    }

    std::string path(const std::string& name) const { return m_folder / name; }

    // Returns "224x224", or why the file has no size.
    std::string sizeOf(const std::string& name) const {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        if (png_image_begin_read_from_file(&image, path(name).c_str()) == 0) return image.message;
        const std::string size = std::to_string(image.width) + 'x' + std::to_string(image.height);
        png_image_free(&image);
        return size;
    }

  private:
    const fs::path m_folder;
};

TEST_F(ACapture, SavesAFrame) {
    const Result result = runEmbedded({"capture", "-o", path("frame.png")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, Reads(".*/frame\\.png: 224 x 224, \\d+ ms\n"));
    EXPECT_EQ(sizeOf("frame.png"), "224x224");
}

TEST_F(ACapture, SavesFramesFromTheLibrarysCallback) {
    const Result result = runEmbedded(
        {"capture", "--async", "-n", "3", "--size", "160x90", "-o", path("f-%03d.png"), "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(validate("capture", result.out), "");
    for (const char* const name : {"f-001.png", "f-002.png", "f-003.png"}) EXPECT_EQ(sizeOf(name), "160x90");
}

TEST_F(ACapture, WaitsBetweenFrames) {
    const auto begin = std::chrono::steady_clock::now();
    const Result result =
        runEmbedded({"capture", "-n", "3", "--every", "0.4", "-o", path("%d.png"), "--json"});
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(800));
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(validate("capture", result.out), "");
    EXPECT_EQ(sizeOf("3.png"), "224x224");
}

TEST_F(ACapture, ExitsWith0AfterCtrlCIfItHasNoLimit) {
    Running capture(program({"--embedded", "capture", "--every", "3600", "-o", path("%d.png")}));
    EXPECT_THAT(capture.readLine(), HasSubstr("/1.png: 224 x 224"));
    capture.interrupt();
    const Result result = capture.finish();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY), -1) << "the queue is left behind";
}

TEST_F(ACapture, ExitsWith130AfterCtrlCBeforeItsLimit) {
    Running capture(program({"--embedded", "capture", "-n", "3", "--every", "3600", "-o", path("%d.png")}));
    EXPECT_THAT(capture.readLine(), HasSubstr("/1.png"));
    capture.interrupt();
    const Result result = capture.finish();
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_EQ(result.err, "aipqctl: stopped after 1 of 3 frames\n");
}

TEST_F(ACapture, ReportsAMissingPipeline) {
    setenv("AIPQ_TV_VIDEO", "off", 1);
    for (const Arguments& more : {Arguments{}, Arguments{"--async"}}) {
        Arguments arguments{"capture", "-o", path("frame.png")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Result result = runEmbedded(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.err, "aipqctl: no frame arrives: is a video pipeline running?\n");
    }
}

TEST_F(ACapture, DoesNotBlockOnAFullQueue) {
    setenv("AIPQ_TV_VIDEO", "off", 1);
    mq_attr attributes{};
    attributes.mq_maxmsg = video::REQUEST_QUEUE_DEPTH;
    attributes.mq_msgsize = static_cast<long>(video::REQUEST_SIZE);
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_CREAT | O_EXCL | O_WRONLY, 0600, &attributes);
    ASSERT_NE(queue, -1);
    const std::string request(video::REQUEST_SIZE, 'x');
    for (int i = 0; i + 1 < video::REQUEST_QUEUE_DEPTH; ++i)
        mq_send(queue, request.data(), request.size(), 0);
    mq_close(queue);
    const Result result = runEmbedded({"capture", "-o", path("frame.png")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "aipqctl: no frame arrives: is a video pipeline running?\n");
}

TEST_F(ACapture, ReportsAFileThatCannotBeWritten) {
    const Result result = runEmbedded({"capture", "-o", path("no/frame.png")});
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_EQ(result.err,
              "aipqctl: cannot write '" + path("no/frame.png") + "': No such file or directory\n");
}

TEST_F(ACapture, KeepsADeviceThatCannotBeWritten) {
    fs::create_symlink("/dev/full", path("full"));
    for (const char* const format : {"png", "rgb"}) {
        const Result result = runEmbedded({"capture", "--format", format, "-o", path("full")});
        EXPECT_EQ(result.exitCode, 6);
        EXPECT_EQ(result.err, "aipqctl: cannot write '" + path("full") + "': No space left on device\n");
        EXPECT_TRUE(fs::is_character_file(path("full")));
    }
}

TEST_F(ACapture, WritesToStandardOutput) {
    const Result png = runEmbedded({"capture", "-o", "-"});
    EXPECT_EQ(png.exitCode, 0) << png.err;
    EXPECT_EQ(png.out.substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(png.err, "");
    const Result rgb = runEmbedded({"capture", "--format", "rgb", "--size", "16x9", "-n", "3", "-o", "-"});
    EXPECT_EQ(rgb.exitCode, 0) << rgb.err;
    EXPECT_EQ(rgb.out.size(), 3 * 16 * 9 * 3U);
}

TEST_F(ACapture, EndsQuietlyWhenItsReaderClosesThePipe) {
    const Result result =
        runShell("set -o pipefail; " AIPQCTL_PROGRAM
                 " --embedded capture --format rgb --size 16x9 -n 0 -o - | head -c 1000 | wc -c");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "1000\n");
}

TEST_F(ACapture, PutsRawFramesIntoOneFile) {
    const Result result =
        runEmbedded({"capture", "--format", "rgb", "--size", "16x9", "-n", "2", "-o", path("film.rgb")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(fs::file_size(path("film.rgb")), 2 * 16 * 9 * 3U);
}

TEST_F(ACapture, RejectsAnInvalidSize) {
    const std::string advice = ": for example 160x90, and at most 50176 pixels\n";
    struct {
        const char* size;
        int exitCode;
        const char* what;
    } const rows[]{{"160", 4, " is not a size"},         {"160x", 4, " is not a size"},
                   {"160x90x", 4, " is not a size"},     {"-1x5", 4, " is not a size"},
                   {"0x5", 5, " does not fit"},          {"225x224", 5, " does not fit"},
                   {"99999999999x1", 5, " does not fit"}};
    for (const auto& row : rows) {
        const Result result = runEmbedded({"capture", "--size", row.size});
        EXPECT_EQ(result.exitCode, row.exitCode) << row.size;
        EXPECT_EQ(result.err, std::string("aipqctl: --size ") + row.size + row.what + advice);
    }
}

TEST_F(ACapture, RequiresAFileNamePatternForSeveralFrames) {
    const Result result = runEmbedded({"capture", "-n", "2", "-o", path("frame.png")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err,
              "aipqctl: several frames need several files: put %d into the name, as in frame-%d.png\n");
}

// Root may open everything, so the program runs as the user nobody.
void withoutRights(Television&) {
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0) _exit(97);
}

TEST_F(ACapture, ReportsMissingRightsOnTheBlock) {
    setenv("AIPQ_TV_VIDEO", "off", 1);
    ASSERT_NE(shmget(video::CAPTURE_BLOCK_KEY, sizeof(video::CaptureBlock), IPC_CREAT | IPC_EXCL), -1);
    const Result result = runOn(withoutRights, {"capture", "-o", path("frame.png")});
    EXPECT_EQ(result.exitCode, 8);
    EXPECT_EQ(result.err,
              "aipqctl: the capture block cannot be opened, no permission: run as root, or as the pipeline's "
              "user\n");
}

TEST_F(ACapture, ReportsMissingRightsOnTheQueue) {
    setenv("AIPQ_TV_VIDEO", "off", 1);
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_CREAT | O_EXCL | O_RDONLY, 0, nullptr);
    ASSERT_NE(queue, -1);
    mq_close(queue);
    const Result result = runOn(withoutRights, {"capture", "-o", path("frame.png")});
    EXPECT_EQ(result.exitCode, 8);
    EXPECT_EQ(result.err,
              "aipqctl: the request queue /picture_capture_message_queue cannot be opened, no permission: "
              "run as root, or as "
              "the pipeline's user\n");
}

}  // namespace
