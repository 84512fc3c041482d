// The report of the example service, made from a history that the test writes.
#include <gmock/gmock.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "report.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t WIDTH = 256;
constexpr std::uint32_t HEIGHT = 144;

// A slope of grey with the noise of a film.
Frame frameOfLuma(int mean) {
    std::minstd_rand noise(static_cast<unsigned>(mean));
    Frame frame{WIDTH, HEIGHT, {}};
    for (std::uint32_t y = 0; y < HEIGHT; ++y) {
        for (std::uint32_t x = 0; x < WIDTH; ++x) {
            const int luma = mean + static_cast<int>(x + y) / 20 + static_cast<int>(noise() % 5);
            frame.rgb.insert(frame.rgb.end(), 3, static_cast<std::uint8_t>(luma));
        }
    }
    return frame;
}

Episode darkScene(double from) {
    Episode episode;
    episode.from = from;
    episode.to = from + 3.5;
    episode.scene = episode.decision.scene = Scene::DARK;
    episode.decision.target.darkLift = 60;
    episode.decision.reasons = {{"dark lift 0 > 60", "luma of 30"}};
    episode.before = frameOfLuma(20);
    episode.after = frameOfLuma(70);
    episode.measuredBefore = measure(episode.before);
    episode.measuredAfter = measure(episode.after);
    episode.measuredBefore.clippedBlack = 0.123;
    episode.measuredAfter.clippedBlack = 0.045;
    episode.measuredBefore.noise = 3.75;
    episode.greyErrorBefore = 0.4;
    episode.greyErrorAfter = 0.2;
    episode.exact = true;
    episode.captured = Shot{frameOfLuma(71), {}, episode.decision.target};
    episode.captured->measurement.clippedBlack = 0.067;
    return episode;
}

Episode untouchedScene(double from) {
    Episode episode;
    episode.from = from;
    episode.to = from + 2;
    episode.decision.reasons = {{"no change", "nothing is clipped"}};
    episode.before = episode.after = frameOfLuma(120);
    episode.measuredBefore = episode.measuredAfter = measure(episode.before);
    return episode;
}

// Twenty seconds in which the brightness rises from 50 to 60.
History historyOf(std::vector<Episode> episodes) {
    History history;
    history.episodes = std::move(episodes);
    for (std::size_t i = 1; i < history.episodes.size(); ++i)
        history.cuts.push_back(history.episodes[i].from);
    for (int second = 0; second <= 20; ++second) {
        history.settings.push_back({1.0 * second, {.brightness = 50 + second / 2}});
        history.shown.push_back({1.0 * second, 100});
        history.film.push_back({1.0 * second, 90});
    }
    return history;
}

class AReport : public testing::Test {
  protected:
    AReport() {
        std::string name = fs::temp_directory_path() / "picture_report_test.XXXXXX";
        m_folder = mkdtemp(name.data());
    }
    ~AReport() override { fs::remove_all(m_folder); }

    const std::string& make(const History& history, const std::string& playing = "TV, SDR") {
        m_report = makeReport(playing, history);
        std::ofstream(m_folder / "report.html") << m_report;
        return m_report;
    }

    // What a shell's command prints about the report, which is the file "report.html".
    std::string output(const std::string& command) const {
        const std::string line = "cd " + m_folder.string() + " && (" + command + ") >output 2>&1";
        EXPECT_EQ(std::system(line.c_str()), 0) << command;
        std::ostringstream content;
        content << std::ifstream(m_folder / "output").rdbuf();
        return content.str();
    }

    // Fails unless a strict parser reads the report.
    std::string query(const std::string& xpath) const {
        const std::string text = output("xmllint --xpath \"" + xpath + "\" report.html");
        return text.substr(0, text.find_last_not_of('\n') + 1);
    }

    // Of the strip with this caption.
    std::string numberOfLines(const std::string& caption) const {
        return query("count(//figure[contains(figcaption, '" + caption +
                     "')]//polyline[@class='after' and @points!=''])");
    }

    std::string m_report;
    fs::path m_folder;
};

TEST_F(AReport, RefersToNoOtherFile) {
    EXPECT_THAT(make(historyOf({darkScene(1), untouchedScene(5)})),
                AllOf(Not(HasSubstr("http:")), Not(HasSubstr("https:")), Not(HasSubstr("url(")),
                      Not(HasSubstr("<script")), Not(HasSubstr("<link"))));
    EXPECT_EQ(query("count(//@src)"), "4");
    EXPECT_EQ(query("count(//@src[not(starts-with(., 'data:image/jpeg;base64,'))])"), "0");
    EXPECT_EQ(query("count(//@href[not(starts-with(., '#scene-'))])"), "0");
}

TEST_F(AReport, CanBeReadAloudAndOnATelephone) {
    make(historyOf({darkScene(1), untouchedScene(5)}));
    EXPECT_EQ(query("string(/html/@lang)"), "en");
    EXPECT_EQ(query("string(//meta[@name='viewport']/@content)"), "width=device-width, initial-scale=1");
    EXPECT_EQ(query("count(//img[string-length(@alt) < 10])"), "0");
    EXPECT_EQ(query("count(//svg[not(@aria-hidden) and string-length(@aria-label) < 10])"), "0");
    EXPECT_EQ(query("count(//h1)"), "1");
    EXPECT_EQ(query("count(//@href[not(substring(., 2) = //@id)])"), "0");
}

TEST_F(AReport, SaysWhetherThePictureGotBetter) {
    const History history = historyOf({darkScene(1)});
    const Verdict verdict = verdictOf(history.episodes);
    ASSERT_NE(verdict.sentence, "");
    make(history);
    EXPECT_EQ(query("string(//div[@class='verdict']/p)"), verdict.sentence);
    EXPECT_EQ(query("string(//div[@class='verdict']//tr[th='clipped black'])"),
              "clipped black\n12.3\u00a0%\n4.5\u00a0%");
    EXPECT_EQ(query("string(//div[@class='verdict']//tr[th='colour in greys'])"),
              "colour in greys\n0.4\n0.2");
}

TEST_F(AReport, SaysWhatPlayedAndThatTheSettingsWerePutBack) {
    History history = historyOf({darkScene(1)});
    EXPECT_THAT(make(history, "a film"),
                AllOf(HasSubstr("a film"), HasSubstr("20 s, 21 frames captured"),
                      HasSubstr("brightness 50, contrast 50"), Not(HasSubstr("as found")),
                      HasSubstr("brightness 60, contrast 50")));
    history.settings.push_back({21, {}});
    EXPECT_THAT(make(history), HasSubstr("as found"));
}

TEST_F(AReport, ShowsEachSceneBeforeAndAfterWithItsNumbersAndReasons) {
    make(historyOf({darkScene(1), untouchedScene(5), darkScene(8)}));
    EXPECT_EQ(query("count(//section)"), "3");
    EXPECT_EQ(query("normalize-space(//section[3]/h3)"), "Scene 3: dark scene better 8.0 s to 11.5 s");
    const std::string scene = query("normalize-space(//section[1])");
    EXPECT_THAT(scene,
                AllOf(HasSubstr("Before with the settings found"), HasSubstr("After with dark lift 60"),
                      HasSubstr("Computed from one captured frame"), Not(HasSubstr("undone by estimate")),
                      HasSubstr("dark lift 0 > 60: luma of 30"),
                      HasSubstr("clipped black 12.3\u00a0% 4.5\u00a0%"), HasSubstr("noise 3.8 "),
                      HasSubstr("Captured later in the scene"), HasSubstr("clipped black 6.7\u00a0%")));
    EXPECT_EQ(query("count(//section[1]//img)"), "3");
    EXPECT_EQ(query("count(//section[1]//*[@class='histogram']/svg/polyline)"), "3");
}

TEST_F(AReport, SaysThatAFrameIsAnEstimate) {
    Episode episode = darkScene(1);
    episode.exact = false;
    EXPECT_THAT(make(historyOf({episode})), HasSubstr("undone by estimate"));
}

TEST_F(AReport, ShowsOnePictureWhereNothingWasChanged) {
    make(historyOf({untouchedScene(1)}));
    EXPECT_EQ(query("count(//section//img)"), "1");
    EXPECT_THAT(query("normalize-space(//section)"), AllOf(HasSubstr("Before and after nothing was changed"),
                                                           HasSubstr("no change: nothing is clipped")));
}

TEST_F(AReport, ShowsTheFramesThemselves) {
    const Episode episode = darkScene(1);
    make(historyOf({episode}));
    const std::string file =
        output("xmllint --xpath 'string((//section//img)[2]/@src)' report.html | cut -d, -f2 | base64 -d");
    std::vector<std::uint8_t> pixels(episode.after.rgb.size());
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), &tjDestroy);
    ASSERT_EQ(tjDecompress2(decoder.get(), reinterpret_cast<const unsigned char*>(file.data()), file.size(),
                            pixels.data(), WIDTH, 0, HEIGHT, TJPF_RGB, 0),
              0)
        << tjGetErrorStr2(decoder.get());
    double difference = 0;
    for (std::size_t i = 0; i < pixels.size(); ++i) difference += std::abs(pixels[i] - episode.after.rgb[i]);
    EXPECT_LT(difference / static_cast<double>(pixels.size()), 2);
}

TEST_F(AReport, ReplacesAFrameThatIsNoPicture) {
    Episode episode = untouchedScene(1);
    episode.before = episode.after = Frame{WIDTH, HEIGHT, {1, 2, 3}};
    make(historyOf({episode}));
    EXPECT_THAT(query("normalize-space(//section)"), HasSubstr("This frame cannot be shown."));
}

TEST_F(AReport, EscapesEveryText) {
    Episode episode = darkScene(1);
    episode.decision.reasons = {{"<b>&amp;\"", "'<script>"}};
    make(historyOf({episode}), "<title> & \"x\"\a \xff\xc3");
    EXPECT_EQ(query("normalize-space(//section//li)"), "<b>&amp;\": '<script>");
    EXPECT_EQ(query("string(//dl[1]/dd[1])"), "<title> & \"x\"  \uFFFD\uFFFD");
}

TEST_F(AReport, SaysThatThereWasNoScene) {
    for (const History& history : {History{}, historyOf({})}) {
        EXPECT_THAT(make(history), HasSubstr("No scene was judged."));
        EXPECT_EQ(query("count(//section)"), "0");
    }
}

TEST_F(AReport, OfAHundredScenesCanBeSent) {
    const History history = historyOf(std::vector(100, darkScene(1)));
    EXPECT_LT(make(history).size(), 8'000'000U);
    EXPECT_EQ(query("count(//section)"), "100");
}

TEST_F(AReport, SaysThatItHasNotEveryScene) {
    History history = historyOf({darkScene(1), untouchedScene(5), darkScene(8)});
    make(history);
    EXPECT_THAT(m_report, Not(HasSubstr("not kept")));
    history.episodes.erase(history.episodes.begin());
    make(history);
    EXPECT_THAT(m_report, HasSubstr("The scenes before scene 2 are not kept."));
    EXPECT_EQ(query("concat(//section[1]/@id, ' ', //section[2]/@id)"), "scene-2 scene-3");
    EXPECT_EQ(query("normalize-space(//div[@class='times'][1])"), "2 3");
}

TEST_F(AReport, OfALongTimeHasNoLargerPlot) {
    History history = historyOf({});
    for (int second = 21; second <= 86400; ++second)
        history.settings.push_back({1.0 * second, {.brightness = second % 100}});
    EXPECT_LT(make(history).size(), 100'000U);
    EXPECT_THAT(query("normalize-space(//div[@class='times'][2])"),
                "0 min 240 min 480 min 720 min 960 min 1200 min");
}

TEST_F(AReport, LeavesAGapWhereTheTelevisionWasAway) {
    History history = historyOf({});
    make(history);
    EXPECT_EQ(numberOfLines("brightness"), "1");
    EXPECT_EQ(query("count(//*[@class='away'])"), "0");
    history.absences = {{4.2, 7.8}};
    make(history);
    EXPECT_EQ(numberOfLines("brightness"), "2");
    EXPECT_EQ(numberOfLines("luma"), "3");  // one of them is in the legend
    EXPECT_EQ(query("string(//figure[contains(figcaption, 'brightness')]//*[@class='away']/@width)"), "180");
}

TEST_F(AReport, HasAStripForEachSettingThatChanged) {
    make(historyOf({darkScene(1), darkScene(8)}));
    EXPECT_EQ(query("count(//figure[starts-with(@class, 'strip')])"), "2");
    EXPECT_EQ(numberOfLines("brightness"), "1");
    EXPECT_THAT(m_report, HasSubstr("Never changed: contrast 50, saturation 50, dark lift 0,"));
    EXPECT_EQ(query("normalize-space(//div[@class='times'][1])"), "1 2");
    EXPECT_EQ(query("count(//figure[contains(figcaption, 'brightness')]//*[@class='mark'])"), "1");
}

}  // namespace
