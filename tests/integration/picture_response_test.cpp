// What the example service predicts and decides, on frames that are really captured.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include "eventually.h"
#include "frame_grabber.h"
#include "picture_control.h"
#include "picture_response.h"
#include "scene_judge.h"
#include "scenes.h"
#include "television_test.h"

namespace {

class APredictedFrame : public tests::TelevisionTest, public testing::WithParamInterface<std::string_view> {
  protected:
    // A frame that the commands before have reached: an answer to a command comes after them.
    Frame capture() {
        EXPECT_TRUE(television.video().command("pause"));
        std::optional<Frame> frame;
        EXPECT_TRUE(tests::eventually([&] {
            if (grabber->idle()) grabber->request();
            frame = grabber->take(std::chrono::milliseconds(100));
            return frame.has_value();
        }));
        return frame.value_or(Frame{});
    }

    void moveTo(const Settings& target) {
        control.moveTo(target);
        EXPECT_TRUE(tests::eventually([&] {
            control.advance();
            return control.settled();
        }));
        EXPECT_EQ(control.inForce(), target);
    }

    PictureControl control;
    std::optional<FrameGrabber> grabber;
};

TEST_P(APredictedFrame, IsWhatIsCapturedAndLosesNothing) {
    ASSERT_TRUE(television.video().start());
    ASSERT_TRUE(television.video().command("scene " + std::string(GetParam())));
    ASSERT_TRUE(control.open());
    grabber.emplace();
    const Frame film = capture();

    SceneJudge judge(control.found());
    const Measurement measured = measure(film);
    EXPECT_FALSE(judge.judge(measured, false, 0));
    const std::optional<Decision> decision = judge.judge(measured, false, 1);
    ASSERT_TRUE(decision);
    moveTo(decision->target);
    const Frame shown = capture();

    // No channel of a pixel is off by more than one level.
    const Frame predicted = showFilm(film, decision->target);
    ASSERT_EQ(shown.rgb.size(), predicted.rgb.size());
    int worst = 0;
    for (std::size_t i = 0; i < shown.rgb.size(); ++i)
        worst = std::max(worst, std::abs(int{shown.rgb[i]} - int{predicted.rgb[i]}));
    EXPECT_LE(worst, 1);

    // A tenth of a per cent of the pixels, and one level of colour.
    const Measurement after = measure(shown);
    EXPECT_LE(after.clippedBlack, measured.clippedBlack + 0.001);
    EXPECT_LE(after.clippedWhite, measured.clippedWhite + 0.001);
    EXPECT_LE(greyError(film, shown), greyError(film, film) + 1);

    control.restore();
    EXPECT_TRUE(tests::eventually([&] {
        control.advance();
        return control.settled() && control.restored();
    }));
    EXPECT_EQ(capture().rgb, film.rgb);
    grabber.reset();
}

INSTANTIATE_TEST_SUITE_P(OfAScene, APredictedFrame, testing::ValuesIn(pipeline::SCENE_NAMES),
                         [](const auto& scene) { return std::string(scene.param); });

}  // namespace
