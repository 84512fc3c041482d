// aipq-television play and record, on a television in another process.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "eventually.h"
#include "keys.h"
#include "remote_test.h"
#include "run_program.h"

using testing::HasSubstr;
using testing::StartsWith;
using namespace tests::keys;
using tests::ChildProcess;
using tests::expectRefusal;
using tests::fileWith;
using tests::TelevisionProcess;

namespace {

TEST(AScenarioFile, IsCheckedBeforeTheConnectionToATelevision) {
    for (const std::string& text :
         {std::string("title = \"a\xff\"\nstep = []\n"), std::string("title = \"a\"\nstep = [] # \xc3\x28\n"),
          std::string("title = \"a\0\"\nstep = []\n", 22), std::string("step = [\n")}) {
        const std::string file = fileWith("unreadable.toml", text);
        expectRefusal({"play", file, "--tv", "nobody"}, 6, "aipq-television: " + file + ":");
    }
    expectRefusal({"play", "/no/file", "--tv", "nobody"}, 6,
                  "aipq-television: cannot read '/no/file': No such file or directory\n");
    expectRefusal({"play", "/", "--tv", "nobody"}, 6, "aipq-television: cannot read '/': Is a directory\n");
    expectRefusal({"play", "/dev/zero", "--tv", "nobody"}, 6,
                  "aipq-television: cannot read '/dev/zero': it is larger than 16 MiB\n");
    expectRefusal({"play", fileWith("good.toml", "step = []\n"), "--tv", "nobody"}, 7,
                  "aipq-television: no television 'nobody' runs: ");
}

// Runs a command whose standard output is a pipe without a reader. Returns its errors and its exit code.
std::string resultWithoutReader(const std::string& command) {
    return tests::runProgram(
               "exec 3>&1; { trap '' PIPE; while echo; do :; done 2>&-; env --default-signal=PIPE " +
               command + " 2>&3; echo $? >&3; } | true")
        .output;
}

class ARunningTelevision : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(television.start()) << television.process().errors(); }
    void TearDown() override { EXPECT_EQ(television.stop(), 0); }

    static std::string pathOf(const std::string& name) { return tests::runtimeFolder() / name; }

    TelevisionProcess television{"playing"};
};

TEST_F(ARunningTelevision, PlaysAScenario) {
    const std::string file = fileWith(
        "set.toml", std::string("[[step]]\nset = \"") + BRIGHTNESS + "\"\nto = 60\n[[step]]\nchannel = 3\n");
    ChildProcess play({TELEVISION_PROGRAM, "play", file, "--tv", television.name()});
    EXPECT_EQ(play.wait(), 0) << play.errors();
    EXPECT_THAT(play.output(), HasSubstr("channel \"3\"\nThe scenario has ended.\n"));
    EXPECT_EQ(television.get<int>(BRIGHTNESS), 60);
}

TEST_F(ARunningTelevision, PlaysNoStepOfAnInvalidScenario) {
    const std::string begin = std::string("[[step]]\nset = \"") + BRIGHTNESS + "\"\nto = 60\n[[step]]\n";
    for (const char* const step :
         {"video = \"/no/film\"\n", "set = \"no.such.key\"\nto = 1\n", "scene = 3\n", "channel = 9\n"}) {
        const std::string file = fileWith("half\xff.toml", begin + step);
        ChildProcess play({TELEVISION_PROGRAM, "play", file, "--tv", television.name()});
        EXPECT_EQ(play.wait(), 6) << step;
        EXPECT_THAT(play.errors(), HasSubstr(".toml:5:")) << step;
        EXPECT_EQ(television.get<int>(BRIGHTNESS), 50) << step;
    }
}

TEST_F(ARunningTelevision, ReportsThatTheStepsCannotBePrinted) {
    const std::string file =
        fileWith("full.toml", std::string("[[step]]\nset = \"") + BRIGHTNESS + "\"\nto = 60\n");
    const std::string play = TELEVISION_PROGRAM " play " + file + " --tv " + television.name();
    const tests::Finished full = tests::runProgram(play + " >/dev/full");
    EXPECT_EQ(full.status, 6);
    EXPECT_EQ(full.output, "aipq-television: cannot write standard output: No space left on device\n");
    EXPECT_EQ(television.get<int>(BRIGHTNESS), 60);
    EXPECT_EQ(tests::runProgram(play + " >&-").output,
              "aipq-television: cannot write standard output: it is closed\n");
}

TEST_F(ARunningTelevision, PlaysOnWithoutAReaderOfItsOutput) {
    const std::string file =
        fileWith("unread.toml", std::string("[[step]]\nset = \"") + BRIGHTNESS +
                                    "\"\nto = 60\n[[step]]\nset = \"" + BRIGHTNESS + "\"\nto = 70\n");
    EXPECT_EQ(resultWithoutReader(TELEVISION_PROGRAM " play " + file + " --tv " + television.name()), "0\n");
    EXPECT_EQ(television.get<int>(BRIGHTNESS), 70);
}

TEST_F(ARunningTelevision, PrintsTheTextsOfAScenarioSafely) {
    const std::string file = fileWith("unsafe.toml", std::string("[[step]]\nset = \"") + SOURCE +
                                                         "\"\nto = \"TV\"\n[[step]]\nset = \"" +
                                                         VIDEO_FORMAT + "\"\nto = \"a\xe2\x80\xae\"\n");
    ChildProcess play({TELEVISION_PROGRAM, "play", file, "--tv", television.name()});
    EXPECT_EQ(play.wait(), 0) << play.errors();
    EXPECT_THAT(play.output(), HasSubstr("to \"a\\u{202e}\"\n"));
}

TEST_F(ARunningTelevision, SuggestsANameForAMisspeltOne) {
    const std::vector<std::pair<std::string, std::string>> misspelt{
        {"[[step]]\nset = \"dovra.sl2.i32.video.brightnes\"\nto = 1\n", BRIGHTNESS},
        {"[[step]]\nfault = \"video.stall\"\nto = true\n", "video.stalled"},
        {"[[step]]\nscene = \"nigth\"\n", "night"},
        {"[[step]]\nchanel = 1\n", "channel"},
        {"[[step]]\nplaying = true\nwaitt = 1\n", "wait"},
        {"titel = \"a\"\n[[step]]\nchannel = 1\n", "title"},
    };
    for (const auto& [text, name] : misspelt) {
        ChildProcess play(
            {TELEVISION_PROGRAM, "play", fileWith("misspelt.toml", text), "--tv", television.name()});
        EXPECT_EQ(play.wait(), 6) << text;
        EXPECT_THAT(play.errors(), HasSubstr("; did you mean '" + name + "'?\n")) << text;
    }
}

// Recordings

class ARecordingFile : public ARunningTelevision {
  protected:
    static std::string textOf(const std::string& file) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    static bool holds(const std::string& file, const std::string& text) {
        return tests::eventually([&] { return textOf(file).find(text) != std::string::npos; });
    }

    // Starts a recording and waits for its first text in the file.
    std::unique_ptr<ChildProcess> record(const std::string& file) {
        auto process = std::make_unique<ChildProcess>(commandFor(file));
        EXPECT_TRUE(holds(file, "clear_faults = true")) << process->errors();
        EXPECT_TRUE(process->waitForOutput("Ctrl-C ends it."));
        return process;
    }

    std::vector<std::string> commandFor(const std::string& file) const {
        return {TELEVISION_PROGRAM, "record", file, "--tv", television.name(), "--title", "A day"};
    }

    // Playing the file either fails or reaches this brightness.
    void expectToPlay(const std::string& file, int brightness) {
        ChildProcess play({TELEVISION_PROGRAM, "play", file, "--tv", television.name()});
        EXPECT_EQ(play.wait(), 0) << play.errors();
        EXPECT_EQ(television.get<int>(BRIGHTNESS), brightness);
    }

    static std::vector<std::string> filesLike(const std::string& name) {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(tests::runtimeFolder()))
            if (entry.path().filename().string().rfind(name, 0) == 0)
                names.push_back(entry.path().filename());
        return names;
    }
};

constexpr char STEP_TO_61[] = "set = \"dovra.sl2.i32.video.brightness\"\nto = 61\n";

TEST_F(ARecordingFile, GrowsWithEachEventAndReplaysToTheSameState) {
    const std::string file = fileWith("growing.toml", "what was there");
    television.set(BRIGHTNESS, std::int32_t{60});
    const auto process = record(file);
    EXPECT_THAT(textOf(file), StartsWith("title = \"A day\"\nvideo = \"off\"\n"));
    television.set(BRIGHTNESS, std::int32_t{61});
    EXPECT_TRUE(holds(file, STEP_TO_61));
    television.set(BRIGHTNESS, std::int32_t{62});
    process->signal(SIGINT);
    EXPECT_EQ(process->wait(), 0);
    EXPECT_THAT(process->output(), HasSubstr("Recorded in " + file));
    television.set(BRIGHTNESS, std::int32_t{3});
    expectToPlay(file, 62);
    EXPECT_THAT(filesLike("growing"), testing::ElementsAre("growing.toml"));
}

TEST_F(ARecordingFile, IsCompleteWhenItsRecorderIsKilled) {
    const std::string file = pathOf("killed.toml");
    const auto process = record(file);
    television.set(BRIGHTNESS, std::int32_t{61});
    EXPECT_TRUE(holds(file, STEP_TO_61));
    process->signal(SIGKILL);
    process->wait();
    const std::string next = pathOf("next.toml");
    std::unique_ptr<ChildProcess> recorder;
    // The television detects the death a little later.
    ASSERT_TRUE(tests::eventually([&] {
        recorder = std::make_unique<ChildProcess>(commandFor(next));
        return recorder->waitForOutput("Ctrl-C ends it.", std::chrono::seconds(2));
    }));
    recorder->signal(SIGINT);
    EXPECT_EQ(recorder->wait(), 0);
    television.set(BRIGHTNESS, std::int32_t{3});
    expectToPlay(file, 61);
    expectToPlay(next, 61);
}

TEST_F(ARecordingFile, IsCompleteWhenItsTelevisionIsKilled) {
    const std::string file = pathOf("orphan.toml");
    const auto process = record(file);
    television.set(BRIGHTNESS, std::int32_t{61});
    EXPECT_TRUE(holds(file, STEP_TO_61));
    television.kill();
    EXPECT_EQ(process->wait(), 7);
    EXPECT_EQ(process->errors(), "aipq-television: the television was switched off; " + file +
                                     " contains the events until then\n");
    ASSERT_TRUE(television.start());
    expectToPlay(file, 61);
}

TEST_F(ARecordingFile, KeepsThePermissionsOfTheFileThatItReplaces) {
    const std::string file = fileWith("secret.toml", "step = []\n");
    constexpr auto mine = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
    std::filesystem::permissions(file, mine);
    record(file);
    EXPECT_EQ(std::filesystem::status(file).permissions(), mine);
}

TEST_F(ARecordingFile, IsNotChangedByASecondRecorder) {
    const auto process = record(pathOf("first.toml"));
    const std::string kept = fileWith("kept.toml", "what was there");
    for (const std::string& file : {kept, pathOf("second.toml")}) {
        ChildProcess second(commandFor(file));
        EXPECT_EQ(second.wait(), 1);
        EXPECT_EQ(second.errors(), "aipq-television: a scenario is already being recorded\n");
    }
    EXPECT_EQ(textOf(kept), "what was there");
    EXPECT_THAT(filesLike("second"), testing::IsEmpty());
    process->signal(SIGINT);
    EXPECT_EQ(process->wait(), 0);
}

TEST_F(ARecordingFile, EndsTheRecordingIfItCannotBeWritten) {
    for (const auto& [file, why] : {std::pair("/no/folder/a.toml", "No such file or directory"),
                                    std::pair("/dev/full", "No space left on device")}) {
        ChildProcess process(commandFor(file));
        EXPECT_EQ(process.wait(), 6);
        EXPECT_EQ(process.errors(),
                  std::string("aipq-television: cannot write '") + file + "': " + why + '\n');
    }
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST_F(ARecordingFile, CanBeStandardOutput) {
    for (const char* const file : {"-", "/dev/stdout"}) {
        ChildProcess process(commandFor(file));
        ASSERT_TRUE(process.waitForErrors("Ctrl-C ends it.")) << process.errors();
        ASSERT_TRUE(process.waitForOutput("clear_faults = true"));
        television.set(BRIGHTNESS, std::int32_t{61});
        EXPECT_TRUE(process.waitForOutput(STEP_TO_61));
        process.signal(SIGINT);
        EXPECT_EQ(process.wait(), 0) << process.errors();
        EXPECT_THAT(process.errors(), HasSubstr("\nRecorded.\n"));
        EXPECT_THAT(process.output(), StartsWith("title = \"A day\"\n"));
        television.set(BRIGHTNESS, std::int32_t{3});
        expectToPlay(fileWith("output.toml", process.output()), 61);
    }
    EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST_F(ARecordingFile, EndsWith0WithoutAReader) {
    std::string command;
    for (const std::string& word : commandFor("-")) command += " '" + word + "'";
    EXPECT_THAT(resultWithoutReader(command), testing::EndsWith("\n0\n"));
}

TEST_F(ARecordingFile, KeepsALinkWithoutATarget) {
    const std::string file = pathOf("target.toml");
    const std::string link = pathOf("link.toml");
    std::filesystem::create_symlink(file, link);
    record(link);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_TRUE(std::filesystem::is_regular_file(file));
}

}  // namespace
