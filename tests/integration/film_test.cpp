// The picture of films of many kinds: their containers, colours, sizes and scan types.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "film_fixture.h"

using tests::AFilm;
using tests::ENCODERS;
using tests::Tags;

namespace {

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

}  // namespace
