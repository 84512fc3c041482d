// aipqctl with televisions that fail or change, and its output for programs.
#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "aipqctl_run.h"
#include "keys.h"

using simulated::KeyFaults;
using simulated::Lifecycle;
using simulated::Television;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using namespace tests;
using namespace tests::keys;

namespace {

void nothing(Television&) {}

// Waits in the program's process until it subscribes to the key, then calls `act`.
Arrange onceFollowed(const std::string& key, const std::function<void(Television&)>& act) {
    return [key, act](Television& television) {
        std::thread([key, act, &television] {
            while (television.model().subscribers(key) == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            act(television);
        }).detach();
    };
}

Arrange withFaults(const std::string& key, const KeyFaults& faults) {
    return [key, faults](Television& television) { television.model().setFaults(key, faults); };
}

// Televisions that fail

struct Trouble {
    const char* name;
    Arrange arrange;
    Arguments arguments;
    int exitCode;
    std::string line;
};

void PrintTo(const Trouble& row, std::ostream* out) { *out << row.name; }

class ATelevisionThat : public testing::TestWithParam<Trouble> {};

TEST_P(ATelevisionThat, IsDistinguishedFromAWrongCommandLine) {
    const Result result = runOn(GetParam().arrange, GetParam().arguments);
    EXPECT_EQ(result.exitCode, GetParam().exitCode);
    EXPECT_EQ(result.err, "aipqctl: " + GetParam().line + '\n');
}

const std::string NO_TELEVISION = "no television answers: start aipq-television, or use --embedded";

void noFramework(Television& television) { television.framework().failLookups(1); }
void noRoot(Television& television) { television.framework().withholdRoot(true); }
void noKeys(Television& television) {
    for (const auto& key : television.model().keys()) television.model().withdraw(key.name);
}
void noThreads(Television& television) { television.threads().fail(100); }
void noApplicationManager(Television& television) { television.applications().setReachable(false); }
void noBrightness(Television& television) { television.model().withdraw(BRIGHTNESS); }
void noSource(Television& television) { television.model().withdraw(SOURCE); }
void noMemc(Television& television) { television.model().withdraw(MEMC); }

KeyFaults keepingItsValue() {
    KeyFaults faults;
    faults.keepValue = true;
    return faults;
}
KeyFaults refusing() {
    KeyFaults faults;
    faults.refuseWrites = true;
    faults.invokeStatus = 7;
    return faults;
}
KeyFaults unreadable() {
    KeyFaults faults;
    faults.readStatus = 7;
    return faults;
}
KeyFaults silent() {
    KeyFaults faults;
    faults.neverAnswer = true;
    return faults;
}

INSTANTIATE_TEST_SUITE_P(
    All, ATelevisionThat,
    testing::Values(
        Trouble{"isNotThereForInfo", noFramework, {"info"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForGet", noRoot, {"get"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForSet", noFramework, {"set", "nr", "1"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForWatch", noRoot, {"watch"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForPower", noFramework, {"power"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForTheTable", noFramework, {"table", CHANNELS}, 7, NO_TELEVISION},
        Trouble{"isNotThereForTheChannel", noFramework, {"channel", "next"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForTheSource", noRoot, {"source", "pause", "video"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForTheTuner", noFramework, {"color-tuner", "get"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForPq", noFramework, {"pq", "get"}, 7, NO_TELEVISION},
        Trouble{"isNotThereForCapture", noFramework, {"capture"}, 7, NO_TELEVISION},
        Trouble{"hasNoKeys",
                noKeys,
                {"key", "get", MEMC},
                3,
                std::string("the television has no key '") + MEMC + "'"},
        Trouble{"hasNoBrightness",
                noBrightness,
                {"get"},
                3,
                std::string("the television has no key '") + BRIGHTNESS + "'"},
        Trouble{
            "hasNoSource", noSource, {"info"}, 3, std::string("the television has no key '") + SOURCE + "'"},
        Trouble{"hasNotThisKey",
                noMemc,
                {"key", "get", MEMC},
                3,
                std::string("the television has no key '") + MEMC + "'"},
        Trouble{
            "hasNotThisSetting", noMemc, {"get"}, 3, std::string("the television has no key '") + MEMC + "'"},
        Trouble{"cannotBeRead",
                withFaults(SOURCE, unreadable()),
                {"key", "get", SOURCE},
                1,
                std::string(SOURCE) + " cannot be read: the television answers with status 7"},
        Trouble{"keepsASetting",
                withFaults(BRIGHTNESS, keepingItsValue()),
                {"set", "brightness", "60", "--timeout", "0.5"},
                1,
                "brightness is at 50 and does not move on to 60: the television refuses it, or has not "
                "announced a step"},
        Trouble{"keepsAKey",
                withFaults(BRIGHTNESS, refusing()),
                {"key", "set", BRIGHTNESS, "60"},
                1,
                std::string(BRIGHTNESS) + " stays at 50: the television does not accept 60"},
        Trouble{"keepsTheTuner",
                withFaults(COLOR_TUNER_LUMA, refusing()),
                {"color-tuner", "set", "--luma", "3"},
                1,
                "luma stays at 0: the television does not accept 3"},
        Trouble{"hasNoThreads",
                noThreads,
                {"set", "nr", "1"},
                1,
                "nr cannot be changed: -v shows the platform's log"},
        Trouble{"refusesAnAction",
                withFaults(SWITCH_ACTION, refusing()),
                {"channel", "next"},
                1,
                "the television refuses channel next: -v shows the platform's log"},
        Trouble{"doesNotAnswer",
                withFaults(SWITCH_ACTION, silent()),
                {"source", "pause", "av"},
                1,
                "the television has not answered for 10 s; the effect of the request is unknown"},
        Trouble{"tellsNothingInTime",
                nothing,
                {"power", "-n", "1", "--seconds", "0.1"},
                1,
                "the time is over after 0 of 1"},
        Trouble{"hasNoApplicationManager",
                noApplicationManager,
                {"power"},
                7,
                "no application manager answers: is this process allowed to reach it?"}),
    nameOfRow);

TEST(ASetting, PrintsItsSteps) {
    // A slow notification finds the library's worker waiting even on a busy machine.
    const auto slow = [](Television& television) {
        television.model().setNotificationDelay(std::chrono::milliseconds(250));
    };
    const Result result = runOn(slow, {"set", "saturation", "45", "--wait"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, Reads(R"(saturation 48\nsaturation 46\nsaturation 45\n)"
                                  R"(saturation 50 -> 45, confirmed after \d\.\d s\n)"));
}

TEST(ASetting, ArrivesWithoutANotification) {
    KeyFaults faults;
    faults.dropNotifications = 1;
    const Result result = runOn(withFaults(MEMC, faults), {"set", "memc", "4", "--wait"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, StartsWith("memc 2 -> 4, confirmed"));
}

TEST(ASetting, TakesItsStepsAlthoughNotificationsAreLost) {
    KeyFaults faults;
    faults.dropNotifications = 2;
    faults.notificationDelay = std::chrono::milliseconds(250);
    const Result result =
        runOn(withFaults(BRIGHTNESS, faults), {"set", "brightness", "58", "--wait", "--timeout", "20"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, Reads(R"(brightness 56\nbrightness 58\nbrightness 50 -> 58, confirmed.*\n)"));
}

TEST(ASetting, WithoutStepsIsSetOnce) {
    const Result result =
        runOn(withFaults(MEMC, keepingItsValue()), {"-v", "set", "memc", "4", "--timeout", "5"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("setVideoMEMC():"));
    EXPECT_EQ(result.err.find("setVideoMEMC():"), result.err.rfind("setVideoMEMC():")) << result.err;
}

TEST(ASetting, ExitsWith130AfterCtrlC) {
    KeyFaults slow;
    slow.notificationDelay = std::chrono::milliseconds(300);
    Running set(programOn(withFaults(BRIGHTNESS, slow), {"set", "brightness", "100", "--wait"}));
    EXPECT_EQ(set.readLine(), "brightness 52");
    set.interrupt();
    const Result result = set.finish();
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_THAT(result.err, Reads("aipqctl: brightness is at \\d+: stopped on its way to 100\n"));
}

// Events

TEST(AWatch, PrintsTheCurrentValuesAndThenEachChange) {
    const auto change = [](Television& television) {
        television.model().set(BRIGHTNESS, 10);
        television.model().set(BRIGHTNESS, 20);
    };
    const Result result =
        runOn(onceFollowed(BRIGHTNESS, change), {"watch", "brightness", "-n", "2", "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(validate("watch", result.out), "");
    EXPECT_THAT(
        result.out,
        Reads(R"(.*"initial":true\}\n.*"value":10,"initial":false\}\n.*"value":20,"initial":false\}\n)"));
}

TEST(AWatch, ExitsWith0AfterCtrlC) {
    Running watch(program({"--embedded", "watch", "brightness"}));
    EXPECT_THAT(watch.readLine(), EndsWith("  brightness  50"));
    watch.interrupt();
    const Result result = watch.finish();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
}

TEST(AWatch, ExitsWith0WhenItsReaderClosesThePipe) {
    const auto change = [](Television& television) {
        for (int i = 0;; i = (i + 1) % 100) {
            television.model().set(BRIGHTNESS, i);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    };
    Running watch(programOn(onceFollowed(BRIGHTNESS, change), {"watch", "brightness"}));
    EXPECT_THAT(watch.readLine(), HasSubstr("brightness"));
    watch.closeOutput();
    const Result result = watch.finish();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
}

// The commands print nothing after their first lines, and without the end of the pipe would miss the count.
TEST(AnEventStream, EndsWithoutAnEventWhenItsReaderClosesThePipe) {
    for (Arguments arguments :
         {Arguments{"watch", "brightness"}, Arguments{"key", "watch", MEMC}, Arguments{"power"}}) {
        const bool printsValue = arguments.front() != "power";
        arguments.insert(arguments.end(), {"-n", "1", "--seconds", "30"});
        Running stream(programOn(nothing, arguments));
        if (printsValue) {
            EXPECT_NE(stream.readLine(), "");
        }
        stream.closeOutput();
        const Result result = stream.finish();
        EXPECT_EQ(result.exitCode, 0) << testing::PrintToString(arguments);
        EXPECT_EQ(result.err, "");
    }
}

TEST(Output, ReportsAWriteError) {
    const Result result = runShell(AIPQCTL_PROGRAM " list >/dev/full");
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_EQ(result.out, "aipqctl: the output cannot be written: No space left on device\n");
}

TEST(Output, ReportsAWriteErrorOfTheHelp) {
    for (const char* const option : {"--help", "--version", "set --help"}) {
        const Result result = runShell(std::string(AIPQCTL_PROGRAM " ") + option + " >/dev/full");
        EXPECT_EQ(result.exitCode, 6) << option;
        EXPECT_EQ(result.out, "aipqctl: the output cannot be written: No space left on device\n");
    }
}

TEST(Output, ReportsAClosedStream) {
    for (const char* const command : {"list", "doctor --embedded --only framework"}) {
        const Result result =
            runShell(std::string("AIPQ_TV_VIDEO=off " AIPQCTL_PROGRAM " ") + command + " >&-");
        EXPECT_EQ(result.exitCode, 6) << command;
        EXPECT_EQ(result.out, "aipqctl: the output cannot be written: standard output is closed\n")
            << command;
    }
    const Result result = runShell(AIPQCTL_PROGRAM " --embedded save - >&-");
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_EQ(result.out, "aipqctl: cannot write standard output: it is closed\n");
}

TEST(Output, EscapesTheControlCharactersOfAValue) {
    const auto arrange = [](Television& television) {
        television.model().set(SOURCE, std::string("\x1b]0;x\a\xc2\x9b\xe2\x80\xae\xff"));
    };
    const std::string safe = R"(\x1b]0;x\x07\u{9b}\u{202e}\xff)";
    EXPECT_EQ(runOn(arrange, {"key", "get", SOURCE}).out, safe + '\n');
    EXPECT_EQ(runOn(arrange, {"get", SOURCE}).out, safe + '\n');
    EXPECT_THAT(runOn(arrange, {"source"}).out, EndsWith("path    " + safe + '\n'));
    EXPECT_THAT(runOn(arrange, {"watch", SOURCE, "--seconds", "0.1"}).out, EndsWith("  " + safe + '\n'));
    EXPECT_THAT(runOn(arrange, {"doctor", "--only", SOURCE}).out, Not(HasSubstr("\x1b")));
    const Result json = runOn(arrange, {"key", "get", SOURCE, "--json"});
    EXPECT_THAT(json.out, HasSubstr(R"(\u001b]0;x\u0007\u009b\u202e)"));
    EXPECT_EQ(validate("key", json.out), "");
}

TEST(AKeyThatCannotBeRead, HasNoValueInJson) {
    const Result settings = runOn(noBrightness, {"get", "--json"});
    EXPECT_EQ(settings.exitCode, 3);
    EXPECT_THAT(settings.out, StartsWith(R"({"brightness":null,"contrast":50,)"));
    EXPECT_EQ(validate("get", settings.out), "");
    const Result info = runOn(noSource, {"info", "--json"});
    EXPECT_EQ(info.exitCode, 3);
    EXPECT_THAT(info.out, StartsWith(R"({"source":null,"player":"playing",)"));
    EXPECT_EQ(validate("info", info.out), "");
    EXPECT_THAT(runOn(noBrightness, {"channel"}).out, HasSubstr("Garden"));
}

// A television that lacks a key

const std::string NO_MEMC = std::string("aipqctl: the television has no key '") + MEMC + "'\n";

TEST(AMissingKey, IsNotSavedWithTheOtherSettings) {
    const Result result = runOn(noMemc, {"save", "-"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.err, NO_MEMC);
    EXPECT_THAT(result.out, AllOf(HasSubstr("\nsharpness=50\nnr=0\n"), HasSubstr("pq.setting=0,0")));
}

TEST(AMissingKey, IsNotWatchedWithTheOtherSettings) {
    const Result result = runOn(noMemc, {"watch", "--json", "--seconds", "0.1"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.err, NO_MEMC);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 9);
    EXPECT_EQ(validate("watch", result.out), "");
    EXPECT_THAT(result.out, Not(HasSubstr("memc")));
}

TEST(AMissingKey, EndsAWatchOfThisKeyAlone) {
    for (const Arguments& watch : {Arguments{"watch", "memc"}, Arguments{"key", "watch", MEMC}}) {
        const Result result = runOn(noMemc, watch);
        EXPECT_EQ(result.exitCode, 3);
        EXPECT_EQ(result.err, NO_MEMC);
        EXPECT_EQ(result.out, "");
    }
}

TEST(ATelevisionWithoutSettings, ReplacesNoSavedFile) {
    const Result result = runOn(noKeys, {"save", "-"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.out, "");
}

TEST(ATelevisionOfABadName, IsAWrongCommandLine) {
    for (const char* const name : {"a/b", "", "5", "embedded@", "x@y"}) {
        const Result result = run({"--tv", name, "get"});
        if (std::string(name).empty()) continue;
        EXPECT_EQ(result.exitCode, 2) << name;
        EXPECT_THAT(result.err, AllOf(StartsWith("aipqctl: '"), EndsWith("\n"))) << name;
    }
}

TEST(AnAddressWithoutATelevision, IsNamedInTheError) {
    EXPECT_THAT(run({"--tv", "unix:path=/no/bus", "get"}).err,
                StartsWith("aipqctl: no television 'unix:path=/no/bus' answers"));
}

TEST(ThePowerCommand, PrintsEventsUntilCtrlC) {
    // No event shows when the program has begun to listen: repeat `running` until it has printed one.
    std::array<int, 2> printed{};
    ASSERT_EQ(pipe(printed.data()), 0);
    const auto sendEvents = [printed](Television& television) {
        std::thread([printed, &television] {
            auto& applications = television.applications();
            pollfd wait{printed[0], POLLIN, 0};
            while (poll(&wait, 1, 20) == 0) applications.notify(Lifecycle::RUNNING, "app://pq");
            for (int event = 0; event <= static_cast<int>(Lifecycle::STR_RESUMING); ++event)
                applications.notify(static_cast<Lifecycle>(event), "app://pq");
        }).detach();
    };
    Running power(programOn(sendEvents, {"power", "--json"}));
    std::string lines = power.readLine() + '\n';
    EXPECT_EQ(write(printed[1], "!", 1), 1);
    std::vector<std::string> events{"running"};
    while (events.back() != "str-resuming") {
        const std::string line = power.readLine();
        ASSERT_NE(line, "");
        lines += line + '\n';
        const auto event = nlohmann::json::parse(line).at("event").get<std::string>();
        if (event != events.back()) events.push_back(event);
    }
    power.interrupt();
    const Result result = power.finish();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(validate("power", lines), "");
    EXPECT_THAT(events, testing::ElementsAre("running", "suspend", "suspend-ex", "resume", "resume-ex",
                                             "str-suspending", "str-suspend", "str-resume", "str-resuming"));
    close(printed[0]);
    close(printed[1]);
}

// JSON

struct Schema {
    const char* schema;
    Arguments arguments;
};

void PrintTo(const Schema& row, std::ostream* out) { *out << testing::PrintToString(row.arguments); }

class JsonOutput : public testing::TestWithParam<Schema> {};

TEST_P(JsonOutput, FollowsItsSchema) {
    Arguments arguments = GetParam().arguments;
    arguments.emplace_back("--json");
    const Result result = runEmbedded(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(validate(GetParam().schema, result.out), "");
}

INSTANTIATE_TEST_SUITE_P(
    All, JsonOutput,
    testing::Values(Schema{"list", {"list"}}, Schema{"get", {"get"}},
                    Schema{"set", {"set", "brightness", "51"}},
                    Schema{"get", {"get", "nr", SOURCE, PLAY_ATTRIBUTES}},
                    Schema{"set", {"set", "nr=1", "memc=off"}}, Schema{"set", setPq({"set"}, {"1", "2"})},
                    Schema{"tv", {"tv"}}, Schema{"pq", {"pq"}},
                    Schema{"set", {"set", "color-tuner-sat", "-9", "--wait"}},
                    Schema{"watch", {"watch", "--seconds", "0.1"}}, Schema{"info", {"info"}},
                    Schema{"color-tuner", {"color-tuner", "get"}},
                    Schema{"color-tuner", {"color-tuner", "set", "--mode", "2"}}, Schema{"pq", {"pq", "get"}},
                    Schema{"source", {"source", "get"}}, Schema{"source", {"source", "request", "av"}},
                    Schema{"source", {"source", "resume", "video"}}, Schema{"channel", {"channel", "list"}},
                    Schema{"channel", {"channel", "next"}}, Schema{"channel", {"channel", "to", "Snow"}},
                    Schema{"table", {"table", CHANNELS}}, Schema{"key", {"key", "get", BRIGHTNESS}},
                    Schema{"key", {"key", "get", PLAY_ATTRIBUTES}}, Schema{"key", {"key", "get", SOURCE}},
                    Schema{"key", setPq({"key", "set"}, {"1", "2"})},
                    Schema{"watch", {"key", "watch", PQ_SETTING, "--seconds", "0.1"}}));

TEST(TheValidator, FindsErrors) {
    EXPECT_THAT(validate("get", "{\"brightness\":true}"), HasSubstr("is not valid under any"));
    EXPECT_THAT(validate("key", R"({"key":"k","type":"string","value":5})"),
                HasSubstr("is not of type 'string'"));
    EXPECT_THAT(validate("get", ""), HasSubstr("no document"));
}

TEST(JsonOutput, IsValidForTextThatIsNotUtf8) {
    const auto arrange = [](Television& television) {
        television.model().set(SOURCE, std::string("HDMI\xFF"));
    };
    const Result result = runOn(arrange, {"key", "get", SOURCE, "--json"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(validate("key", result.out), "");
}

}  // namespace
