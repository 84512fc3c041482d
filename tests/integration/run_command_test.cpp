// aipq-television run: the exit code, the environment, the streams and the scenario of a command.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

#include "exit_code.h"
#include "keys.h"
#include "own_television.h"
#include "run_command_fixture.h"
#include "television_process.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using tests::ACommandWithItsOwnTelevision;
using tests::BRIGHTNESS;
using tests::ChildProcess;
using tests::fileWith;
using tests::NO_PICTURE;
using tests::Result;
using tests::run;
using tests::runtimeFolder;
using tests::shell;
using tests::TelevisionProcess;
using tests::Words;

namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

TEST_F(ACommandWithItsOwnTelevision, EndsWithItsExitCode) {
    for (const int code : {0, 1, 42, 255}) {
        const Result result = run(NO_PICTURE, {"sh", "-c", "exit " + std::to_string(code)});
        EXPECT_EQ(result.exitCode, code);
        EXPECT_EQ(result.output + result.errors, "");
    }
}

TEST_F(ACommandWithItsOwnTelevision, EndsLikeInAShellWhenASignalKillsIt) {
    for (const int signal : {SIGTERM, SIGKILL, SIGSEGV}) {
        const Result result =
            run(NO_PICTURE, {"sh", "-c", "ulimit -c 0; kill -" + std::to_string(signal) + " $$"});
        EXPECT_EQ(result.exitCode, 128 + signal);
        EXPECT_EQ(result.output + result.errors, "");
    }
}

TEST_F(ACommandWithItsOwnTelevision, IgnoresTheTelevisionOfTheEnvironment) {
    TelevisionProcess other("living-room");
    ASSERT_TRUE(other.start());
    other.set(tests::keys::BRIGHTNESS, std::int32_t{11});
    for (const char* const name : {"", "living-room", "embedded"}) {
        const Result result =
            run(NO_PICTURE, shell("aipqctl get brightness; aipqctl set " + BRIGHTNESS + " 60"),
                {{"AIPQ_TV", name}});
        EXPECT_THAT(result.output, StartsWith("50\n")) << result.errors;
        EXPECT_EQ(result.exitCode, 0);
    }
    EXPECT_EQ(other.get<int>(tests::keys::BRIGHTNESS), 11);
    EXPECT_EQ(other.stop(), 0);
}

TEST_F(ACommandWithItsOwnTelevision, CanPlayAScenarioAndStartATelevision) {
    const std::string scenario =
        fileWith("dark.toml", "[[step]]\nset = \"" + std::string(tests::keys::BRIGHTNESS) + "\"\nto = 9\n");
    TelevisionProcess kitchen("kitchen");
    ASSERT_TRUE(kitchen.start());
    const std::string output = runtimeFolder() / "kitchen.output";
    const std::string startKitchen = "aipq-television --name kitchen --video off >" + output +
                                     " & until grep -qs busctl " + output + "; do sleep 0.01; done; ";
    const Result result =
        run(NO_PICTURE, shell("aipq-television play " + scenario + " && aipqctl get brightness; " +
                              startKitchen + "AIPQ_TV=kitchen aipqctl set " + BRIGHTNESS + " 20"));
    EXPECT_THAT(result.output, HasSubstr("The scenario has ended.\n9\n"));
    EXPECT_THAT(result.output, HasSubstr("brightness 50 -> 20"));
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(kitchen.get<int>(tests::keys::BRIGHTNESS), 50);
    EXPECT_EQ(kitchen.stop(), 0);
}

TEST_F(ACommandWithItsOwnTelevision, CanRunANestedTelevision) {
    const Result result =
        run(NO_PICTURE,
            shell("aipqctl set " + BRIGHTNESS +
                  " 30 >/dev/null;"
                  "aipq-television run --video off -- aipqctl get brightness; aipqctl get brightness"));
    EXPECT_EQ(result.output, "50\n30\n") << result.errors;
}

TEST_F(ACommandWithItsOwnTelevision, CapturesFramesBesideOtherRuns) {
    const std::string frame = runtimeFolder() / "frame.png";
    const Words capture{AIPQCTL_PROGRAM, "capture", "-o", frame};
    ChildProcess first(tests::runWords(
        {}, shell("aipqctl set " + BRIGHTNESS + " 70; aipqctl capture -o " + frame +
                  "1; read -r line; aipqctl get brightness; aipqctl capture -o " + frame + "1")));
    ASSERT_TRUE(first.waitForOutput(": 224 x 224")) << first.errors();
    const Result second =
        run({"--video", "scenes"}, shell("aipqctl get brightness; aipqctl capture -o " + frame));
    EXPECT_THAT(second.output, MatchesRegex("50\n.*: 224 x 224, [0-9]+ ms\n")) << second.errors;
    EXPECT_EQ(second.exitCode, 0);
    first.send("go on");
    EXPECT_EQ(first.wait(), 0);
    EXPECT_THAT(first.output(), HasSubstr("\n70\n"));
    EXPECT_EQ(first.errors(), "");
}

TEST_F(ACommandWithItsOwnTelevision, KeepsArgumentsStreamsAndDescriptors) {
    ChildProcess echo(tests::runWords(NO_PICTURE, {"sh", "-c",
                                                   "read -r line; printf '<%s>' \"$line\" \"$@\"; pwd;"
                                                   "ls /proc/self/fd | wc -w; echo said >&2",
                                                   "sh", "[a,b]", "", "--", "--video", "%%", "*"}));
    echo.send("a line");
    EXPECT_EQ(echo.wait(), 0);
    ChildProcess plain({"sh", "-c", "ls /proc/self/fd | wc -w"});
    EXPECT_EQ(plain.wait(), 0);
    EXPECT_EQ(echo.output(),
              "<a line><[a,b]><><--><--video><%%><*>" + fs::current_path().string() + '\n' + plain.output());
    EXPECT_EQ(echo.errors(), "said\n");
}

TEST_F(ACommandWithItsOwnTelevision, GetsTwoEnvironmentVariables) {
    const std::string others = "env | grep -v -E '^(_|AIPQ_TV|AIPQ_TV_FOLDER)=' | sort";
    ChildProcess plain({"sh", "-c", others});
    EXPECT_EQ(plain.wait(), 0);
    EXPECT_EQ(run(NO_PICTURE, {"sh", "-c", others}).output, plain.output());
    EXPECT_THAT(run(NO_PICTURE, {"sh", "-c", "echo $AIPQ_TV in $AIPQ_TV_FOLDER"}).output,
                MatchesRegex("unix:path=(.+)/living-room in .+/aipq-run\\.[0-9a-f]+\n"));
}

TEST_F(ACommandWithItsOwnTelevision, IgnoresTheSignalsThatItsCallerIgnores) {
    const Words signals{"sh", "-c", "trap '' INT; exec \"$@\"", "sh"};
    const Words look{"grep", "-E", "SigBlk|SigIgn", "/proc/self/status"};
    Words plain = signals;
    plain.insert(plain.end(), look.begin(), look.end());
    Words own = signals;
    const Words words = tests::runWords(NO_PICTURE, look);
    own.insert(own.end(), words.begin(), words.end());
    ChildProcess expected(plain);
    ChildProcess seen(own);
    EXPECT_EQ(expected.wait(), 0);
    EXPECT_EQ(seen.wait(), 0);
    EXPECT_EQ(seen.output(), expected.output());
}

TEST_F(ACommandWithItsOwnTelevision, StartsAfterTheFirstScenarioSteps) {
    const std::string scenario = fileWith("first.toml",
                                          "video = \"off\"\n"
                                          "[[step]]\nset = \"dovra.sl2.i32.video.contrast\"\nto = 7\n"
                                          "[[step]]\nset = \"dovra.sl2.i32.video.brightness\"\nto = 8\n"
                                          "[[step]]\nat = 3600\nclear_faults = true\n");
    const Result result =
        run({"--scenario", scenario}, shell("aipqctl get contrast; aipqctl get brightness"));
    EXPECT_EQ(result.output, "7\n8\n") << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitCode, 0);
}

TEST_F(ACommandWithItsOwnTelevision, ExitsWith1IfOnlyTheScenarioFails) {
    const std::string scenario = fileWith(
        "fails.toml", "video = \"off\"\n[[step]]\nexpect = \"dovra.sl2.i32.video.contrast\"\nis = 7\n");
    const std::string line = "aipq-television: the scenario failed: " + scenario +
                             ":2: expected dovra.sl2.i32.video.contrast to be 7, but it is 50\n";
    // The command continues until the failure has been reported.
    for (const auto& [end, exitCode] : {std::pair("exit 0", 1), std::pair("exit 9", 9)}) {
        ChildProcess process(
            tests::runWords({"--scenario", scenario}, {"sh", "-c", std::string("read -r line; ") + end}));
        EXPECT_TRUE(process.waitForErrors(line)) << process.errors();
        process.send("end");
        EXPECT_EQ(process.wait(), exitCode);
        EXPECT_EQ(process.errors(), line);
    }
}

TEST_F(ACommandWithItsOwnTelevision, KeepsTheTelevisionsOutputInTheLog) {
    const std::string log = runtimeFolder() / "television.log";
    fileWith("television.log", "of an earlier run");
    const std::string scenario =
        fileWith("logged.toml", "[[step]]\nset = \"dovra.sl2.i32.video.contrast\"\nto = 7\n");
    const Result result = run({"--log", log, "--scenario", scenario}, shell("aipqctl get contrast"));
    EXPECT_EQ(result.output, "7\n");
    EXPECT_EQ(result.errors, "");
    const std::string text = contentOf(log);
    EXPECT_THAT(text, StartsWith("The television 'living-room' is on and shows generated scenes.\n"));
    EXPECT_THAT(text, HasSubstr(" s  set \"dovra.sl2.i32.video.contrast\", to 7\n"));
    EXPECT_THAT(text, HasSubstr(" s  value: dovra.sl2.i32.video.contrast = 7\n"));
    EXPECT_THAT(text, HasSubstr(" s  client: a client subscribes to dovra.sl2.i32.video.contrast\n"));
}

TEST_F(ACommandWithItsOwnTelevision, FailsIfTheLogCannotBeWritten) {
    const std::string log = runtimeFolder() / "log";
    ASSERT_EQ(::mkfifo(log.c_str(), 0600), 0);
    const std::string scenario =
        fileWith("logged.toml",
                 "video = \"off\"\n[[step]]\nset = \"dovra.sl2.i32.video.contrast\"\n"
                 "to = 7\nafter = { key = \"dovra.sl2.i32.video.brightness\", is = 60 }\n");
    for (const auto& [end, exitCode] : {std::pair("exit 0", EXIT_BAD_FILE + 0), std::pair("exit 9", 9)}) {
        const int reader = ::open(log.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        ChildProcess process(
            tests::runWords({"--log", log, "--scenario", scenario},
                            shell(std::string("echo up; read -r line; aipqctl set " + BRIGHTNESS +
                                              " 60 >/dev/null;"
                                              "until [ $(aipqctl get contrast) = 7 ]; do :; done; ") +
                                  end)));
        EXPECT_TRUE(process.waitForOutput("up\n")) << process.errors();
        // From now on, writing to the log fails.
        ::close(reader);
        process.send("go on");
        EXPECT_EQ(process.wait(), exitCode);
        EXPECT_EQ(process.errors(),
                  "aipq-television: the log " + log + " is incomplete: it could not be written\n");
    }
    fs::remove(log);
}

TEST_F(ACommandWithItsOwnTelevision, SeesTheKeysOfItsCatalogue) {
    const std::string catalogue = tests::catalogueWith(
        "[[key]]\nname = \"test.own\"\ntype = \"integer\"\ndefault = 5\nmeaning = \"A number\"\n");
    const std::string relative = fs::path(catalogue).lexically_relative(fs::current_path());
    const Result result =
        run({"--video", "off", "--catalogue", relative}, shell("cd /; aipqctl key get test.own"));
    EXPECT_EQ(result.output, "5\n") << result.errors;
}

}  // namespace
