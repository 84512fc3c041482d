// The text form of scenarios: parsing, formatting and refusals.
#include <gmock/gmock.h>

#include <cstddef>
#include <fstream>
#include <iterator>
#include <ostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

#include "keys.h"
#include "scenario_fixture.h"
#include "simulated/faults.h"

using namespace tests::keys;
using simulated::FaultDefinition;
using simulated::parseScenario;
using simulated::Scenario;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using tests::actionsOf;
using tests::AScenario;
using tests::SET;
using tests::SET_60;
using tests::step;

namespace {

// A scenario with every kind of step and event, in the form that formatScenario() writes.
constexpr char EVERYTHING[] = R"(title = "Everything"
video = "off"
scale_limits = true

[[step]]
at = 0.015
set = "dovra.sl2.i32.video.brightness"
to = 60

[[step]]
at = 1
set = "dovra.sl2.str.source.current.path"
to = "HDMI1"

[[step]]
wait = 0.5
set = "dovra.sl2.vint.video.aipq.pq.setting"
to = [1, -2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0]

[[step]]
set = "dovra.sl2.vstr.tvservice.play.main"
to = ["play", "a \"quoted\" \\ \u0007 text", "ü"]

[[step]]
after = { key = "dovra.sl2.i32.video.brightness", is = 60 }
announce = "dovra.sl2.i32.video.brightness"

[[step]]
after = { changes = "dovra.sl2.str.source.current.path", within = 2.5 }
channel = "3"

[[step]]
after = { client = "dovra.sl2.i32.video.contrast" }
channel = "+1"

[[step]]
after = { registered = "aipq" }
playing = false

[[step]]
after = { report = 8 }
playing = true

[[step]]
after = { report = -7, application = "aipq", within = 0 }
invoke = "dovra.sl2.action.source.switch"
arguments = [[0, "1"], [1, "8"], [3, "+1"]]

[[step]]
after = { channel = "any" }
notify = "resume"

[[step]]
after = { channel = "4" }
wait = 3
notify = "str_suspend"
application = "aipq"
url = "app://aipq"
text = "later"
number = -2

[[step]]
power = "suspend"

[[step]]
power = "resume"

[[step]]
video = "scenes"

[[step]]
after = { frames = 25 }
scene = "snow"

[[step]]
scene = ""

[[step]]
fault = "key.drop"
key = "dovra.sl2.i32.video.brightness"
to = 3

[[step]]
fault = "key.keep_value"
key = "dovra.sl2.i32.video.brightness"
to = true

[[step]]
fault = "notifications.delay"
to = 500

[[step]]
clear_faults = true

[[step]]
expect = "dovra.sl2.i32.video.brightness"
is = 60

[[step]]
expect = "dovra.sl2.str.source.current.path"
is = "HDMI1"
within = 1.25
)";

TEST_F(AScenario, IsUnchangedByParsingAndFormatting) {
    EXPECT_EQ(formatScenario(parse(EVERYTHING)), EVERYTHING);
}

TEST_F(AScenario, StoresTheLineOfEachStep) {
    const Scenario scenario = parse("title = \"x\"\n\n[[step]]\nchannel = 1\n\n[[step]]\nchannel = 2\n");
    ASSERT_THAT(scenario.steps, SizeIs(2));
    EXPECT_EQ(scenario.name, "my.toml");
    EXPECT_EQ(scenario.steps[0].line, 3U);
    EXPECT_EQ(scenario.steps[1].line, 6U);
}

TEST_F(AScenario, MayNameAChannelByANumberAndASourceByItsName) {
    EXPECT_THAT(actionsOf(parse("[[step]]\nchannel = 3\n[[step]]\nsource = \"netflix\"\n")),
                ElementsAre("channel \"3\"", "set \"dovra.sl2.str.source.current.path\", to \"netflix\""));
}

TEST_F(AScenario, MayHaveNoSteps) {
    EXPECT_THAT(parse("step = []\n").steps, IsEmpty());
    EXPECT_EQ(formatScenario(parse("step = []\n")), "step = []\n");
    expectFinished("step = []\n");
}

TEST_F(AScenario, AcceptsOnlyKeysOfTheTelevision) {
    EXPECT_THROW(parseScenario("[[step]]\nsource = \"TV\"\n", "my.toml", {}), std::runtime_error);
    model.define({"", "my.wide", lomodelapi::OBJECT_TYPE_NUMERIC_INT64, 5LL, {}, ""});
    expectFinished("[[step]]\nset = \"my.wide\"\nto = 5000000000\n");
    EXPECT_EQ(valueOf<long long>("my.wide"), 5000000000LL);
}

// docs/scenarios.md lists every fault and every notification of the application manager, and its example is
// valid.
TEST_F(AScenario, IsDocumented) {
    std::ostringstream file;
    file << std::ifstream(SCENARIO_DOCUMENT).rdbuf();
    const std::string document = file.str();
    for (const FaultDefinition& fault : simulated::faultDefinitions()) {
        const char* const kinds[] = {"flag", "number", "milliseconds"};
        EXPECT_THAT(document, HasSubstr("| `" + fault.name + "` | " + kinds[static_cast<int>(fault.kind)] +
                                        " | " + fault.meaning + " |\n"));
    }
    for (const std::string& name : simulated::lifecycleNames())
        EXPECT_THAT(document, HasSubstr('`' + name + '`'));

    constexpr char FENCE[] = "```toml\n";
    const std::size_t begin = document.find(FENCE) + std::size(FENCE) - 1;
    EXPECT_THAT(parse(document.substr(begin, document.find("```\n", begin) - begin)).steps, SizeIs(5));
}

struct Malformed {
    std::string text;
    std::string message;
};

void PrintTo(const Malformed& malformed, std::ostream* out) { *out << malformed.message; }

class AMalformedScenario : public AScenario, public testing::WithParamInterface<Malformed> {};

TEST_P(AMalformedScenario, IsRefusedWithLineColumnAndReason) {
    std::string message = "accepted";
    try {
        parse(GetParam().text);
    } catch (const std::runtime_error& error) {
        message = error.what();
    }
    EXPECT_THAT(message, StartsWith("my.toml:" + GetParam().message));
    EXPECT_THAT(message, testing::Not(HasSubstr("\n")));
}

INSTANTIATE_TEST_SUITE_P(
    Document, AMalformedScenario,
    testing::Values(
        Malformed{"", "1:1: no [[step]] in it"}, Malformed{"title = 3\nstep = []\n", "1:9: no text"},
        Malformed{"step = 3\n", "1:8: steps are written as [[step]]"},
        Malformed{"step = [3]\n", "1:9: steps are written as [[step]]"},
        Malformed{"step = [{ channel = 1 }, 3]\n", "1:26: steps are written as [[step]]"},
        Malformed{"[[step]\n", "1:"}, Malformed{"[[step]]\nset = \n", "2:"},
        Malformed{"[[step]]\nset = 'a'\nset = 'b'\n", "3:"}, Malformed{"[[step]]\nset = \"a\n", "2:"},
        Malformed{"colour = 1\nstep = []\n",
                  "1:1: 'colour' does not belong here; scale_limits, step, title, video do"},
        Malformed{"scale_limits = 1\nstep = []\n", "1:16: must be true or false"},
        Malformed{"video = \"\"\nstep = []\n", "1:9: must not be empty"},
        Malformed{"video = \"a\\nb\"\nstep = []\n", "1:9: the name of a film is one line"},
        Malformed{"video = \"/no/film\"\nstep = []\n",
                  "1:9: cannot play '/no/film': No such file or directory"},
        Malformed{"[[step]]\nchannel = 1\n[[step]]\nvideo = \"/no/film\"\n",
                  "4:9: cannot play '/no/film': No such file or directory"},
        Malformed{"video = \"a\\u0000b\"\nstep = []\n", "1:9: a text must not contain a NUL"},
        Malformed{std::string("title = \"\0\"\nstep = []\n", 22), "1:"}, Malformed{"\xff\xfe", "1:"}));

INSTANTIATE_TEST_SUITE_P(
    Step, AMalformedScenario,
    testing::Values(
        Malformed{step(""), "1:1: a step that does nothing: it needs one of set, source, "},
        Malformed{step("at = 1\n"), "1:1: a step that does nothing"},
        Malformed{step(SET_60 + "channel = 1\n"), "4:11: a step is one thing, not 'set' and 'channel'"},
        Malformed{step(SET_60 + "is = 1\n"), "4:1: 'is' does not belong here; after, at, set, to, wait do"},
        Malformed{step(SET), "1:1: 'to' is missing"}, Malformed{step("set = 3\nto = 3\n"), "2:7: no text"},
        Malformed{step("set = \"no.such.key\"\nto = 3\n"), "2:7: the television has no key 'no.such.key'"},
        Malformed{step(SET + "to = \"60\"\n"), "3:6: no number of this type"},
        Malformed{step(SET + "to = 60.0\n"), "3:6: no number of this type"},
        Malformed{step(SET + "to = 101\n"), "3:6: 'dovra.sl2.i32.video.brightness' is from 0 to 100"},
        Malformed{step(SET + "to = 4294967356\n"), "3:6: no number of this type"},
        Malformed{step(SET + "to = 99999999999999999999999999\n"), "3:"},
        Malformed{step("set = \"dovra.sl2.action.source.switch\"\nto = 1\n"),
                  "3:6: an action or a table has no value"},
        Malformed{step("set = \"dovra.sl2.str.source.current.path\"\nto = [\"TV\"]\n"), "3:6: no text"},
        Malformed{step("set = \"dovra.sl2.vint.video.aipq.pq.setting\"\nto = [1, \"2\"]\n"),
                  "3:10: no number of this type"},
        Malformed{step("set = \"dovra.sl2.vint.video.aipq.pq.setting\"\nto = [1, 2]\n"),
                  "3:6: 'dovra.sl2.vint.video.aipq.pq.setting' takes 27 numbers"},
        Malformed{step("set = \"dovra.sl2.str.source.current.path\"\nto = \"HDMI7\"\n"),
                  "3:6: 'dovra.sl2.str.source.current.path' takes one of TV, HDMI1, "},
        Malformed{step("source = \"HDMI7\"\n"), "2:10: 'HDMI7' is not a source: it is one of TV, HDMI1, "},
        Malformed{step("announce = \"dovra.sl2.table.channel.list\"\n"),
                  "2:12: an action or a table has no value"},
        Malformed{step("channel = 9\n"), "2:11: there is no channel 9"},
        Malformed{step("channel = 9223372036854775807\n"), "2:11: there is no channel 9223372036854775807"},
        Malformed{step("channel = \"any\"\n"), "2:11: there is no channel any"},
        Malformed{step("channel = 1.5\n"), "2:11: no text"},
        Malformed{step("playing = 1\n"), "2:11: must be true or false"},
        Malformed{step("invoke = \"dovra.sl2.i32.video.brightness\"\n"),
                  "2:10: 'dovra.sl2.i32.video.brightness' is not an action"},
        Malformed{step("invoke = \"dovra.sl2.action.source.switch\"\narguments = [[1]]\n"),
                  "3:14: an argument is [position, \"value\"]"},
        Malformed{step("invoke = \"dovra.sl2.action.source.switch\"\narguments = [[65536, \"\"]]\n"),
                  "3:15: must be a whole number from 0 to 65535"},
        Malformed{step("notify = \"bedtime\"\n"),
                  "2:10: 'bedtime' is not a notification: it is one of running, suspend, "},
        Malformed{step("notify = \"resume\"\nnumber = 2147483648\n"), "3:10: no number of this type"},
        Malformed{step("notify = \"resume\"\napplication = \"\"\n"), "3:15: must not be empty"},
        Malformed{step("power = \"off\"\n"), "2:9: 'off' is not a power state: it is one of suspend, resume"},
        Malformed{step("scene = \"rain\"\n"), "2:9: 'rain' is not a scene: it is one of night, sunset, snow"},
        Malformed{step("clear_faults = false\n"), "2:16: write clear_faults = true"},
        Malformed{step("expect = \"dovra.sl2.i32.video.brightness\"\n"), "1:1: 'is' is missing"},
        Malformed{step("expect = \"dovra.sl2.i32.video.brightness\"\nis = -1\n"),
                  "3:6: 'dovra.sl2.i32.video.brightness' is from 0 to 100"}));

INSTANTIATE_TEST_SUITE_P(
    Fault, AMalformedScenario,
    testing::Values(Malformed{step("fault = \"key.dorp\"\nto = 1\n"),
                              "2:9: 'key.dorp' is not a fault: it is one of key.withdrawn, "},
                    Malformed{step("fault = \"key.drop\"\nto = 1\n"), "1:1: 'key' is missing"},
                    Malformed{step("fault = \"threads.fail\"\nkey = \"a\"\nto = 1\n"),
                              "3:7: the fault 'threads.fail' does not belong to a key"},
                    Malformed{step("fault = \"key.drop\"\nkey = \"no.such.key\"\nto = 1\n"),
                              "3:7: the television has no key 'no.such.key'"},
                    Malformed{step("fault = \"threads.fail\"\n"), "1:1: 'to' is missing"},
                    Malformed{step("fault = \"threads.fail\"\nto = -1\n"),
                              "3:6: must be a whole number from 0 to 2147483647"},
                    Malformed{step("fault = \"threads.fail\"\nto = true\n"), "3:6: must be a whole number"},
                    Malformed{step("fault = \"notifications.hold\"\nto = 1\n"),
                              "3:6: must be true or false"}));

INSTANTIATE_TEST_SUITE_P(
    Time, AMalformedScenario,
    testing::Values(
        Malformed{step("at = -1\n" + SET_60), "2:6: must be a number of seconds, from 0 to a week"},
        Malformed{step("at = nan\n" + SET_60), "2:6: must be a number of seconds"},
        Malformed{step("at = inf\n" + SET_60), "2:6: must be a number of seconds"},
        Malformed{step("at = 1e300\n" + SET_60), "2:6: must be a number of seconds"},
        Malformed{step("at = 9223372036854775807\n" + SET_60), "2:6: must be a number of seconds"},
        Malformed{step("at = \"1\"\n" + SET_60), "2:6: must be a number of seconds"},
        Malformed{step("at = 12:00:00\n" + SET_60), "2:6: must be a number of seconds"},
        Malformed{step("at = 1\nwait = 1\n" + SET_60), "3:8: a step is 'at' a time or has to 'wait'"},
        Malformed{step("at = 1\nafter = { channel = 1 }\n" + SET_60),
                  "3:9: a step is 'at' a time or 'after'"},
        Malformed{step("at = 2\n" + SET_60) + step("at = 1.999\n" + SET_60), "6:6: never happens"},
        Malformed{step("wait = 2\n" + SET_60) + step("at = 1\n" + SET_60), "6:6: never happens"},
        Malformed{step("after = 3\n" + SET_60), "2:9: 'after' is { key, is }, { changes }, "},
        Malformed{step("after = { within = 3 }\n" + SET_60), "2:9: 'after' is { key, is }, "},
        Malformed{step("after = { channel = 1, frames = 1 }\n" + SET_60), "2:"},
        Malformed{step("after = { channel = 1, within = -1 }\n" + SET_60), "2:33: must be a number of"},
        Malformed{step("after = { channel = 9 }\n" + SET_60), "2:21: there is no channel 9"},
        Malformed{step("after = { frames = 0 }\n" + SET_60), "2:20: must be a whole number from 1"},
        Malformed{"video = \"off\"\n" + step("after = { frames = 1 }\n" + SET_60),
                  "3:20: never happens: the video is off"},
        Malformed{step("after = { report = true }\n" + SET_60), "2:20: no number of this type"},
        Malformed{step("after = { registered = \"\" }\n" + SET_60), "2:24: must not be empty"},
        Malformed{step("after = { changes = \"dovra.sl2.action.source.switch\" }\n" + SET_60),
                  "2:21: an action or a table has no value"},
        Malformed{step("after = { key = \"dovra.sl2.i32.video.brightness\" }\n" + SET_60),
                  "2:9: 'is' is missing"},
        Malformed{step("after = { key = \"dovra.sl2.i32.video.brightness\", is = 101 }\n" + SET_60),
                  "2:56: 'dovra.sl2.i32.video.brightness' is from 0 to 100"}));

TEST_F(AMalformedScenario, IsNotPlayedPartially) {
    EXPECT_THROW(parse(step(SET_60) + step("channel = 9\n")), std::runtime_error);
    EXPECT_EQ(valueOf<int>(BRIGHTNESS), 50);
}

TEST_F(AMalformedScenario, IsRefusedIfItIsNestedDeeply) {
    const std::string open(100'000, '[');
    EXPECT_THROW(parse("step = " + open), std::runtime_error);
    std::string tables = "after = ";
    for (int i = 0; i < 50'000; ++i) tables += "{ a = ";
    EXPECT_THROW(parse(step(tables)), std::runtime_error);
}

// Parses texts that are truncated and have random bytes replaced.
TEST_F(AMalformedScenario, IsRefusedOrAcceptedButNeverCrashes) {
    const std::string whole = EVERYTHING;
    const auto keys = model.keys();
    std::mt19937 random(1);
    unsigned refused = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string text = whole.substr(0, random() % whole.size());
        for (unsigned n = random() % 4; n > 0 && !text.empty(); --n)
            text[random() % text.size()] = static_cast<char>(random());
        try {
            parseScenario(text, "my.toml", keys);
        } catch (const std::runtime_error& error) {
            ++refused;
            EXPECT_THAT(error.what(), StartsWith("my.toml:"));
        }
    }
    EXPECT_GT(refused, 1000U);
}

}  // namespace
