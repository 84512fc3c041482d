// The fixture of tests with films of many kinds, made by ffmpeg.
#ifndef TESTS_FILM_FIXTURE_H
#define TESTS_FILM_FIXTURE_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "eventually.h"
#include "keys.h"
#include "run_program.h"
#include "television_test.h"

namespace tests {

constexpr unsigned WIDTH = 320;
constexpr unsigned HEIGHT = 180;
// The allowed difference, of 255 levels, between the television's RGB conversion and ffmpeg's.
constexpr int TOLERANCE = 3;

// Eight bars: white, grey, dark grey, red, green, blue, skin, black.
inline std::string bars(const std::string& width, const std::string& height, const std::string& rate = "25") {
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

inline const std::map<std::string, std::string> ENCODERS{
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

class AFilm : public TelevisionTest {
  protected:
    static void SetUpTestSuite() {
        folder = std::filesystem::temp_directory_path() / ("film_test." + std::to_string(getpid()));
        std::filesystem::create_directory(folder);
    }
    static void TearDownTestSuite() { std::filesystem::remove_all(folder); }

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

    std::string format() { return std::get<std::string>(model.value(keys::VIDEO_FORMAT)); }
    std::string hdrType() { return std::get<std::string>(model.value(keys::HDR_TYPE)); }

    static inline std::filesystem::path folder;
};

}  // namespace tests

#endif
