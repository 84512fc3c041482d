// Films of many kinds on the simulated television, made by ffmpeg: their colours, sizes and scan types, the
// television's format keys, and files that are not films.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "eventually.h"
#include "keys.h"
#include "pipeline_process.h"
#include "television_test.h"

using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using tests::eventually;
using namespace tests::keys;

namespace {

namespace fs = std::filesystem;

constexpr unsigned WIDTH = 320;
constexpr unsigned HEIGHT = 180;
// The allowed difference, of 255 levels, between the television's RGB conversion and ffmpeg's.
constexpr int TOLERANCE = 3;
constexpr long MOST_MEMORY_KB = 500'000;

struct Finished {
    int status;
    std::string output;  // both streams
};

Finished runProgram(const std::string& command) {
    std::FILE* const pipe = popen(("exec 2>&1; " + command).c_str(), "r");
    std::string output;
    std::array<char, 4096> part{};
    for (std::size_t count; (count = std::fread(part.data(), 1, part.size(), pipe)) > 0;)
        output.append(part.data(), count);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

// Eight bars: white, grey, dark grey, red, green, blue, skin, black.
std::string bars(const std::string& width, const std::string& height, const std::string& rate = "25") {
    std::string inputs;
    std::string pads;
    int count = 0;
    for (const char* const colour :
         {"ffffff", "808080", "202020", "c81e1e", "1eb428", "1e28c8", "e0ac8c", "000000"}) {
        inputs += "color=0x" + std::string(colour) + ":size=160x" + height + ":rate=" + rate +
                  ":duration=0.12,format=rgb24[c" + std::to_string(count) + "];";
        pads += "[c" + std::to_string(count++) + "]";
    }
    return inputs + pads + "hstack=inputs=8,scale=" + width + ":" + height + ":flags=neighbor";
}

const std::map<std::string, std::string> ENCODERS{
    {"mpeg2", "-c:v mpeg2video -q:v 2"},
    {"h264", "-c:v libx264 -preset ultrafast -crf 4"},
    {"hevc", "-c:v libx265 -preset ultrafast -crf 4 -x265-params log-level=none"},
    {"vp9", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -b:v 20M"},
    {"av1", "-c:v libaom-av1 -usage realtime -cpu-used 8 -crf 8 -b:v 0"},
};

struct Tags {
    std::string matrix;         // of the colours: bt601, bt709 or bt2020
    std::string range;          // limited or full
    bool written = true;        // in the stream
    std::string transfer = {};  // if it differs from the matrix's

    std::string options(const std::string& codec) const {
        if (!written) return range == "full" ? "-color_range pc" : "";
        const std::string primaries = matrix == "bt601" ? "smpte170m" : matrix;
        const std::string space = matrix == "bt601" ? "smpte170m" : matrix == "bt2020" ? "bt2020nc" : matrix;
        const std::string curve = !transfer.empty() ? transfer : matrix == "bt2020" ? "bt2020-10" : primaries;
        std::string text = "-color_primaries " + primaries + " -color_trc " + curve + " -colorspace " +
                           space + " -color_range " + (range == "full" ? "pc" : "tv");
        if (codec == "hevc")
            text += " -x265-params log-level=none:range=" + range + ":colorprim=" + primaries +
                    ":transfer=" + curve + ":colormatrix=" + space;
        return text;
    }
};

class AFilm : public tests::TelevisionTest {
  protected:
    static void SetUpTestSuite() {
        folder = fs::temp_directory_path() / ("film_test." + std::to_string(getpid()));
        fs::create_directory(folder);
    }
    static void TearDownTestSuite() { fs::remove_all(folder); }

    static std::string path(const std::string& name) { return folder / name; }

    // Makes a film from a source filter of ffmpeg.
    static std::string make(const std::string& name, const std::string& source, const std::string& options) {
        const Finished made = runProgram("ffmpeg -hide_banner -loglevel error -nostdin -y -f lavfi -i '" +
                                         source + "' " + options + " " + path(name));
        EXPECT_EQ(made.status, 0) << made.output;
        return path(name);
    }

    static std::string makeBars(const std::string& name, const std::string& codec, const std::string& size,
                                const Tags& tags, const std::string& pixels = "yuv420p") {
        const std::size_t cross = size.find('x');
        const std::string profile = codec == "vp9" && pixels != "yuv420p" ? " -profile:v 2 " : " ";
        return make(name,
                    bars(size.substr(0, cross), size.substr(cross + 1)) +
                        ",scale=out_color_matrix=" + tags.matrix + ":out_range=" + tags.range +
                        ":flags=accurate_rnd+full_chroma_int,format=" + pixels + ",setdar=16/9",
                    ENCODERS.at(codec) + profile + tags.options(codec));
    }

    void play(const std::string& film) {
        ASSERT_TRUE(television.showVideo(film)) << television.video().error();
    }

    simulated::Picture shown(unsigned width = WIDTH, unsigned height = HEIGHT) {
        simulated::Picture picture;
        eventually([&] {
            picture = television.video().picture(width, height);
            return picture.problem != "the video pipeline does not answer";
        });
        EXPECT_EQ(picture.problem, "");
        return picture;
    }

    static std::array<int, 3> at(const simulated::Picture& picture, unsigned x, unsigned y) {
        const std::size_t begin = 4 * (std::size_t{y} * picture.width + x);
        return {picture.rgba.at(begin), picture.rgba.at(begin + 1), picture.rgba.at(begin + 2)};
    }

    // Decodes the film's bars to RGB with ffmpeg.
    static std::vector<std::array<int, 3>> decoded(const std::string& film, const std::string& matrix) {
        const Finished raw =
            runProgram("ffmpeg -hide_banner -loglevel error -nostdin -i " + film + " -frames:v 1 -vf scale=" +
                       std::to_string(WIDTH) + ":" + std::to_string(HEIGHT) + ":in_color_matrix=" + matrix +
                       ":flags=accurate_rnd+full_chroma_int+full_chroma_inp -pix_fmt rgb24 -f rawvideo -");
        EXPECT_EQ(raw.output.size(), std::size_t{3} * WIDTH * HEIGHT);
        std::vector<std::array<int, 3>> colours;
        for (unsigned bar = 0; bar < 8; ++bar) {
            const std::size_t begin = 3 * (std::size_t{HEIGHT / 2} * WIDTH + bar * WIDTH / 8 + WIDTH / 16);
            std::array<int, 3> colour{};
            for (std::size_t c = 0; c < 3; ++c)
                colour[c] = static_cast<unsigned char>(raw.output.at(begin + c));
            colours.push_back(colour);
        }
        return colours;
    }

    void expectDecodersColours(const std::string& film, const std::string& matrix) {
        play(film);
        const simulated::Picture picture = shown();
        const auto wanted = decoded(film, matrix);
        for (unsigned bar = 0; bar < 8; ++bar) {
            const auto colour = at(picture, bar * WIDTH / 8 + WIDTH / 16, HEIGHT / 2);
            for (std::size_t c = 0; c < 3; ++c)
                EXPECT_NEAR(colour[c], wanted[bar][c], TOLERANCE)
                    << film << ", bar " << bar << ", colour " << c;
        }
    }

    std::string format() { return std::get<std::string>(model.value(VIDEO_FORMAT)); }
    std::string hdrType() { return std::get<std::string>(model.value(HDR_TYPE)); }

    static fs::path folder;
};

fs::path AFilm::folder;

TEST_F(AFilm, PlaysInItsContainerWithTheDecodersColours) {
    const std::map<std::string, std::vector<std::string>> codecs{
        {"ts", {"mpeg2", "h264", "hevc"}},
        {"mp4", {"mpeg2", "h264", "hevc", "vp9", "av1"}},
        {"mkv", {"mpeg2", "h264", "hevc", "vp9", "av1"}},
        {"webm", {"vp9", "av1"}}};
    for (const auto& [container, all] : codecs)
        for (const std::string& codec : all) {
            const std::string film =
                makeBars(codec + "." + container, codec, "640x360", {"bt601", "limited"});
            expectDecodersColours(film, "bt601");
            EXPECT_EQ(format(), "640x360p@25") << film;
            EXPECT_EQ(hdrType(), "sdr") << film;
        }
}

TEST_F(AFilm, PlaysWithTenBitsWithTheDecodersColours) {
    for (const char* const name : {"hevc.ts", "hevc.mp4", "vp9.webm", "av1.mp4"}) {
        const std::string codec = std::string(name).substr(0, std::string(name).find('.'));
        const std::string film =
            makeBars("10." + std::string(name), codec, "640x360", {"bt709", "limited"}, "yuv420p10le");
        expectDecodersColours(film, "bt709");
    }
}

TEST_F(AFilm, HasTheColoursOfItsMatrixAndRange) {
    int count = 0;
    for (const auto& [codec, container] :
         {std::pair("h264", ".ts"), {"h264", ".mp4"}, {"hevc", ".ts"}, {"vp9", ".webm"}})
        for (const char* const matrix : {"bt601", "bt709", "bt2020"})
            for (const char* const range : {"limited", "full"})
                expectDecodersColours(
                    makeBars(std::to_string(count++) + container, codec, "320x180", {matrix, range}), matrix);
}

TEST_F(AFilm, HasTheDefaultColoursOfItsSizeIfItNamesNone) {
    expectDecodersColours(makeBars("sd.ts", "mpeg2", "720x576", {"bt601", "limited", false}), "bt601");
    expectDecodersColours(makeBars("hd.ts", "h264", "1280x720", {"bt709", "limited", false}), "bt709");
    expectDecodersColours(makeBars("uhd.mp4", "h264", "3840x2160", {"bt709", "limited", false}), "bt709");
}

TEST_F(AFilm, IsDeinterlaced) {
    // A bar that moves between the two fields: without deinterlacing, every second row would show it
    // elsewhere.
    const std::string moving =
        "color=black:size=1024x576:rate=50:duration=0.6,format=rgb24,drawbox=x=200:y=0:w=100:h=576:c=white:t="
        "fill,"
        "scroll=h=0.02,";
    const std::string woven = "tinterlace=interleave_top,setfield=tff,setsar=1,format=";
    const std::vector<std::pair<std::string, std::string>> films{
        {make("i.ts", moving + woven + "yuv420p", "-c:v mpeg2video -q:v 2 -flags +ildct+ilme -top 1"),
         "mpeg2"},
        {make("i.mp4", moving + woven + "yuv420p",
              "-c:v libx264 -preset ultrafast -flags +ildct+ilme -top 1"),
         "h264"},
        {make("i10.ts", moving + woven + "yuv420p10le",
              "-c:v libx264 -preset ultrafast -flags +ildct+ilme -top 1"),
         "h264, 10 bits"}};
    for (const auto& [film, what] : films) {
        play(film);
        EXPECT_EQ(format(), "1024x576i@50") << what;
        const simulated::Picture picture = shown(1024, 576);
        int combed = 0;
        for (unsigned y = 1; y + 1 < 576; ++y)
            for (unsigned x = 0; x < 1024; x += 2) {
                const int above = at(picture, x, y - 1)[0];
                const int here = at(picture, x, y)[0];
                const int below = at(picture, x, y + 1)[0];
                if (std::abs(here - above) > 60 && std::abs(here - below) > 60 &&
                    std::abs(above - below) < 30)
                    ++combed;
            }
        EXPECT_LT(combed, 50) << what;
    }
}

TEST_F(AFilm, KeepsItsAspectRatioBetweenBlackBars) {
    const auto isRed = [](const std::array<int, 3>& c) { return c[0] > 220 && c[1] < 30; };
    const auto isBlack = [](const std::array<int, 3>& c) { return c[0] < 5 && c[1] < 5 && c[2] < 5; };
    const std::string red = "color=red:rate=25:duration=0.2:size=";
    // 4:3 with non-square pixels: 240 of 320 columns.
    play(make("pillars.ts", red + "720x576,setsar=16/15", "-c:v mpeg2video"));
    simulated::Picture picture = shown();
    EXPECT_TRUE(isBlack(at(picture, 38, 90)));
    EXPECT_TRUE(isRed(at(picture, 42, 90)));
    EXPECT_TRUE(isRed(at(picture, 277, 90)));
    EXPECT_TRUE(isBlack(at(picture, 281, 90)));
    EXPECT_TRUE(isRed(at(picture, 160, 0)));
    // The picture is the whole panel in every size, black bars included.
    picture = shown(200, 200);
    EXPECT_TRUE(isBlack(at(picture, 23, 100)));
    EXPECT_TRUE(isRed(at(picture, 27, 100)));
    EXPECT_TRUE(isRed(at(picture, 27, 199)));
    // 16:9 with non-square pixels.
    play(make("anamorphic.ts", red + "720x576,setsar=64/45", "-c:v mpeg2video"));
    picture = shown();
    for (const auto& [x, y] : {std::pair(0U, 0U), {319U, 0U}, {0U, 179U}, {319U, 179U}})
        EXPECT_TRUE(isRed(at(picture, x, y)));
    // 2.4:1: 133 of 180 rows.
    play(make("letters.mp4", red + "1920x800,setsar=1", "-c:v libx264 -preset ultrafast -pix_fmt yuv420p"));
    picture = shown();
    EXPECT_TRUE(isBlack(at(picture, 160, 21)));
    EXPECT_TRUE(isRed(at(picture, 160, 25)));
    EXPECT_TRUE(isRed(at(picture, 160, 154)));
    EXPECT_TRUE(isBlack(at(picture, 160, 158)));
    EXPECT_TRUE(isRed(at(picture, 0, 90)));
}

TEST_F(AFilm, IsToneMappedIfItIsHdr) {
    // 10-bit codes in limited range: black; the reference white (PQ 203 cd/m2 or HLG 75 per cent); the peak.
    const auto film = [](const std::string& name, const std::string& transfer, int white) {
        const std::string luma =
            "if(lt(X\\,W/3)\\,64\\,if(lt(X\\,2*W/3)\\," + std::to_string(white) + "\\,940))";
        return make(name,
                    "color=black:size=640x360:rate=25:duration=0.2,format=yuv420p10le,geq=lum=" + luma +
                        ":cb=512:cr=512",
                    ENCODERS.at("hevc") + " -pix_fmt yuv420p10le " +
                        Tags{"bt2020", "limited", true, transfer}.options("hevc"));
    };
    // The expected grey for the reference white: the curve keeps half of it and adds 0.5 * 0.506. The sum
    // 0.753 is linear light, which is 225 in sRGB.
    play(film("pq.ts", "smpte2084", 573));
    EXPECT_EQ(hdrType(), "hdr_10");
    simulated::Picture picture = shown();
    EXPECT_LE(at(picture, 50, 90)[1], 1);
    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_NEAR(at(picture, 160, 90)[c], 225, 3);
        EXPECT_GE(at(picture, 270, 90)[c], 254);
    }
    play(film("hlg.ts", "arib-std-b67", 721));
    EXPECT_EQ(hdrType(), "hdr_hlg");
    picture = shown();
    EXPECT_LE(at(picture, 50, 90)[1], 1);
    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_NEAR(at(picture, 160, 90)[c], 225, 3);
        EXPECT_GE(at(picture, 270, 90)[c], 254);
    }
}

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

long memoryOfPipeline() {
    std::ifstream status("/proc/" + std::to_string(tests::pipelineOf()) + "/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:") {
            long kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    return 0;
}

TEST_F(AFilm, NeedsLessThan500MegabytesInUltraHd) {
    play(make("uhd.ts", "testsrc2=size=3840x2160:rate=25:duration=0.32",
              "-c:v libx265 -preset ultrafast -x265-params log-level=none -pix_fmt yuv420p10le"));
    EXPECT_EQ(format(), "3840x2160p@25");
    for (int i = 0; i < 10; ++i) shown(224, 224);
    EXPECT_GT(memoryOfPipeline(), 0);
    EXPECT_LT(memoryOfPipeline(), MOST_MEMORY_KB);
}

TEST_F(AFilm, IsRefusedInOneLineIfItIs8K) {
    const std::string film = make("8k.mp4", "color=red:size=7680x4320:rate=25:duration=0.08",
                                  "-c:v libx264 -preset ultrafast -pix_fmt yuv420p");
    EXPECT_FALSE(television.showVideo(film));
    EXPECT_EQ(television.video().error(),
              "cannot play '" + film +
                  "': its size of 7680x4320 takes more than the 500 MB that the video "
                  "pipeline may use; films of up to 4096x2304 play");
}

TEST_F(AFilm, IsRefusedInOneLineIfItCannotBePlayed) {
    const std::string film = make("good.mp4", "testsrc2=size=640x360:rate=25:duration=1",
                                  "-c:v libx264 -preset ultrafast -pix_fmt yuv420p");
    const std::string stream = make("good.ts", "testsrc2=size=640x360:rate=25:duration=1", "-c:v mpeg2video");
    const auto size = fs::file_size(film);
    fs::copy_file(film, path("truncated.mp4"));
    fs::resize_file(path("truncated.mp4"), size / 2);  // without its index, which is at the end
    std::ofstream(path("empty.mp4")).close();
    std::ofstream(path("text.mp4")) << "no film at all\n";
    ASSERT_EQ(mkfifo(path("pipe.mp4").c_str(), 0600), 0);
    make("audio.ts", "sine=duration=0.2", "-c:a mp2");
    make("encrypted.mp4", "testsrc2=size=640x360:rate=25:duration=0.2",
         "-c:v libx264 -preset ultrafast -pix_fmt yuv420p -encryption_scheme cenc-aes-ctr "
         "-encryption_key 76a6c65c5ea762046bd749a2e632ccbb -encryption_kid a7e61c373e219033c21091fa607bf3b8");
    // A transport stream with scrambled packets.
    std::string packets(fs::file_size(stream), '\0');
    std::ifstream(stream, std::ios::binary)
        .read(packets.data(), static_cast<std::streamsize>(packets.size()));
    for (std::size_t i = 0; i + 188 <= packets.size(); i += 188)
        if ((packets[i + 1] & 0x1F) != 0) packets[i + 3] = static_cast<char>(packets[i + 3] | 0x80);
    std::ofstream(path("scrambled.ts"), std::ios::binary) << packets;

    play(film);
    const std::vector<std::pair<std::string, std::string>> bad{
        {path("truncated.mp4"), "it is damaged"},
        {path("empty.mp4"), "it is empty"},
        {path("text.mp4"), "no video in it"},
        {path("pipe.mp4"), "it is a named pipe"},
        {path("audio.ts"), "no video in it"},
        {path("encrypted.mp4"), "it is encrypted"},
        {path("scrambled.ts"), "it is encrypted"},
        {path("missing.mp4"), "No such file or directory"},
        {"http://localhost/film.mp4", "it is a URL, not a file"},
        {"/dev/null", "it is a device"},
        {folder, "it is a directory"},
    };
    for (const auto& [file, reason] : bad) {
        EXPECT_FALSE(television.showVideo(file)) << file;
        EXPECT_EQ(television.video().error(), "cannot play '" + file + "': " + reason);
        const Finished check = runProgram(PIPELINE_PROGRAM " --check -- " + file);
        EXPECT_EQ(check.status, 1) << file;
        EXPECT_EQ(check.output, "aipq-video-pipeline: cannot play '" + file + "': " + reason + "\n");
        EXPECT_TRUE(television.video().running()) << file;
    }
    EXPECT_EQ(format(), "640x360p@25");

    // A truncated film plays up to its end.
    fs::resize_file(stream, fs::file_size(stream) / 2);
    play(stream);
    EXPECT_EQ(format(), "640x360p@25");
}

TEST_F(AFilm, ReportsAMissingPackageByName) {
    const std::string film =
        make("stream.ts", "testsrc2=size=640x360:rate=25:duration=0.2", "-c:v mpeg2video");
    // All of GStreamer's plugins except one.
    const auto without = [&](const std::string& plugin) {
        const std::string some = path("without-" + plugin);
        fs::create_directory(some);
        const Finished found = runProgram("pkg-config --variable=pluginsdir gstreamer-1.0");
        const fs::path plugins = found.output.substr(0, found.output.find('\n'));
        for (const auto& file : fs::directory_iterator(plugins))
            if (file.path().extension() == ".so" && file.path().filename() != "libgst" + plugin + ".so")
                fs::create_symlink(file.path(), fs::path(some) / file.path().filename());
        return runProgram("GST_PLUGIN_SYSTEM_PATH_1_0=" + some + " GST_REGISTRY_1_0=" + some + "/registry " +
                          PIPELINE_PROGRAM + " --check -- " + film);
    };
    const std::string begin = "aipq-video-pipeline: cannot play '" + film + "': ";
    const Finished noDemuxer = without("mpegtsdemux");
    EXPECT_EQ(noDemuxer.status, 1);
    EXPECT_EQ(noDemuxer.output,
              begin +
                  "no demuxer for its container (MPEG-2 Transport Stream) is installed: install the "
                  "Debian package gstreamer1.0-plugins-bad\n");
    const Finished noDecoder = without("libav");
    EXPECT_EQ(noDecoder.status, 1);
    EXPECT_THAT(noDecoder.output,
                AllOf(HasSubstr(begin + "no decoder for its video (MPEG-2 Video"),
                      EndsWith("is installed: install the Debian package gstreamer1.0-libav\n")));
}

}  // namespace
