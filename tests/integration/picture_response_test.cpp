// The example service changes a television's settings and predicts the frames; real captured frames confirm
// it.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "eventually.h"
#include "frame_grabber.h"
#include "picture_control.h"
#include "picture_response.h"
#include "scene_judge.h"
#include "scenes.h"
#include "television_test.h"

namespace {

class AControl : public tests::TelevisionTest {
  protected:
    bool settles() {
        return tests::eventually([&] {
            control.advance();
            return control.settled();
        });
    }

    void loseAnnouncements(const std::string& key) {
        simulated::KeyFaults faults;
        faults.dropNotifications = 10000;
        model.setFaults(key, faults);
    }

    PictureControl control;
};

class APredictedFrame : public AControl, public testing::WithParamInterface<std::string_view> {
  protected:
    // Captures a frame that shows the effect of all earlier commands: the pipeline handles them in order.
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
        EXPECT_TRUE(settles());
        EXPECT_EQ(control.inForce(), target);
    }

    std::optional<FrameGrabber> grabber;
};

TEST_P(APredictedFrame, EqualsTheCapturedFrameWithoutClipping) {
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

    // The predicted and the captured frame differ by at most one level per channel.
    const Frame predicted = showFilm(film, decision->target);
    ASSERT_EQ(shown.rgb.size(), predicted.rgb.size());
    int worst = 0;
    for (std::size_t i = 0; i < shown.rgb.size(); ++i)
        worst = std::max(worst, std::abs(int{shown.rgb[i]} - int{predicted.rgb[i]}));
    EXPECT_LE(worst, 1);

    // Allows 0.1 per cent of the pixels and one colour level.
    const Measurement after = measure(shown);
    EXPECT_LE(after.clippedBlack, measured.clippedBlack + 0.001);
    EXPECT_LE(after.clippedWhite, measured.clippedWhite + 0.001);
    EXPECT_LE(greyError(film, shown), greyError(film, film) + 1);

    control.restore();
    EXPECT_TRUE(settles());
    EXPECT_TRUE(control.restored());
    EXPECT_EQ(capture().rgb, film.rgb);
    grabber.reset();
}

INSTANTIATE_TEST_SUITE_P(OfAScene, APredictedFrame, testing::ValuesIn(pipeline::SCENE_NAMES),
                         [](const auto& scene) { return std::string(scene.param); });

// A library worker that misses a notification waits up to a minute for the next one. This happens on a busy
// machine.
TEST_F(AControl, SetsAndRestoresSettingsWithoutNotifications) {
    ASSERT_TRUE(control.open());
    for (const char* const key : {"brightness", "contrast", "enum.dnc"})
        loseAnnouncements("dovra.sl2.i32.video." + std::string(key));
    Settings target;
    target.brightness = 55;
    target.contrast = 57;
    target.noiseReduction = 3;
    control.moveTo(target);
    EXPECT_TRUE(settles());
    EXPECT_EQ(control.inForce(), target);
    control.restore();
    EXPECT_TRUE(settles());
    EXPECT_TRUE(control.restored());
}

TEST_F(AControl, KeepsTheNewestTarget) {
    ASSERT_TRUE(control.open());
    loseAnnouncements("dovra.sl2.i32.video.contrast");
    Settings target;
    for (const int contrast : {70, 40, 62, 46}) {
        target.contrast = contrast;
        control.moveTo(target);
    }
    EXPECT_TRUE(settles());
    model.setFaults("dovra.sl2.i32.video.contrast", {});
    for (int i = 0; i < 20; ++i) {
        control.advance();
        EXPECT_EQ(control.inForce(), target);
    }
}

TEST_F(AControl, RestoresSettingsThatItDoesNotDecideOn) {
    const std::string pq = "dovra.sl2.vint.video.aipq.pq.setting";
    const std::string luma = "dovra.sl2.i32.video.color.tuner.luma";
    std::vector<int> parameters(27);
    std::iota(parameters.begin(), parameters.end(), 1);
    model.set(pq, parameters);
    model.set(luma, 7);
    ASSERT_TRUE(control.open());
    EXPECT_EQ(control.found().darkLift, 1);
    EXPECT_EQ(control.found().rollOff, 2);

    Settings target = control.found();
    target.darkLift = 40;
    target.tunerMode = 1;
    target.tunerHue = -9;
    control.moveTo(target);
    EXPECT_TRUE(settles());
    std::vector<int> changed = parameters;
    changed[0] = 40;
    EXPECT_EQ(model.value(pq), simulated::Value(changed));
    EXPECT_EQ(model.value(luma), simulated::Value(0));

    control.restore();
    EXPECT_TRUE(settles());
    EXPECT_TRUE(control.restored());
    EXPECT_EQ(model.value(pq), simulated::Value(parameters));
    EXPECT_EQ(model.value(luma), simulated::Value(7));
}

}  // namespace
