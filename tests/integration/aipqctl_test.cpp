// aipqctl: its output, and its messages about wrong input.
#include <gmock/gmock.h>

#include "aipqctl_run.h"
#include "keys.h"

using testing::IsEmpty;
using namespace tests;
using namespace tests::keys;

namespace {

// Output

struct Output {
    const char* name;
    Arguments arguments;
    std::string out;  // a regular expression for the whole text
};

void PrintTo(const Output& row, std::ostream* out) { *out << row.name; }

class ACommand : public testing::TestWithParam<Output> {};

TEST_P(ACommand, PrintsItsResult) {
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
            R"(KEY +SETTING +TYPE +RANGE +STEP +DEFAULT +ACCESS +MEANING\n\nPicture settings\n)"
            R"(dovra\.sl2\.i32\.video\.color\.tuner\.hue +color-tuner-hue +integer +-50\.\.50 +0 +rw +Hue of .*\n)"},
        Output{"getOne", {"get", "brightness"}, "50\n"},
        Output{"getSome", {"get", "memc", "color-tuner-luma"}, "memc              2\ncolor-tuner-luma  0\n"},
        Output{"getAll", {"get"}, R"(brightness +50\n([a-z-]+ +\d+\n){8}color-tuner-hue +0\n)"},
        Output{"getKey", {"get", SOURCE}, "TV\n"},
        Output{"getSettingAndKey",
               {"get", "nr", PLAY_ATTRIBUTES},
               R"(nr +0\ndovra.* +\["play","1"(,"0"){8}\]\n)"},
        Output{"set", {"set", "brightness", "52"}, "brightness 50 -> 52\n"},
        Output{"setSeveral",
               {"set", "contrast=52", "nr=1", "color-tuner-hue=-3", "color-tuner-sat=4"},
               "contrast 50 -> 52\nnr 0 -> 1\ncolor-tuner-hue 0 -> -3\ncolor-tuner-sat 0 -> 4\n"},
        Output{"setHigher", {"set", "brightness", "+3"}, "brightness 50 -> 53\n"},
        Output{"setLower", {"set", "brightness", "-4"}, "brightness 50 -> 46\n"},
        Output{"setHigherAndLower",
               {"set", "sharpness+=2", "color-tuner-luma-=9"},
               "sharpness 50 -> 52\ncolor-tuner-luma 0 -> -9\n"},
        Output{"setByName", {"set", "memc", "smooth"}, "memc 2 -> 4\n"},
        Output{"setSettingByKey", {"set", BRIGHTNESS, "51"}, R"(dovra.* 50 -> 51\n)"},
        Output{"setKeys",
               {"set", std::string(SOURCE) + "=HDMI1",
                std::string(PQ_SETTING) +
                    "=1,-2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27"},
               R"(dovra.* TV -> HDMI1\ndovra.* -> \[1,-2,3,.*,27\]\n)"},
        Output{"setList", {"set", PLAY_ATTRIBUTES, "a", "b"}, R"(dovra.* -> \["a","b"\]\n)"},
        Output{
            "save",
            {"save", "-"},
            R"(# .*\nbrightness=50\n([a-z-]+=\d+\n){9}dovra\.sl2\.vint\.video\.aipq\.pq\.setting=0(,0){26}\n)"},
        Output{"setToWhatItIs", {"set", "contrast", "50", "--wait"}, R"(contrast 50 -> 50, confirmed.*\n)"},
        Output{"setAtOnce", {"set", "nr", "4", "--wait"}, R"(nr 4\nnr 0 -> 4, confirmed after \d\.\d s\n)"},
        Output{"setTunerMode", {"set", "color-tuner", "3"}, "color-tuner 0 -> 3\n"},
        // -1 is also the library's return value for a failed read.
        Output{"setTunerLuma", {"set", "color-tuner-luma", "-1"}, "color-tuner-luma 0 -> -1\n"},
        Output{"watch",
               {"watch", "brightness", SOURCE, "--seconds", "0.2"},
               TIME + R"(  brightness                         50\n)" + TIME +
                   R"(  dovra\.sl2\.str\.source\.current\.path  TV\n)"},
        Output{"colorTunerGet", {"color-tuner", "get"}, "mode  0\nluma  0\nsat   0\nhue   0\n"},
        Output{"colorTunerAlone", {"color-tuner"}, "mode  0\nluma  0\nsat   0\nhue   0\n"},
        Output{"colorTunerSet",
               {"color-tuner", "set", "--luma", "-1", "--hue", "7"},
               "mode  0\nluma  -1\nsat   0\nhue   7\n"},
        Output{"pqGet", {"pq", "get"}, R"(\[0(,0){26}\]\n)"}, Output{"pqAlone", {"pq"}, R"(\[0(,0){26}\]\n)"},
        Output{"pqSet",
               {"pq", "set",
                "0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30", "31",
                "32", "33"},
               R"(\[0,1,2,3,4,5,11,12,13,19,20,21,27,28,29,23,24,25,7,8,9,15,16,17,31,32,33\]\n)"},
        Output{"sourceGet", {"source", "get"}, "source  TV\npath    TV\n"},
        Output{"sourceAlone", {"source"}, "source  TV\npath    TV\n"},
        Output{"sourceRequest", {"source", "request", "psi-av"}, "request psi-av: done\n"},
        Output{"sourceRelease", {"source", "release", "video"}, "release video: done\n"},
        Output{"sourcePause", {"source", "pause", "av"}, "pause av: done\n"},
        Output{"sourceResume", {"source", "resume", "psi"}, "resume psi: done\n"},
        Output{"channelList",
               {"channel", "list"},
               R"(number +name +uri .*\n2 +Night +dvb://.*\n5 +Test card .*\n)"},
        Output{"channelAlone", {"channel"}, R"(number +name +uri .*\n2 +Night +dvb://.*\n5 +Test card .*\n)"},
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
        Output{"keySetText",
               {"key", "set", VIDEO_FORMAT, "as it comes"},
               R"(dovra.* 1920x1080p@50 -> as it comes\n)"},
        Output{"keySetTexts",
               {"key", "set", PLAY_ATTRIBUTES, "a", "b c", ""},
               R"(dovra.* -> \["a","b c",""\]\n)"},
        Output{"keySetNumbers", setPq({"key", "set"}, {"1", "-2"}), R"(dovra.* -> \[1,-2(,0){25}\]\n)"},
        Output{"keySetEmptyList", {"key", "set", PLAY_ATTRIBUTES}, R"(dovra.* -> \[\]\n)"},
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
        Output{"completeMenu", {"complete", "--", "set", "memc", "s"}, "smooth\nstrongest\n"},
        Output{"completeCheck", {"complete", "--", "doctor", "--only", "ca"}, "callback\n"},
        Output{"completeFormat", {"complete", "--", "capture", "--format", ""}, "png\nrgb\n"},
        Output{"completeNothing", {"complete", "--", "set", "brightness", ""}, ""}),
    nameOfRow);

// Wrong input

struct Mistake {
    const char* name;
    Arguments arguments;
    int exitCode;
    std::string line;
};

void PrintTo(const Mistake& row, std::ostream* out) { *out << row.name; }

class AMistake : public testing::TestWithParam<Mistake> {};

TEST_P(AMistake, IsReportedInOneLineWithAdvice) {
    const Result result = runEmbedded(GetParam().arguments);
    EXPECT_EQ(result.exitCode, GetParam().exitCode);
    EXPECT_EQ(result.err, "aipqctl: " + GetParam().line + '\n');
    EXPECT_THAT(result.out, IsEmpty());
}

// The message has at most 1000 characters.
const std::string HEAD = "no setting or key '";
const std::string NAMES_ADVICE = ": 'aipqctl list' shows all; for others use 'aipqctl key'";
const std::string TAIL = "'" + NAMES_ADVICE;

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
        Mistake{"misspeltOption",
                {"set", "nr", "1", "--tiemout", "5"},
                2,
                "no option '--tiemout'; did you mean '--timeout'?"},
        Mistake{"missingWord", {"set", "nr"}, 2, "VALUE is required: 'aipqctl set --help' shows the usage"},
        Mistake{"extraWord",
                {"set", "nr", "1", "2"},
                2,
                "'2' is one word too many: 'aipqctl set --help' shows the usage"},
        Mistake{"twoTelevisions", {"--tv", "kitchen", "get"}, 2, "either --tv or --embedded, not both"},
        Mistake{"badCount",
                {"watch", "-n", "0"},
                2,
                "--count: takes 1 to 1000000000, not 0: 'aipqctl watch --help' shows the usage"},
        Mistake{"everyNan",
                {"capture", "--every", "nan"},
                2,
                "--every: takes 0.001 to 1e+07, not nan: 'aipqctl capture --help' shows the usage"},
        Mistake{"secondsNan",
                {"power", "--seconds", "nan"},
                2,
                "--seconds: takes 0.001 to 1e+07, not nan: 'aipqctl power --help' shows the usage"},
        Mistake{"timeoutInfinite",
                {"set", "nr", "1", "--timeout", "inf"},
                2,
                "--timeout: takes 0.001 to 1e+07, not inf: 'aipqctl set --help' shows the usage"},
        Mistake{"columnsNan",
                {"table", CHANNELS, "--columns", "nan"},
                2,
                "--columns: takes 1 to 1000, not nan: 'aipqctl table --help' shows the usage"},
        Mistake{"unknownSetting",
                {"get", "brightnes"},
                3,
                "no setting or key 'brightnes'; did you mean 'brightness'?"},
        Mistake{"strangeSetting",
                {"set", "xyz", "1"},
                3,
                "no setting or key 'xyz': 'aipqctl list' shows all; for others use 'aipqctl key'"},
        Mistake{"notAllPairs",
                {"set", "nr=1", "memc"},
                2,
                "'memc' is not NAME=VALUE: 'aipqctl set --help' shows the usage"},
        Mistake{"settingTwice", {"set", "nr=1", "nr=2"}, 2, "'nr' is given twice"},
        Mistake{"settingAndItsKey",
                {"set", "brightness=1", std::string(BRIGHTNESS) + "=2"},
                2,
                std::string("'brightness' and '") + BRIGHTNESS + "' are the same"},
        Mistake{"unknownMenuValue", {"set", "memc", "quick"}, 4, "memc takes a whole number, not 'quick'"},
        Mistake{"endlessSettings",
                {"restore", "/dev/zero"},
                6,
                "cannot read '/dev/zero': it is larger than 16 MiB"},
        Mistake{"noSettingsFile",
                {"restore", "/no/settings"},
                6,
                "cannot read '/no/settings': No such file or directory"},
        Mistake{"folderOfSettings", {"restore", "/"}, 6, "cannot read '/': Is a directory"},
        Mistake{"misspeltMenuValue",
                {"set", "memc=smoth"},
                4,
                "memc has no value 'smoth'; did you mean 'smooth'?"},
        Mistake{"relativeTooHigh", {"set", "brightness", "+51"}, 5, "brightness takes 0 to 100, not 101"},
        Mistake{"relativeText", {"set", "brightness", "+x"}, 4, "brightness takes a whole number, not 'x'"},
        // aipqctl finds the second error before it sets the first value.
        Mistake{"oneOfSeveral", {"set", "nr=1", "memc=6"}, 5, "memc takes 0 to 5, not 6"},
        Mistake{"noFormat", {"capture", "--format", "gif"}, 3, "no format 'gif': png or rgb"},
        Mistake{"controlCharacters",
                {"get", "a\x1b[31m\n"},
                3,
                R"(no setting or key 'a\x1b[31m\n': 'aipqctl list' shows all; for others use 'aipqctl key')"},
        Mistake{
            "longWord",
            {"get", std::string(100000, 'a')},
            3,
            HEAD + std::string(500 - HEAD.size(), 'a') + "..." + std::string(500 - TAIL.size(), 'a') + TAIL},
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
                "dovra.sl2.table.channel.list has no value: its type is table"},
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
                "dovra.sl2.i32.video.brightness is not a table but of type integer: use 'aipqctl key'"},
        Mistake{"unknownKey",
                {"key", "get", "dovra.sl2.i32.video.brightnes"},
                3,
                "no key 'dovra.sl2.i32.video.brightnes' in the catalogue; did you mean "
                "'dovra.sl2.i32.video.brightness'?"},
        Mistake{"unlistedKey",
                {"key", "get", "foo"},
                3,
                "no key 'foo' in the catalogue: say its type with --type"},
        Mistake{"settingAsKey",
                {"key", "get", "brightness"},
                3,
                "'brightness' is a setting, not a key: use 'aipqctl get brightness'"},
        Mistake{"settingAsKeyToSet",
                {"key", "set", "brightness", "5"},
                3,
                "'brightness' is a setting, not a key: use 'aipqctl set brightness'"},
        Mistake{"settingAsKeyToWatch",
                {"key", "watch", "brightness"},
                3,
                "'brightness' is a setting, not a key: use 'aipqctl watch brightness'"},
        Mistake{"unknownKeyOfTheTelevision",
                {"key", "get", "foo", "--type", "integer"},
                3,
                "the television has no key 'foo'"},
        Mistake{"keyOfAnotherType",
                {"key", "get", BRIGHTNESS, "--type", "string"},
                4,
                "dovra.sl2.i32.video.brightness is of type integer on this television, not string"},
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
        Mistake{"keyThatTheTelevisionKeeps",
                {"key", "set", BRIGHTNESS, "101", "--type", "int64"},
                4,
                "dovra.sl2.i32.video.brightness is of type integer on this television, not int64"}),
    nameOfRow);

struct BadSettings {
    const char* name;
    const char* lines;
    std::string problem;
};

void PrintTo(const BadSettings& row, std::ostream* out) { *out << row.name; }

class AFileOfSettings : public testing::TestWithParam<BadSettings> {};

TEST_P(AFileOfSettings, IsRefusedWithTheLineOfTheMistake) {
    const Result result =
        runShell(std::string("printf '") + GetParam().lines + "' | " AIPQCTL_PROGRAM " --embedded restore -");
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_EQ(result.out, "aipqctl: " + GetParam().problem + '\n');
}

INSTANTIATE_TEST_SUITE_P(
    All, AFileOfSettings,
    testing::Values(BadSettings{"unknownName", "# saved\\nnr=1\\n\\nmemk=2\\n",
                                "-:4: no setting or key 'memk'; did you mean 'memc'?"},
                    BadSettings{"strangeName", "xyz=2\\n", "-:1: no setting or key 'xyz'" + NAMES_ADVICE},
                    BadSettings{"wrongType", "nr=1\\nmemc=x\\n", "-:2: memc takes a whole number, not 'x'"},
                    BadSettings{"outOfRange", "nr=1\\nmemc=6\\n", "-:2: memc takes 0 to 5, not 6"},
                    BadSettings{"noPair", "nr=1\\nmemc\\n", "-:2: not NAME=VALUE: 'memc'"},
                    BadSettings{"twice", "nr=1\\nnr=2\\n", "-: 'nr' is given twice"}),
    nameOfRow);

TEST(AMistakeInTheCatalogue, IsReportedAsABadFile) {
    setenv("AIPQ_TV_CATALOGUE", "/nonexistent", 1);
    const Result result = runEmbedded({"get"});
    unsetenv("AIPQ_TV_CATALOGUE");
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_EQ(result.err, "aipqctl: cannot read '/nonexistent': No such file or directory\n");
}

}  // namespace
