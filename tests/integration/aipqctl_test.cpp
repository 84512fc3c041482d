// aipqctl: what it prints, what it says about bad input, and how it ends.
#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "aipqctl_run.h"
#include "keys.h"

using simulated::KeyFaults;
using simulated::Lifecycle;
using simulated::Television;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using namespace tests;
using namespace tests::keys;

namespace {

void nothing(Television&) {}

// Waits in the program's process until it follows the key, and then acts.
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

// Names a table's tests by its rows.
constexpr auto nameOfRow = [](const auto& row) { return std::string(row.param.name); };

// What a run prints

struct Output {
    const char* name;
    Arguments arguments;
    std::string out;  // a regular expression for all of it
};

void PrintTo(const Output& row, std::ostream* out) { *out << row.name; }

class ACommand : public testing::TestWithParam<Output> {};

TEST_P(ACommand, PrintsWhatItFoundAndDid) {
    const Result result = runEmbedded(GetParam().arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, IsEmpty());
    EXPECT_THAT(result.out, Reads(GetParam().out));
}

const std::string TIME = R"(\d\d:\d\d:\d\d\.\d{3})";

INSTANTIATE_TEST_SUITE_P(
    All, ACommand,
    testing::Values(
        Output{"info",
               {"info"},
               R"(source +TV\nplayer +playing\nHDR type +SDR\ngame mode +0\n(.+ +(yes|no)\n){6})"},
        Output{
            "list",
            {"list", "hue"},
            R"(KEY +SETTING +TYPE +RANGE +MEANING\n\nPicture settings\n)"
            R"(dovra\.sl2\.i32\.video\.color\.tuner\.hue +color-tuner-hue +integer +-50\.\.50 +Hue of .*\n)"},
        Output{"getOne", {"get", "brightness"}, "50\n"},
        Output{"getSome", {"get", "memc", "color-tuner-luma"}, "memc              2\ncolor-tuner-luma  0\n"},
        Output{"getAll", {"get"}, R"(brightness +50\n([a-z-]+ +\d+\n){8}color-tuner-hue +0\n)"},
        Output{"set", {"set", "brightness", "52"}, "brightness 50 -> 52\n"},
        Output{"setToWhatItIs", {"set", "contrast", "50", "--wait"}, R"(contrast 50 -> 50, confirmed.*\n)"},
        Output{"setAtOnce", {"set", "nr", "4", "--wait"}, R"(nr 4\nnr 0 -> 4, confirmed after \d\.\d s\n)"},
        Output{"setTunerMode", {"set", "color-tuner", "3"}, "color-tuner 0 -> 3\n"},
        // -1 is also what the library answers if it cannot read.
        Output{"setTunerLuma", {"set", "color-tuner-luma", "-1"}, "color-tuner-luma 0 -> -1\n"},
        Output{"watch",
               {"watch", "brightness", SOURCE, "--seconds", "0.2"},
               TIME + R"(  brightness                         50\n)" + TIME +
                   R"(  dovra\.sl2\.str\.source\.current\.path  TV\n)"},
        Output{"colorTunerGet", {"color-tuner", "get"}, "mode  0\nluma  0\nsat   0\nhue   0\n"},
        Output{"colorTunerSet",
               {"color-tuner", "set", "--luma", "-1", "--hue", "7"},
               "mode  0\nluma  -1\nsat   0\nhue   7\n"},
        Output{"pqGet", {"pq", "get"}, R"(\[0(,0){26}\]\n)"},
        Output{"pqSet",
               {"pq", "set",
                "0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30", "31",
                "32", "33"},
               R"(\[0,1,2,3,4,5,11,12,13,19,20,21,27,28,29,23,24,25,7,8,9,15,16,17,31,32,33\]\n)"},
        Output{"sourceGet", {"source", "get"}, "source  TV\npath    TV\n"},
        Output{"sourceRequest", {"source", "request", "psi-av"}, "request psi-av: done\n"},
        Output{"sourceRelease", {"source", "release", "video"}, "release video: done\n"},
        Output{"sourcePause", {"source", "pause", "av"}, "pause av: done\n"},
        Output{"sourceResume", {"source", "resume", "psi"}, "resume psi: done\n"},
        Output{"channelList",
               {"channel", "list"},
               R"(number +name +uri .*\n2 +Night +dvb://.*\n5 +Test card .*\n)"},
        Output{"channelNext", {"channel", "next"}, "channel next: done\n"},
        Output{"channelPrev", {"channel", "prev"}, "channel prev: done\n"},
        Output{"channelByName", {"channel", "to", "Test card"}, "channel to Test card: done\n"},
        Output{"channelByNumber", {"channel", "to", "2", "--force"}, "channel to 2: done\n"},
        Output{"channelByUri",
               {"channel", "uri", "dvb://1.1079.28205"},
               "channel uri dvb://1.1079.28205: done\n"},
        Output{"channelByUuid", {"channel", "uuid", "c0000004", "f0000002"}, "channel uuid c0000004: done\n"},
        Output{"power", {"power", "--seconds", "0.2"}, ""},
        Output{
            "table",
            {"table", CHANNELS, "--columns", "2"},
            "number  name\n1       First\n2       Night\n3       Snow\n4       Garden\n5       Test card\n"},
        Output{"keyGet", {"key", "get", PLAY_ATTRIBUTES}, R"(\["play","1"(,"0"){8}\]\n)"},
        Output{"keySetInteger", {"key", "set", BRIGHTNESS, "51"}, R"(dovra.* 50 -> 51\n)"},
        Output{"keySetNegative", {"key", "set", COLOR_TUNER_LUMA, "-50"}, R"(dovra.* 0 -> -50\n)"},
        Output{"keySetText", {"key", "set", SOURCE, "HDMI 1"}, R"(dovra.* TV -> HDMI 1\n)"},
        Output{"keySetTexts",
               {"key", "set", PLAY_ATTRIBUTES, "a", "b c", ""},
               R"(dovra.* -> \["a","b c",""\]\n)"},
        Output{"keySetNumbers", {"key", "set", PQ_SETTING, "1", "-2"}, R"(dovra.* -> \[1,-2\]\n)"},
        Output{"keySetEmptyList", {"key", "set", PQ_SETTING}, R"(dovra.* -> \[\]\n)"},
        Output{"keyWatch",
               {"key", "watch", MEMC, "--type", "integer", "--seconds", "0.2"},
               TIME + R"(  dovra\.sl2\.i32\.video\.enum\.memc  2\n)"},
        Output{"completeCommand", {"complete", "--", "col"}, "color-tuner\n"},
        Output{"completeSetting", {"complete", "--", "--json", "set", "s"}, "saturation\nsharpness\n"},
        Output{"completeOption", {"complete", "--", "key", "watch", "--s"}, "--seconds\n"},
        Output{"completeOptionValue",
               {"complete", "--", "key", "get", "--type", "int"},
               "integer\nint64\nintegers\n"},
        Output{"completeResources", {"complete", "--", "source", "pause", ""}, "video\nav\npsi\n"},
        Output{"completeKey", {"complete", "--", "table", "d"}, R"(dovra\.sl2\.table\.channel\.list\n)"},
        Output{"completeNothing", {"complete", "--", "set", "nr", ""}, ""}),
    nameOfRow);

// Bad input

struct Mistake {
    const char* name;
    Arguments arguments;
    int exitCode;
    std::string line;
};

void PrintTo(const Mistake& row, std::ostream* out) { *out << row.name; }

class AMistake : public testing::TestWithParam<Mistake> {};

TEST_P(AMistake, IsOneLineThatSaysWhatToDo) {
    const Result result = runEmbedded(GetParam().arguments);
    EXPECT_EQ(result.exitCode, GetParam().exitCode);
    EXPECT_EQ(result.err, "aipqctl: " + GetParam().line + '\n');
    EXPECT_THAT(result.out, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    All, AMistake,
    testing::Values(
        Mistake{"noCommand", {}, 2, "A subcommand is required: 'aipqctl --help' shows the usage"},
        Mistake{"unknownCommand", {"gte"}, 2, "no command 'gte'; did you mean 'get'?"},
        Mistake{"unknownSubcommand", {"source", "puase"}, 2, "no command 'puase'; did you mean 'pause'?"},
        Mistake{"unknownOption",
                {"get", "--frob"},
                2,
                "no option '--frob': 'aipqctl get --help' shows the usage"},
        Mistake{"missingWord", {"set", "nr"}, 2, "VALUE is required: 'aipqctl set --help' shows the usage"},
        Mistake{"extraWord",
                {"set", "nr", "1", "2"},
                2,
                "'2' is one word too many: 'aipqctl set --help' shows the usage"},
        Mistake{"twoTelevisions", {"--tv", "kitchen", "get"}, 2, "either --tv or --embedded, not both"},
        Mistake{"badCount",
                {"watch", "-n", "0"},
                2,
                "--count: Value 0 not in range 1 to 1000000000: 'aipqctl watch --help' shows the usage"},
        Mistake{
            "unknownSetting", {"get", "brightnes"}, 3, "no setting 'brightnes'; did you mean 'brightness'?"},
        Mistake{
            "strangeSetting", {"set", "xyz", "1"}, 3, "no setting 'xyz': 'aipqctl get' shows all settings"},
        Mistake{"settingNoNumber", {"set", "nr", "1x"}, 4, "nr takes a whole number, not '1x'"},
        Mistake{"settingFraction", {"set", "nr", "1.5"}, 4, "nr takes a whole number, not '1.5'"},
        Mistake{"settingTooHigh", {"set", "memc", "6"}, 5, "memc takes 0 to 5, not 6"},
        Mistake{"settingTooLow",
                {"set", "color-tuner-hue", "-51"},
                5,
                "color-tuner-hue takes -50 to 50, not -51"},
        Mistake{"settingBeyondAnyNumber",
                {"set", "nr", "99999999999999999999"},
                5,
                "nr takes 0 to 4, not 99999999999999999999"},
        Mistake{"watchUnknown",
                {"watch", "brigthness"},
                3,
                "no setting or key 'brigthness'; did you mean 'brightness'?"},
        Mistake{"watchTable",
                {"watch", CHANNELS},
                4,
                "dovra.sl2.table.channel.list has no value to watch: its type is table"},
        Mistake{"listNothing", {"list", "xyz"}, 3, "no key has 'xyz' in it: 'aipqctl list' shows all keys"},
        Mistake{"tunerTooHigh", {"color-tuner", "set", "--sat", "51"}, 5, "sat takes -50 to 50, not 51"},
        Mistake{"tunerNothing",
                {"color-tuner", "set"},
                2,
                "At least 1 option from [--mode,--luma,--sat,--hue] is required: 'aipqctl color-tuner set "
                "--help' "
                "shows the usage"},
        Mistake{"pqTooFew", {"pq", "set", "1", "2"}, 2, "pq takes 34 numbers, not 2"},
        Mistake{"pqText", {"pq", "set", "1", "b"}, 4, "pq takes a list of whole numbers, not 'b'"},
        Mistake{"unknownResources",
                {"source", "request", "audio"},
                3,
                "no resources 'audio': one of video, av, psi, video-psi, psi-av"},
        Mistake{"unpausableResources",
                {"source", "pause", "psi-av"},
                3,
                "no resources 'psi-av': one of video, av, psi"},
        Mistake{
            "unknownChannel", {"channel", "to", "Gardn"}, 3, "no channel 'Gardn'; did you mean 'Garden'?"},
        Mistake{"strangeChannel",
                {"channel", "to", "99"},
                3,
                "no channel '99': 'aipqctl channel list' shows all"},
        Mistake{"refusedChannel",
                {"channel", "uri", "dvb://0"},
                1,
                "the television refuses channel uri dvb://0: -v shows the platform's log"},
        Mistake{"unknownTable",
                {"table", "foo"},
                3,
                "no table 'foo' in the catalogue: say how many columns it has with --columns"},
        Mistake{"unknownTableOfTheTelevision",
                {"table", "foo", "--columns", "2"},
                3,
                "the television has no key 'foo'"},
        Mistake{"noTable",
                {"table", BRIGHTNESS},
                4,
                "dovra.sl2.i32.video.brightness is no table but of type integer: use 'aipqctl key'"},
        Mistake{"unknownKey",
                {"key", "get", "dovra.sl2.i32.video.brightnes"},
                3,
                "no key 'dovra.sl2.i32.video.brightnes' in the catalogue; did you mean "
                "'dovra.sl2.i32.video.brightness'?"},
        Mistake{"unlistedKey",
                {"key", "get", "foo"},
                3,
                "no key 'foo' in the catalogue: say its type with --type"},
        Mistake{"unknownKeyOfTheTelevision",
                {"key", "get", "foo", "--type", "integer"},
                3,
                "the television has no key 'foo'"},
        Mistake{
            "keyOfAnotherType",
            {"key", "get", BRIGHTNESS, "--type", "string"},
            4,
            "dovra.sl2.i32.video.brightness is not of type string on this television: say another one with "
            "--type"},
        Mistake{"unknownType",
                {"key", "get", BRIGHTNESS, "--type", "float"},
                3,
                "no type 'float': integer, int64, string, integers or strings"},
        Mistake{"keyOfAnAction",
                {"key", "get", SWITCH_ACTION},
                4,
                "dovra.sl2.action.source.switch is an action: use 'aipqctl source' and 'aipqctl channel'"},
        Mistake{"keyOfATable",
                {"key", "get", CHANNELS},
                4,
                "dovra.sl2.table.channel.list is a table: use 'aipqctl table'"},
        Mistake{"keyTooHigh",
                {"key", "set", BRIGHTNESS, "101"},
                5,
                "dovra.sl2.i32.video.brightness takes 0 to 100, not 101"},
        Mistake{"keyBeyondItsWidth",
                {"key", "set", PQ_SETTING, "3000000000"},
                5,
                "dovra.sl2.vint.video.aipq.pq.setting takes -2147483648 to 2147483647, not 3000000000"},
        Mistake{"keyWithoutValue",
                {"key", "set", BRIGHTNESS},
                4,
                "dovra.sl2.i32.video.brightness takes a whole number, not ''"},
        Mistake{"keyWithTwoTexts",
                {"key", "set", SOURCE, "HDMI1", "HDMI2"},
                4,
                "dovra.sl2.str.source.current.path takes one text, not 'HDMI1 HDMI2'"},
        Mistake{
            "keyThatTheTelevisionKeeps",
            {"key", "set", BRIGHTNESS, "101", "--type", "int64"},
            4,
            "dovra.sl2.i32.video.brightness is not of type int64 on this television: say another one with "
            "--type"}),
    nameOfRow);

TEST(AMistakeInTheCatalogue, IsABadFile) {
    setenv("AIPQ_TV_CATALOGUE", "/nonexistent", 1);
    const Result result = runEmbedded({"get"});
    unsetenv("AIPQ_TV_CATALOGUE");
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_EQ(result.err, "aipqctl: /nonexistent: cannot be read\n");
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

TEST_P(ATelevisionThat, IsToldFromABadCommand) {
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
        Trouble{"hasNoKeys", noKeys, {"key", "get", MEMC}, 7, NO_TELEVISION},
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
                std::string(BRIGHTNESS) + " stays at 50: the television does not take 60"},
        Trouble{"keepsTheTuner",
                withFaults(COLOR_TUNER_LUMA, refusing()),
                {"color-tuner", "set", "--luma", "3"},
                1,
                "luma stays at 0: the television does not take 3"},
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
                "the television has not answered for 10 s; whether it did it is not known"},
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

TEST(ASetting, ShowsTheStepsOfItsWay) {
    // Slow news, so that each finds the library's worker waiting even on a busy machine.
    const auto slow = [](Television& television) {
        television.model().setNotificationDelay(std::chrono::milliseconds(250));
    };
    const Result result = runOn(slow, {"set", "saturation", "45", "--wait"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, Reads(R"(saturation 48\nsaturation 46\nsaturation 45\n)"
                                  R"(saturation 50 -> 45, confirmed after \d\.\d s\n)"));
}

TEST(ASetting, ArrivesEvenIfTheTelevisionDoesNotAnnounceIt) {
    KeyFaults faults;
    faults.dropNotifications = 1;
    const Result result = runOn(withFaults(MEMC, faults), {"set", "memc", "4", "--wait"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, StartsWith("memc 2 -> 4, confirmed"));
}

TEST(ASetting, ThatCtrlCStopsOnItsWayIsCutShort) {
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

TEST(AWatch, PrintsWhatIsThereAndThenEachChange) {
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

TEST(AWatch, EndsWellWithCtrlC) {
    Running watch(program({"--embedded", "watch", "brightness"}));
    EXPECT_THAT(watch.readLine(), EndsWith("  brightness  50"));
    watch.interrupt();
    const Result result = watch.finish();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
}

TEST(AWatch, EndsWellWhenNobodyReadsIt) {
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

TEST(Output, ThatCannotBeWrittenIsABadFile) {
    const Result result = runShell(AIPQCTL_PROGRAM " list >/dev/full");
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_EQ(result.out, "aipqctl: the output cannot be written: No space left on device\n");
}

TEST(ThePower, IsToldUntilCtrlC) {
    // Nothing shows when the program has begun to listen: it is told that it runs until it has printed so.
    std::array<int, 2> heard{};
    ASSERT_EQ(pipe(heard.data()), 0);
    const auto tell = [heard](Television& television) {
        std::thread([heard, &television] {
            auto& applications = television.applications();
            pollfd wait{heard[0], POLLIN, 0};
            while (poll(&wait, 1, 20) == 0) applications.tell(Lifecycle::RUNNING, "app://pq");
            for (int news = 0; news <= static_cast<int>(Lifecycle::STR_RESUMING); ++news)
                applications.tell(static_cast<Lifecycle>(news), "app://pq");
        }).detach();
    };
    Running power(programOn(tell, {"power", "--json"}));
    std::string lines = power.readLine() + '\n';
    EXPECT_EQ(write(heard[1], "!", 1), 1);
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
    close(heard[0]);
    close(heard[1]);
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
                    Schema{"set", {"set", "color-tuner-sat", "-9", "--wait"}},
                    Schema{"watch", {"watch", "--seconds", "0.1"}}, Schema{"info", {"info"}},
                    Schema{"color-tuner", {"color-tuner", "get"}},
                    Schema{"color-tuner", {"color-tuner", "set", "--mode", "2"}}, Schema{"pq", {"pq", "get"}},
                    Schema{"source", {"source", "get"}}, Schema{"source", {"source", "request", "av"}},
                    Schema{"source", {"source", "resume", "video"}}, Schema{"channel", {"channel", "list"}},
                    Schema{"channel", {"channel", "next"}}, Schema{"channel", {"channel", "to", "Snow"}},
                    Schema{"table", {"table", CHANNELS}}, Schema{"key", {"key", "get", BRIGHTNESS}},
                    Schema{"key", {"key", "get", PLAY_ATTRIBUTES}}, Schema{"key", {"key", "get", SOURCE}},
                    Schema{"key", {"key", "set", PQ_SETTING, "1", "2"}},
                    Schema{"watch", {"key", "watch", PQ_SETTING, "--seconds", "0.1"}}));

TEST(TheValidator, FindsWhatIsWrong) {
    EXPECT_THAT(validate("get", "{\"brightness\":\"50\"}"), HasSubstr("is not of type 'integer'"));
    EXPECT_THAT(validate("key", R"({"key":"k","type":"string","value":5})"),
                HasSubstr("is not of type 'string'"));
    EXPECT_THAT(validate("get", ""), HasSubstr("no document"));
}

TEST(JsonOutput, IsValidForATextThatIsNoUtf8) {
    const auto arrange = [](Television& television) {
        television.model().set(SOURCE, std::string("HDMI\xFF"));
    };
    const Result result = runOn(arrange, {"key", "get", SOURCE, "--json"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(validate("key", result.out), "");
}

}  // namespace
