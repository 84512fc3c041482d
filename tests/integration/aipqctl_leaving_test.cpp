// aipqctl with a television in another process that ends at any moment.
#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "aipqctl_run.h"
#include "eventually.h"
#include "keys.h"
#include "recorders.h"
#include "television_process.h"

using namespace std::chrono_literals;
using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using namespace tests;
using namespace tests::keys;

namespace {

constexpr char NR[] = "dovra.sl2.i32.video.enum.dnc";

class ALeavingTelevision : public testing::Test {
  protected:
    ALeavingTelevision() : television("leaving") { EXPECT_TRUE(television.start()); }
    ~ALeavingTelevision() override {
        if (television.isOn()) {
            EXPECT_EQ(television.stop(), 0);
        }
    }

    Arguments to(Arguments arguments) const {
        arguments.insert(arguments.begin(), {"--tv", television.name()});
        return arguments;
    }

    // Returns the first line of a power command, which shows that the command waits for events.
    std::string firstEvent(Running& power) {
        // The command observes this key after it has registered.
        EXPECT_TRUE(eventually([&] { return television.subscribers(SOURCE) > 0; }));
        television.notify("aipqctl", "running");
        return power.readLine();
    }

    TelevisionProcess television;
};

class ARead : public ALeavingTelevision, public testing::WithParamInterface<Arguments> {};

// The television is killed at different times: either the whole result is printed, or nothing.
TEST_P(ARead, PrintsEverythingOrNothingIfTheTelevisionIsKilled) {
    const Result whole = run(to(GetParam()));
    ASSERT_EQ(whole.exitCode, 0) << whole.err;
    // Every request takes this long, so the kill times below fall into each request.
    constexpr auto delay = 60ms;
    int failures = 0;
    for (int moment = 0; moment < 12; ++moment) {
        for (const char* const key : {BRIGHTNESS, NR, SOURCE, HDR_TYPE})
            television.setFault(key, "key.answer_delay", delay.count());
        Running read(program(to(GetParam())));
        std::this_thread::sleep_for(moment * delay / 2);
        television.kill();
        const Result result = read.finish();
        if (result.exitCode == 0) {
            EXPECT_EQ(result.out, whole.out);
        } else {
            ++failures;
            EXPECT_EQ(result.exitCode, 7) << result.err;
            EXPECT_EQ(result.out, "");
            EXPECT_THAT(result.err, AnyOf(StartsWith("aipqctl: no television 'leaving' answers"),
                                          StartsWith("aipqctl: the television left during the request")));
        }
        ASSERT_TRUE(television.start());
    }
    EXPECT_GT(failures, 0);
}

INSTANTIATE_TEST_SUITE_P(All, ARead,
                         testing::Values(Arguments{"key", "get", BRIGHTNESS}, Arguments{"get", "brightness"},
                                         Arguments{"get", "--json"}, Arguments{"info", "--json"},
                                         Arguments{"source", "get"}, Arguments{"key", "get", NR}));

TEST_F(ALeavingTelevision, IsReportedOnceByAWatchAndOnceOnItsReturn) {
    Running watch(program(to({"watch"})));
    for (int i = 0; i < 10; ++i) EXPECT_NE(watch.readLine(), "");
    television.kill();
    EXPECT_THAT(watch.readLine(), EndsWith("  the television left"));
    ASSERT_TRUE(television.start());
    EXPECT_THAT(watch.readLine(), EndsWith("  the television returned"));
    television.set(BRIGHTNESS, std::int32_t{7});
    EXPECT_THAT(watch.readLine(), EndsWith("  brightness        7"));
    watch.interrupt();
    EXPECT_EQ(watch.finish().exitCode, 0);
}

TEST_F(ALeavingTelevision, IsReportedInJson) {
    Running watch(program(to({"watch", "brightness", "--json"})));
    std::string lines = watch.readLine() + '\n';
    television.kill();
    lines += watch.readLine() + '\n';
    EXPECT_THAT(lines, HasSubstr("\"television\":\"left\""));
    EXPECT_EQ(validate("watch", lines), "");
}

TEST_F(ALeavingTelevision, IsReportedByThePowerCommand) {
    Running power(program(to({"power"})));
    EXPECT_THAT(firstEvent(power), EndsWith("  running"));
    television.kill();
    EXPECT_THAT(power.readLine(), EndsWith("  the television left"));
    ASSERT_TRUE(television.start());
    EXPECT_THAT(power.readLine(), EndsWith("  the television returned"));
    ASSERT_TRUE(eventually([&] { return !television.applications().empty(); }));
    television.notify("aipqctl", "suspend");
    EXPECT_THAT(power.readLine(), EndsWith("  suspend"));
    power.interrupt();
    EXPECT_EQ(power.finish().exitCode, 0);
}

TEST_F(ALeavingTelevision, IsReportedByThePowerCommandInJson) {
    Running power(program(to({"power", "--json"})));
    std::string lines = firstEvent(power) + '\n';
    television.kill();
    lines += power.readLine() + '\n';
    ASSERT_TRUE(television.start());
    lines += power.readLine() + '\n';
    EXPECT_THAT(lines,
                Reads(R"(.*"event":"running".*\n.*"television":"left"\}\n.*"television":"returned"\}\n)"));
    EXPECT_EQ(validate("power", lines), "");
}

TEST_F(ALeavingTelevision, IsNotReportedAsARefusal) {
    television.setFault(SWITCH_ACTION, "key.never_answer", 1);
    Running request(program(to({"source", "request", "av"})));
    ASSERT_TRUE(eventually([&] { return television.subscribers(SWITCH_ACTION) > 0; }));
    television.kill();
    const Result result = request.finish();
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_EQ(result.err,
              "aipqctl: no television 'leaving' answers: start aipq-television, or use --embedded\n");
}

// The library waits up to 1 s for each of the other keys.
TEST_F(ALeavingTelevision, EndsTheInfoCommandBeforeItReadsTheOtherKeys) {
    television.setFault(PLAY_ATTRIBUTES, "key.answer_delay", 60000);
    ChildProcess info({AIPQCTL_PROGRAM, "--tv", television.name(), "-v", "info"});
    ASSERT_TRUE(info.waitForErrors("get source Type: TV."));
    television.kill();
    EXPECT_EQ(info.wait(), 7);
    EXPECT_THAT(info.errors(), Not(HasSubstr("switchState: ")));
}

TEST_F(ALeavingTelevision, EndsAnUnfinishedSetCommand) {
    television.setFault("", "notifications.delay", 300);
    Running set(program(to({"set", "brightness", "100", "--wait"})));
    EXPECT_EQ(set.readLine(), "brightness 52");
    television.kill();
    EXPECT_EQ(set.finish().exitCode, 7);
}

TEST_F(ALeavingTelevision, EndsTheDoctorCommand) {
    Running doctor(program(to({"doctor", "--no-video"})));
    for (int i = 0; i < 5; ++i) EXPECT_THAT(doctor.readLine(), StartsWith("ok    "));
    television.kill();
    const Result result = doctor.finish();
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_THAT(result.err, EndsWith("aipqctl: the television left during the checks\n"));
    EXPECT_THAT(result.out, HasSubstr("not run: interrupted\n"));
}

TEST_F(ALeavingTelevision, IsNotAFailedCheckOfTheDoctorCommand) {
    television.setFault(CHANNELS, "key.answer_delay", 10000);
    Running doctor(program(to({"doctor", "--only", "framework", "--only", "channels"})));
    EXPECT_THAT(doctor.readLine(), StartsWith("ok    framework"));
    television.kill();
    const Result result = doctor.finish();
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_EQ(result.err, "aipqctl: the television left during the checks\n");
}

TEST_F(ALeavingTelevision, KeepsTheValueThatAnInterruptedSetReports) {
    television.setFault("", "notifications.delay", 100);
    Running set(program(to({"set", "brightness", "100", "--wait"})));
    EXPECT_EQ(set.readLine(), "brightness 52");
    set.interrupt();
    const Result result = set.finish();
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_EQ(result.err, "aipqctl: brightness is at " +
                              std::to_string(television.get<std::int32_t>(BRIGHTNESS)) +
                              ": stopped on its way to 100\n");
}

// Settings that are saved from one run of the television and restored on the next

TEST_F(ALeavingTelevision, GetsItsSavedSettingsBackOnItsReturn) {
    const std::string file = fileWith("settings", "");
    ASSERT_EQ(run(to({"set", "brightness=60", "nr=high", "color-tuner-luma=-7"})).exitCode, 0);
    ASSERT_EQ(run(to({"key", "set", PQ_SETTING, "1",  "2",  "3",  "4",  "5",  "6",  "7",
                      "8",   "9",   "10",       "11", "12", "13", "14", "15", "16", "17",
                      "18",  "19",  "20",       "21", "22", "23", "24", "25", "26", "27"}))
                  .exitCode,
              0);
    const Result before = run(to({"save", "-"}));
    EXPECT_THAT(before.out, HasSubstr("\nbrightness=60\n"));
    ASSERT_EQ(run(to({"save", file})).exitCode, 0);
    television.kill();
    ASSERT_TRUE(television.start());
    const Result restored = run(to({"restore", file}));
    EXPECT_EQ(restored.exitCode, 0) << restored.err;
    EXPECT_EQ(run(to({"save", "-"})).out, before.out);
}

TEST_F(ALeavingTelevision, IsListedWhileItRuns) {
    EXPECT_EQ(run({"tv", "list"}).out, "leaving\n");
    const Result other = run({"--tv", "nosuch", "get"});
    EXPECT_EQ(other.exitCode, 7);
    EXPECT_EQ(other.err, "aipqctl: no television 'nosuch' answers; 'leaving' runs: choose with --tv\n");
    television.kill();
    EXPECT_EQ(run({"tv"}).out, "");
    EXPECT_EQ(run({"--tv", "nosuch", "get"}).err,
              "aipqctl: no television 'nosuch' answers: start aipq-television, or use --embedded\n");
}

}  // namespace
