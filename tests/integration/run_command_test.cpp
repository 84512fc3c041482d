// aipq-television run: a command with a private television.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "eventually.h"
#include "exit_code.h"
#include "keys.h"
#include "own_television.h"
#include "recorders.h"
#include "television_process.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using tests::ChildProcess;
using tests::eventually;
using tests::fileWith;
using tests::OwnTelevision;
using tests::Result;
using tests::run;
using tests::runFolders;
using tests::runtimeFolder;
using tests::TelevisionProcess;
using tests::Words;

namespace {

namespace fs = std::filesystem;

const Words NO_PICTURE{"--video", "off"};
const Words SCENES{"--video", "scenes"};

// Written as a key: a changed setting takes a minute if the library's worker misses a notification.
const std::string BRIGHTNESS = tests::keys::BRIGHTNESS;

// Runs a script in a shell with aipqctl and aipq-television on the PATH.
Words shell(const std::string& script) {
    const std::string path = fs::path(AIPQCTL_PROGRAM).parent_path();
    return {"sh", "-c", "PATH=" + path + ":$PATH; " + script};
}

std::string contentOf(const std::string& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

class ACommandWithItsOwnTelevision : public testing::Test {
  protected:
    ~ACommandWithItsOwnTelevision() override { EXPECT_THAT(runFolders(), IsEmpty()); }

    // Expects the run to fail before it starts the command.
    static void expectRefusal(Words options, int exitCode, const std::string& line,
                              const std::map<std::string, std::string>& environment = {}) {
        const std::string file = runtimeFolder() / "started";
        options.insert(options.begin(), "run");
        options.insert(options.end(), {"--", "touch", file});
        tests::expectRefusal(options, exitCode, line, environment);
        EXPECT_FALSE(fs::exists(file));
        EXPECT_THAT(runFolders(), IsEmpty());
    }
};

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
                                     " & until grep -q busctl " + output + "; do sleep 0.01; done; ";
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

// Refusals

TEST_F(ACommandWithItsOwnTelevision, IsReportedIfItDoesNotExist) {
    tests::expectRefusal({"run", "--video", "off", "--", "/no/command"}, EXIT_NOT_FOUND,
                         "aipq-television: cannot execute '/no/command': No such file or directory\n");
    tests::expectRefusal({"run", "--video", "off", "--", "no-such-command"}, EXIT_NOT_FOUND,
                         "aipq-television: cannot execute 'no-such-command': No such file or directory\n");
    tests::expectRefusal({"run", "--video", "off", "--", fileWith("text", "no program")}, EXIT_NOT_EXECUTABLE,
                         "aipq-television: cannot execute '");
    tests::expectRefusal({"run"}, EXIT_WRONG_USE, "aipq-television: a command behind -- is required; ");
    tests::expectRefusal({"run", "--"}, EXIT_WRONG_USE, "aipq-television: a command behind -- is required; ");
    tests::expectRefusal({"run", "true"}, EXIT_WRONG_USE,
                         "aipq-television: The following argument was not expected: true; ");
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedWithBadFiles) {
    const std::string noFilm = fileWith("film.avi", "no film at all\n");
    const std::string noScenario = fileWith("broken.toml", "[[step]]\nset = \"no.key\"\nto = 1\n");
    const std::string noCatalogue = fileWith("malformed.toml", "[[key]]\nname = ?\n");
    const std::string noVideo =
        fileWith("video.toml", "video = \"/no/film\"\n[[step]]\nclear_faults = true\n");
    const std::string laterFilm =
        fileWith("later.toml", "[[step]]\nclear_faults = true\n[[step]]\nvideo = \"" + noFilm + "\"\n");
    const std::string noText = fileWith("latin.toml", "[[step]]\nscene = \"\xfc\"\n");
    const std::string program = "aipq-television: ";
    expectRefusal({"--video", "/no/film"}, EXIT_BAD_FILE, program + "the film /no/film cannot be read: ");
    expectRefusal({"--video", noFilm}, EXIT_BAD_FILE, program + "cannot play '" + noFilm + "': ");
    expectRefusal({"--scenario", "/no/file"}, EXIT_BAD_FILE, program + "cannot read the scenario /no/file\n");
    expectRefusal({"--scenario", noScenario}, EXIT_BAD_FILE, program + noScenario + ":2:");
    expectRefusal({"--scenario", noVideo}, EXIT_BAD_FILE,
                  program + noVideo + ":1:9: cannot play '/no/film': No such file or directory\n");
    expectRefusal({"--scenario", laterFilm}, EXIT_BAD_FILE,
                  program + laterFilm + ":4:9: cannot play '" + noFilm + "': ");
    expectRefusal({"--scenario", noText}, EXIT_BAD_FILE, program + noText + ":2:");
    expectRefusal({"--catalogue", "/no/file"}, EXIT_BAD_FILE, program + "/no/file: ");
    expectRefusal({"--catalogue", noCatalogue}, EXIT_BAD_FILE, program + noCatalogue + ":2:");
    expectRefusal({"--log", "/no/folder/log"}, EXIT_BAD_FILE,
                  program + "cannot write the log /no/folder/log: ");
    expectRefusal({"--video", "off", "--log", "/dev/full"}, EXIT_BAD_FILE,
                  program + "cannot write the log /dev/full: No space left on device\n");
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedWithoutATelevision) {
    const std::string program = "aipq-television: ";
    expectRefusal({"--video", "off"}, EXIT_NOT_STARTED, program + "dbus-daemon is not installed: install",
                  {{"PATH", "/nowhere"}});
    expectRefusal({"--video", "off"}, EXIT_NOT_STARTED,
                  program + "cannot create a folder in /nowhere: No such file or directory\n",
                  {{"XDG_RUNTIME_DIR", "/nowhere"}});
    const std::string longFolder = '/' + std::string(90, 'x');
    expectRefusal({"--video", "off"}, EXIT_NOT_STARTED,
                  program + "the path of " + longFolder + " is too long", {{"XDG_RUNTIME_DIR", longFolder}});
}

// Rights

// ThreadSanitizer starts a thread, and a process with several threads cannot enter a user namespace.
#ifndef __SANITIZE_THREAD__

// Runs a command as root without the right to create namespaces, or as the user of the test.
Words withoutRights(const Words& command) {
    Words words;
    if (::geteuid() == 0) words = {"setpriv", "--bounding-set", "-sys_admin"};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedWithoutNamespaceRights) {
    const std::string file = runtimeFolder() / "started";
    const Words words = tests::runWords(NO_PICTURE, {"touch", file});
    const auto expectNoRights = [&](Words command, const std::string& line) {
        command.insert(command.end(), words.begin(), words.end());
        ChildProcess process(command);
        EXPECT_EQ(process.wait(), EXIT_NO_RIGHTS);
        EXPECT_THAT(process.errors(), MatchesRegex("aipq-television: " + line + "[^\n]*\n"));
        EXPECT_FALSE(fs::exists(file));
    };
    // The current user ID has no mapping.
    expectNoRights({"unshare", "--user"}, "cannot create a user namespace: Operation not permitted; ");
    const std::string noMore = "echo 0 >/proc/sys/user/max_ipc_namespaces && exec \"$@\"";
    expectNoRights({"unshare", "--user", "--map-root-user", "sh", "-c", noMore, "sh"},
                   "cannot create an IPC namespace: No space left on device; ");
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedForAUserWithoutAName) {
    Words words{"unshare", "--user", "--map-user=3999999999", "--map-group=0"};
    const Words run = tests::runWords(NO_PICTURE, {"echo", "started"});
    words.insert(words.end(), run.begin(), run.end());
    ChildProcess process(words);
    EXPECT_EQ(process.wait(), EXIT_NOT_STARTED);
    EXPECT_EQ(process.output(), "");
    EXPECT_EQ(process.errors(),
              "aipq-television: dbus-daemon does not serve a user without a name: add the user 3999999999 to "
              "/etc/passwd\n");
}

TEST_F(ACommandWithItsOwnTelevision, NeedsNoRightsIfUserNamespacesWork) {
    const std::string frame = runtimeFolder() / "frame.png";
    ChildProcess process(
        withoutRights(tests::runWords({}, shell("id -u; id -g; cat /proc/self/uid_map; aipqctl capture -o " +
                                                frame + " >/dev/null && echo seen"))));
    EXPECT_EQ(process.wait(), 0);
    const std::string user = std::to_string(::geteuid());
    EXPECT_THAT(process.output(), MatchesRegex(user + '\n' + std::to_string(::getegid()) + "\n +" + user +
                                               " +" + user + " +1\nseen\n"))
        << process.errors();
    EXPECT_EQ(process.errors(), "");
    struct stat status {};
    EXPECT_EQ(::stat(frame.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, ::geteuid());
}

#endif

// Signals

TEST_F(ACommandWithItsOwnTelevision, GetsTheSignalsOfItsRun) {
    OwnTelevision own;
    for (const auto& [signal, name] :
         {std::pair(SIGINT, "INT"), std::pair(SIGHUP, "HUP"), std::pair(SIGQUIT, "QUIT"),
          std::pair(SIGUSR1, "USR1"), std::pair(SIGUSR2, "USR2")}) {
        own.process().signal(signal);
        EXPECT_TRUE(own.process().waitForOutput(std::string("got ") + name + '\n'));
    }
    own.process().signal(SIGTERM);
    EXPECT_EQ(own.process().wait(), 7);
    EXPECT_THAT(own.process().output(),
                testing::EndsWith("got INT\ngot HUP\ngot QUIT\ngot USR1\ngot USR2\ngot TERM\n"));
    EXPECT_EQ(own.process().errors(), "");
    EXPECT_TRUE(own.isGone());
}

TEST_F(ACommandWithItsOwnTelevision, StopsAndContinuesWithItsRun) {
    OwnTelevision own;
    own.process().signal(SIGTSTP);
    EXPECT_TRUE(eventually([&] { return tests::stateOf(own.command()) == 'T'; }));
    EXPECT_TRUE(eventually([&] { return tests::stateOf(own.caller()) == 'T'; }));
    own.process().signal(SIGCONT);
    EXPECT_TRUE(eventually([&] { return tests::stateOf(own.command()) == 'S'; }));
    own.process().signal(SIGTERM);
    EXPECT_EQ(own.process().wait(), 7);
    EXPECT_TRUE(own.isGone());
}

TEST_F(ACommandWithItsOwnTelevision, DoesNotHangUpAStoppedProcess) {
    // The process group is orphaned: the parent of its leader is in another session.
    const std::string script =
        "sleep 1000 & kill -STOP $!; until grep -q '^State:.*T' /proc/$!/status; do :; done; "
        "aipq-television run --video off -- true; echo ended with $?; kill -KILL $!";
    Words command = shell(script);
    command.insert(command.begin(), "setsid");
    ChildProcess group(command);
    group.wait();
    EXPECT_EQ(group.output(), "ended with 0\n");
}

TEST_F(ACommandWithItsOwnTelevision, EndsWhenItsTerminalIsClosed) {
    // `script` has the terminal, and the run is the session leader of the terminal.
    const std::string command =
        "exec " TELEVISION_PROGRAM " run --video off -- sh -c 'echo command $$ up; exec sleep 1000'";
    ChildProcess terminal({"script", "--quiet", "--command", command, "/dev/null"});
    ASSERT_TRUE(terminal.waitForOutput(" up")) << terminal.output();
    std::string word;
    pid_t process = 0;
    std::istringstream(terminal.output()) >> word >> process;
    EXPECT_TRUE(tests::isAlive(process));
    terminal.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return !tests::isAlive(process) && runFolders().empty(); }));
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedAfterAnEndSignal) {
    // A FIFO without a writer: opening this film blocks.
    const std::string pipe = runtimeFolder() / "film";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ChildProcess process(tests::runWords({"--video", pipe}, {"echo", "started"}));
    EXPECT_TRUE(eventually([] { return !runFolders().empty(); }));
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait(), 128 + SIGTERM);
    EXPECT_EQ(process.output() + process.errors(), "");
    fs::remove(pipe);
}

// The end of the processes

TEST_F(ACommandWithItsOwnTelevision, LeavesNoProcessesWhenItEnds) {
    OwnTelevision own;
    ::kill(own.command(), SIGKILL);
    EXPECT_EQ(own.process().wait(), 128 + SIGKILL);
    EXPECT_EQ(own.process().errors(), "");
    EXPECT_TRUE(own.isGone());
}

TEST_F(ACommandWithItsOwnTelevision, LeavesNoProcessesWhenTheRunIsKilled) {
    OwnTelevision own(SCENES);
    own.process().signal(SIGKILL);
    EXPECT_EQ(own.process().wait(), 128 + SIGKILL);
    EXPECT_TRUE(own.isGone());
}

TEST_F(ACommandWithItsOwnTelevision, LeavesNoProcessesIfItsKeeperDies) {
    OwnTelevision own(SCENES);
    ::kill(own.keeper(), SIGKILL);
    EXPECT_EQ(own.process().wait(), EXIT_TELEVISION_DIED);
    EXPECT_EQ(own.process().errors(), "aipq-television: the television's keeper was killed\n");
    EXPECT_TRUE(own.isGone());
}

TEST_F(ACommandWithItsOwnTelevision, KeepsTheCallersOtherChildrenAlive) {
    Words words{"bash", "-c", "sleep 1000 & echo $!; exec \"$@\"", "bash"};
    const Words run = tests::runWords(NO_PICTURE, {"sh", "-c", "echo up; exec sleep 1000"});
    words.insert(words.end(), run.begin(), run.end());
    ChildProcess process(words);
    ASSERT_TRUE(process.waitForOutput("up\n")) << process.errors();
    ::kill(tests::childOf(process.id(), "aipq-keeper"), SIGKILL);
    EXPECT_EQ(process.wait(), EXIT_TELEVISION_DIED);
    const pid_t earlier = std::stoi(process.output());
    EXPECT_TRUE(tests::isAlive(earlier));
    ::kill(earlier, SIGKILL);
}

TEST_F(ACommandWithItsOwnTelevision, EndsWhenItsTelevisionDies) {
    for (const bool withPicture : {false, true}) {
        OwnTelevision own(withPicture ? SCENES : NO_PICTURE);
        ::kill(own.television(), SIGKILL);
        EXPECT_EQ(own.process().wait(), EXIT_TELEVISION_DIED);
        EXPECT_EQ(own.process().errors(),
                  "aipq-television: the television died under the command: it was killed by signal 9\n");
        EXPECT_THAT(own.process().output(), HasSubstr("got TERM\n"));
        EXPECT_TRUE(own.isGone());
    }
}

TEST_F(ACommandWithItsOwnTelevision, EndsWhenItsTelevisionLosesItsBus) {
    OwnTelevision own;
    ::kill(own.bus(), SIGKILL);
    EXPECT_EQ(own.process().wait(), EXIT_TELEVISION_DIED);
    EXPECT_THAT(
        own.process().errors(),
        MatchesRegex("aipq-television: the television died under the command: its bus [^\n]* is gone\n"));
    EXPECT_TRUE(own.isGone());
}

TEST_F(ACommandWithItsOwnTelevision, EndsEvenIfItsTelevisionHangs) {
    OwnTelevision own;
    ::kill(own.television(), SIGSTOP);
    own.process().signal(SIGTERM);
    EXPECT_EQ(own.process().wait(), 7);
    EXPECT_TRUE(own.isGone());
}

TEST_F(ACommandWithItsOwnTelevision, CanRunAgainAfterAllProcessesWereKilled) {
    OwnTelevision own;
    ::kill(own.keeper(), SIGSTOP);
    own.process().signal(SIGKILL);
    ::kill(own.keeper(), SIGKILL);
    EXPECT_EQ(own.process().wait(), 128 + SIGKILL);
    EXPECT_TRUE(eventually([&] { return !tests::isAlive(own.television()); }));
    EXPECT_THAT(runFolders(), Not(IsEmpty()));
    EXPECT_EQ(run(NO_PICTURE, {"true"}).exitCode, 0);
    EXPECT_THAT(runFolders(), IsEmpty());
}

}  // namespace
