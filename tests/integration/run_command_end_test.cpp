// aipq-television run: signals to a run, and the end of its processes.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>

#include "eventually.h"
#include "exit_code.h"
#include "own_television.h"
#include "run_command_fixture.h"
#include "television_process.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using tests::ACommandWithItsOwnTelevision;
using tests::ChildProcess;
using tests::eventually;
using tests::NO_PICTURE;
using tests::OwnTelevision;
using tests::run;
using tests::runFolders;
using tests::runtimeFolder;
using tests::SCENES;
using tests::shell;
using tests::Words;

namespace {

namespace fs = std::filesystem;

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
        "aipq-television run --video off -- true; echo ended with $?; "
        "aipq-television run --video off -- sh -c 'kill -KILL $PPID; sleep 1000'; echo without keeper $?; "
        "kill -KILL $!";
    Words command = shell(script);
    command.insert(command.begin(), "setsid");
    ChildProcess group(command);
    group.wait();
    EXPECT_EQ(group.output(), "ended with 0\nwithout keeper " + std::to_string(EXIT_TELEVISION_DIED) + '\n');
}

TEST_F(ACommandWithItsOwnTelevision, EndsWhenItsProcessIsKilledBeforeItsStart) {
    const std::string pipe = runtimeFolder() / "film";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ChildProcess process(tests::runWords({"--video", pipe}, {"echo", "started"}));
    pid_t waiting = 0;
    ASSERT_TRUE(eventually([&] {
        const pid_t keeper = tests::childOf(process.id(), "aipq-keeper");
        return keeper != 0 && (waiting = tests::childOf(keeper, "aipq-command")) != 0;
    }));
    ::kill(waiting, SIGKILL);
    EXPECT_EQ(process.wait(), 128 + SIGKILL);
    EXPECT_EQ(process.output() + process.errors(), "");
    fs::remove(pipe);
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
