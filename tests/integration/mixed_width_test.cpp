// The library for the television's 32-bit processor and a 64-bit video pipeline share one block and one
// queue.
#include <sys/shm.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "asleep.h"
#include "keys.h"
#include "platform_adaptation/picture_capture.h"
#include "television_test.h"
#include "video/capture_block.h"

using namespace tests::keys;
using korvale::ai::PictureData;

namespace {

static_assert(sizeof(void*) == 4, "this is the 32-bit side");

constexpr char PIPELINE[] = PIPELINE_FOLDER "/aipq-video-pipeline";

class A32BitLibrary : public tests::TelevisionTest {
  protected:
    void SetUp() override {
        // Byte 4 of an ELF file is its class: 2 means 64 bits.
        std::ifstream program(PIPELINE, std::ios::binary);
        std::string header(5, '\0');
        program.read(header.data(), 5);
        ASSERT_TRUE(program) << PIPELINE << " is missing: build the preset release first";
        ASSERT_EQ(header[4], 2) << PIPELINE << " is not a 64-bit program";

        setenv("PATH", (std::string(PIPELINE_FOLDER) + ":" + std::getenv("PATH")).c_str(), 1);
        ASSERT_TRUE(television.video().start()) << television.video().error();
        ASSERT_TRUE(television.video().command("scene bars"));
        capture.start();
        ASSERT_TRUE(log.waitFor("create thread to send message queue."));
    }

    bool captureFrame() {
        // The library loses a request while its sender thread is not waiting for one.
        const pid_t sender = log.withMessage("create thread to send message queue.\n").back().thread;
        return tests::waitUntilAsleep(sender) && capture.getPicture(true, &picture);
    }

    double mean() const {
        const std::size_t bytes = std::size_t{picture.width} * picture.height * 3;
        double sum = 0;
        for (std::size_t i = 0; i < bytes; ++i) sum += picture.data[i];
        return sum / static_cast<double>(bytes);
    }

    PictureData picture{nullptr, 160, 90, korvale::ai::COLOR_MODE_RGB, 0};
    PictureCapture capture;
};

TEST_F(A32BitLibrary, CapturesFramesOfA64BitPipeline) {
    for (const unsigned width : {160U, 280U, 1U}) {
        picture.width = width;
        picture.height = 90;
        ASSERT_TRUE(captureFrame());
        EXPECT_EQ(picture.width, width);
        EXPECT_EQ(picture.height, 90U);
    }
    EXPECT_EQ(television.video().delivered(), 3U);
    shmid_ds status{};
    ASSERT_EQ(shmctl(shmget(video::CAPTURE_BLOCK_KEY, 0, 0), IPC_STAT, &status), 0);
    EXPECT_EQ(status.shm_segsz, sizeof(video::CaptureBlock));
}

TEST_F(A32BitLibrary, AppliesSettingsToThePictureOfA64BitPipeline) {
    ASSERT_TRUE(captureFrame());
    const double before = mean();
    model.set(BRIGHTNESS, 100);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (captureFrame() && mean() < before + 20 && std::chrono::steady_clock::now() < limit) {
    }
    EXPECT_GT(mean(), before + 20);
}

}  // namespace
