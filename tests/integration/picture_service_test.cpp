// The example service, on a television that leaves and returns.
#include <gmock/gmock.h>
#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "aipqctl_run.h"
#include "television_process.h"

using testing::HasSubstr;
using namespace tests;

namespace {

class APictureService : public testing::Test {
  protected:
    APictureService() : television("service", {"--video", "scenes"}), folder(runtimeFolder() / "pictures") {
        std::filesystem::create_directory(folder);
        EXPECT_TRUE(television.start());
    }
    ~APictureService() override {
        if (television.isOn()) {
            EXPECT_EQ(television.stop(), 0);
        }
        std::filesystem::remove_all(folder);
    }

    Running::Body service() const {
        return [this] {
            setenv("AIPQ_TV", television.name().c_str(), 1);
            execl(PICTURE_SERVICE_PROGRAM, "picture_service", folder.c_str(), "--seconds", "600", nullptr);
            return 98;
        };
    }

    // Its lines up to the one with this text; empty if it ends before.
    static std::string readUntil(Running& running, const std::string& text) {
        std::string lines;
        for (std::string line = running.readLine(); !line.empty(); line = running.readLine()) {
            lines += line + '\n';
            if (line.find(text) != std::string::npos) return lines;
        }
        return "";
    }

    static auto count(const std::string& text, const std::string& part) {
        std::size_t number = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++number;
        return number;
    }

    // Whether the plot has a strip in which there is nothing but the shade of a gap.
    bool hasGap() const {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        if (png_image_begin_read_from_file(&image, (folder / "timeline.png").c_str()) == 0) return false;
        image.format = PNG_FORMAT_RGB;
        std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
        png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
        constexpr std::size_t top = 80;
        constexpr std::size_t bottom = 540;
        constexpr int shade = 224;
        unsigned width = 0;
        for (std::size_t x = 80; x < 1200 && width < 4; ++x) {
            bool isEmpty = true;
            for (std::size_t y = top; y < bottom && isEmpty; ++y)
                isEmpty = std::abs(pixels[(y * image.width + x) * 3] - shade) <= 1;
            width = isEmpty ? width + 1 : 0;
        }
        return width == 4;
    }

    TelevisionProcess television;
    const std::filesystem::path folder;
};

TEST_F(APictureService, SaysOnceThatTheTelevisionLeftAndOnceThatItIsBack) {
    Running running(service());
    // It is at work once it has judged a scene.
    std::string lines = readUntil(running, " scene");
    ASSERT_NE(lines, "");
    television.kill();
    lines += readUntil(running, "the television left");
    // Long enough to be seen in the plot, and for a service that polls to say much.
    sleep(2);
    ASSERT_TRUE(television.start());
    lines += readUntil(running, "the television is back");
    running.interrupt();
    const Result result = running.finish();
    lines += result.out;
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(count(lines, "the television left"), 1U) << lines;
    EXPECT_EQ(count(lines, "the television is back"), 1U) << lines;
    EXPECT_LT(count(result.err, "\n"), 30U) << result.err;
    EXPECT_TRUE(hasGap());
}

TEST_F(APictureService, RefusesATimeThatIsNoNumber) {
    for (const char* const time : {"nan", "inf", "0", "-1", "1e9", "x"}) {
        const Result result = runShell(PICTURE_SERVICE_PROGRAM " " + folder.string() + " --seconds " + time);
        EXPECT_EQ(result.exitCode, 2) << time;
        EXPECT_EQ(result.out,
                  std::string("picture_service: --seconds: takes 1 to 86400, not ") + time + '\n');
    }
}

TEST_F(APictureService, KeepsAPictureThatCannotBeReplaced) {
    std::filesystem::create_symlink("/dev/full", folder / "contact-sheet.png");
    Running running(service());
    ASSERT_NE(readUntil(running, "player: playing"), "");
    running.interrupt();
    const Result result = running.finish();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("contact-sheet.png': No space left on device\n"));
    EXPECT_TRUE(std::filesystem::is_character_file(folder / "contact-sheet.png"));
}

}  // namespace
