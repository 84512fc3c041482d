// The television's format keys while a film plays.
#include <gmock/gmock.h>

#include <mutex>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "eventually.h"
#include "film_fixture.h"
#include "keys.h"
#include "run_program.h"

using testing::ElementsAre;
using tests::AFilm;
using tests::eventually;
using tests::runProgram;
using namespace tests::keys;

namespace {

TEST_F(AFilm, SetsTheTelevisionsVideoFormat) {
    const auto rated = [](const std::string& rate) {
        return make("rate" + std::to_string(rate.size()) + rate.substr(0, 2) + ".mp4",
                    "color=gray:size=1920x1080:duration=0.3:rate=" + rate,
                    "-c:v libx264 -preset ultrafast -pix_fmt yuv420p");
    };
    for (const auto& [rate, text] : {std::pair("24000/1001", "23.976"),
                                     {"24", "24"},
                                     {"30000/1001", "29.97"},
                                     {"50", "50"},
                                     {"60000/1001", "59.94"},
                                     {"60", "60"}}) {
        play(rated(rate));
        EXPECT_EQ(format(), "1920x1080p@" + std::string(text));
    }
    play(make("still.png", "color=red:size=640x480", "-frames:v 1"));
    EXPECT_EQ(format(), "640x480p");
    EXPECT_GT(at(shown(), 160, 90)[0], 220);
    play(make("odd.mkv", "color=red:size=64x64:duration=0.2,format=gbrp,scale=35:19", "-c:v ffv1"));
    EXPECT_THAT(format(), testing::StartsWith("35x19p@"));
    EXPECT_GT(at(shown(), 160, 90)[0], 220);
    // Generated scenes have the channel's format again.
    EXPECT_TRUE(television.showVideo("scenes"));
    EXPECT_EQ(format(), "1920x1080p@50");
}

TEST_F(AFilm, ChangesTheVideoFormatWhenItsSizeChanges) {
    const std::string small =
        make("small.ts", "color=red:size=640x360:rate=25:duration=1", "-c:v mpeg2video");
    const std::string large =
        make("large.ts", "color=blue:size=1280x720:rate=25:duration=1", "-c:v mpeg2video");
    ASSERT_EQ(runProgram("cat " + small + " " + large + " > " + path("both.ts")).status, 0);
    play(path("both.ts"));
    EXPECT_TRUE(eventually([&] { return format() == "1280x720p@25"; }));
    EXPECT_TRUE(eventually([&] { return at(shown(), 160, 90)[2] > 200 && at(shown(), 2, 2)[2] > 200; }));
    EXPECT_TRUE(eventually([&] { return format() == "640x360p@25"; }));
}

TEST_F(AFilm, ReplacesTheChannelsPictureUntilASceneIsShown) {
    play(makeBars("hlg.mkv", "hevc", "640x360", {"bt2020", "limited", true, "arib-std-b67"}, "yuv420p10le"));
    EXPECT_EQ(hdrType(), "hdr_hlg");
    // Channel 4 has its own scene and HDR10. Channel 1 has no scene: the film is shown again.
    television.sourceSwitch().selectChannel("4");
    EXPECT_TRUE(eventually([&] { return hdrType() == "hdr_10" && format() == "1920x1080p@50"; }));
    television.sourceSwitch().selectChannel("1");
    EXPECT_TRUE(eventually([&] { return hdrType() == "hdr_hlg" && format() == "640x360p@25"; }));
    // Nothing plays while playback is stopped.
    television.sourceSwitch().setPlaying(false);
    EXPECT_EQ(format(), "");
    television.sourceSwitch().setPlaying(true);
    EXPECT_EQ(format(), "640x360p@25");
    television.suspend();
    EXPECT_EQ(format(), "");
    television.resume();
    EXPECT_EQ(format(), "640x360p@25");
    television.reset();
    EXPECT_EQ(format(), "640x360p@25");
    EXPECT_EQ(hdrType(), "hdr_hlg");
}

// The sequence of formats that the television had.
class Formats {
  public:
    explicit Formats(simulated::Television& television)
        : m_subscription(television.events(), [this](const simulated::Event& event) {
              const auto* const set = std::get_if<simulated::SetKey>(&event.what);
              if (set == nullptr || set->key != VIDEO_FORMAT) return;
              const std::lock_guard lock(m_mutex);
              m_all.push_back(std::get<std::string>(set->value));
          }) {}

    std::vector<std::string> all() const {
        const std::lock_guard lock(m_mutex);
        return m_all;
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_all;
    simulated::Events::Subscription m_subscription;
};

TEST_F(AFilm, PausesBrieflyAtItsEnd) {
    const std::string film = make("long.mp4", "color=red:size=640x360:rate=25:duration=3.2",
                                  "-c:v libx264 -preset ultrafast -pix_fmt yuv420p");
    const Formats formats(television);
    play(film);
    EXPECT_TRUE(eventually([&] { return formats.all().size() >= 3; }));
    const auto all = formats.all();
    EXPECT_EQ(std::vector<std::string>(all.begin(), all.begin() + 3),
              (std::vector<std::string>{"640x360p@25", "", "640x360p@25"}));
    EXPECT_GT(at(shown(), 160, 90)[0], 220);
}

TEST_F(AFilm, RepeatsWithoutAPauseIfItIsShort) {
    const std::string film = make("short.avi", "color=red:size=640x360:rate=25:duration=0.08", "-c:v mjpeg");
    const Formats formats(television);
    play(film);
    // These frames cover many repetitions.
    for (int i = 0; i < 100; ++i) EXPECT_GT(at(shown(), 160, 90)[0], 220);
    EXPECT_THAT(formats.all(), ElementsAre("640x360p@25"));
}

}  // namespace
