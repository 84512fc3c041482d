// Many commands with private televisions at the same time.
#include <gmock/gmock.h>
#include <signal.h>

#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "own_television.h"
#include "television_process.h"

using testing::HasSubstr;
using testing::IsEmpty;
using tests::ChildProcess;
using tests::OwnTelevision;

namespace {

constexpr int MANY = 16;
constexpr auto LIMIT = std::chrono::minutes(4);

TEST(SixteenCommandsWithTheirOwnTelevisions, ReadTheirOwnFramesAndValues) {
    // On a busy machine, a frame may arrive too late for aipqctl.
    const std::string script = R"(
PATH=${0%/*}:$PATH
until aipqctl set brightness $1 --wait >/dev/null; do :; done
until aipqctl capture -o $2; do :; done
echo the brightness is $(aipqctl get brightness)
read -r line
)";
    std::vector<std::unique_ptr<ChildProcess>> runs;
    for (int i = 0; i < MANY; ++i) {
        const std::string frame = tests::runtimeFolder() / ("frame-" + std::to_string(i) + ".png");
        runs.push_back(std::make_unique<ChildProcess>(
            tests::runWords({}, {"sh", "-c", script, AIPQCTL_PROGRAM, std::to_string(10 + 2 * i), frame})));
    }
    // All televisions run at the same time.
    for (int i = 0; i < MANY; ++i) {
        ChildProcess& run = *runs[static_cast<std::size_t>(i)];
        EXPECT_TRUE(run.waitForOutput("the brightness is " + std::to_string(10 + 2 * i) + '\n', LIMIT))
            << run.output() << run.errors();
        EXPECT_THAT(run.output(), HasSubstr(": 224 x 224"));
    }
    for (const auto& run : runs) run->send("end");
    for (const auto& run : runs) EXPECT_EQ(run->wait(LIMIT), 0);
    EXPECT_THAT(tests::runFolders(), IsEmpty());
}

TEST(SixteenCommandsWithTheirOwnTelevisions, LeaveNoProcessesWhenKilled) {
    std::vector<std::unique_ptr<OwnTelevision>> runs;
    for (int i = 0; i < MANY; ++i)
        runs.push_back(std::make_unique<OwnTelevision>(tests::Words{"--video", "scenes"}));
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (const auto& run : runs) {
        const std::vector<pid_t> processes{run->caller(), run->keeper(), run->television(), run->bus(),
                                           run->command()};
        ASSERT_THAT(processes, testing::Each(testing::Gt(0)));
        ::kill(processes[random() % processes.size()], SIGKILL);
    }
    for (const auto& run : runs) {
        EXPECT_TRUE(run->process().wait(LIMIT));
        EXPECT_TRUE(run->isGone());
    }
}

}  // namespace
