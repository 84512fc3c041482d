// Films that need much memory, and files that cannot be played.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "film_fixture.h"
#include "pipeline_process.h"
#include "run_program.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using tests::AFilm;
using tests::Finished;
using tests::runProgram;

namespace {

namespace fs = std::filesystem;

constexpr long MOST_MEMORY_KB = 500'000;

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

TEST(ThePipelineProgram, PrintsItsArgumentsSafely) {
    EXPECT_EQ(runProgram(PIPELINE_PROGRAM " --check \"$(printf 'a\\033[31m\\302\\233')\"").output,
              "aipq-video-pipeline: cannot play 'a\\x1b[31m\\u{9b}': No such file or directory\n");
    EXPECT_EQ(runProgram(PIPELINE_PROGRAM " a \"$(printf '\\033[31m')\"").output,
              "aipq-video-pipeline: The following argument was not expected: \\x1b[31m\n");
    for (const char* const words : {" --check ", " a "}) {
        const Finished refused = runProgram(std::string(PIPELINE_PROGRAM) + words + "$(printf %0100000d 1)");
        EXPECT_NE(refused.status, 0);
        EXPECT_LT(refused.output.size(), 1100U);
    }
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
