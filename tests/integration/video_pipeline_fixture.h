// The fixture of tests of the video pipeline: a process with a real decoder.
#ifndef TESTS_VIDEO_PIPELINE_FIXTURE_H
#define TESTS_VIDEO_PIPELINE_FIXTURE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <mqueue.h>
#include <sys/shm.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "asleep.h"
#include "eventually.h"
#include "platform_adaptation/picture_capture.h"
#include "run_program.h"
#include "television_test.h"
#include "video/capture_block.h"

namespace tests {

inline bool isAnythingLeft() {
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY);
    if (queue != -1) mq_close(queue);
    return queue != -1 || shmget(video::CAPTURE_BLOCK_KEY, 0, 0) != -1;
}

inline void removeEverything() {
    mq_unlink(video::REQUEST_QUEUE_NAME);
    if (const int id = shmget(video::CAPTURE_BLOCK_KEY, 0, 0); id != -1) shmctl(id, IPC_RMID, nullptr);
}

// Films and other files of a test program. They are removed at its end.
class Files {
  public:
    Files()
        : m_folder(std::filesystem::temp_directory_path() /
                   ("video_pipeline_test." + std::to_string(getpid()))) {
        std::filesystem::create_directory(m_folder);
    }
    ~Files() { std::filesystem::remove_all(m_folder); }

    std::string path(const std::string& name) const { return m_folder / name; }

    // Makes a film of two seconds from a pattern of videotestsrc.
    std::string film(const std::string& pattern) {
        const std::string file = path(pattern + ".avi");
        if (std::filesystem::exists(file)) return file;
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
    std::filesystem::path m_folder;
};

struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
};

inline Colour meanOf(const korvale::ai::PictureData& picture) {
    Colour sum;
    const double pixels = static_cast<double>(picture.width) * picture.height;
    for (std::size_t i = 0; i < std::size_t{picture.width} * picture.height; ++i) {
        sum.red += picture.data[3 * i];
        sum.green += picture.data[3 * i + 1];
        sum.blue += picture.data[3 * i + 2];
    }
    return {sum.red / pixels, sum.green / pixels, sum.blue / pixels};
}

class TheVideoPipeline : public TelevisionTest {
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
        EXPECT_TRUE(waitUntilAsleep(sender));
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
        eventually([&] {
            shown = television.video().picture(width, height);
            return shown.problem != "the video pipeline does not answer";
        });
        return shown;
    }

    static inline std::unique_ptr<Files> files;
    korvale::ai::PictureData picture{nullptr, 224, 224, korvale::ai::COLOR_MODE_RGB, 0};
    PictureCapture capture;
};

}  // namespace tests

#endif
