// Scenarios of the simulated television: parsing, formatting, playing and recording. The tests that need a
// picture are in scenario_video_test.cpp.
#include <gmock/gmock.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <chrono>
#include <fstream>
#include <future>
#include <iterator>
#include <limits>
#include <map>
#include <mutex>
#include <ostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "keys.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "platform_adaptation/system_state.h"
#include "simulated/faults.h"
#include "simulated/scenario.h"
#include "simulated/scenario_player.h"
#include "simulated/scenario_recorder.h"
#include "television_test.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::describe;
using simulated::FaultDefinition;
using simulated::FaultKind;
using simulated::Lifecycle;
using simulated::parseScenario;
using simulated::Scenario;
using simulated::ScenarioPlayer;
using simulated::ScenarioRecorder;
using simulated::Step;
using simulated::Value;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Outcome = ScenarioPlayer::Outcome;

namespace simulated {

void PrintTo(const FaultDefinition& fault, std::ostream* out) { *out << fault.name; }

}  // namespace simulated

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

class AScenario : public tests::TelevisionTest {
  protected:
    static Scenario parse(const std::string& text) { return parseScenario(text, "my.toml"); }

    // Plays a scenario to its end.
    ScenarioPlayer::Result play(const std::string& text, double speed = 1) {
        ScenarioPlayer player(television, parse(text), {{}, {}}, speed);
        return player.wait();
    }

    void expectFinished(const std::string& text, double speed = 1) {
        const ScenarioPlayer::Result result = play(text, speed);
        EXPECT_EQ(result.outcome, Outcome::FINISHED) << result.text;
    }

    void expectFailed(const std::string& text, const std::string& why, double speed = 1) {
        const ScenarioPlayer::Result result = play(text, speed);
        EXPECT_EQ(result.outcome, Outcome::FAILED);
        EXPECT_EQ(result.text, why);
    }

    template <typename T>
    T valueOf(const std::string& key) const {
        return std::get<T>(model.value(key));
    }
};

std::vector<std::string> actionsOf(const std::vector<Step>& steps) {
    std::vector<std::string> actions;
    for (const Step& step : steps) actions.push_back(describe(step.action));
    return actions;
}

std::vector<std::string> actionsOf(const Scenario& scenario) { return actionsOf(scenario.steps); }

// The recorded steps without the initial ones, which restore the state at the beginning of the recording.
std::vector<Step> causesOf(const Scenario& scenario) {
    std::vector<Step> causes;
    std::copy_if(scenario.steps.begin(), scenario.steps.end(), std::back_inserter(causes),
                 [](const Step& step) { return step.at.has_value(); });
    return causes;
}

// The text form

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

std::string step(const std::string& lines) { return "[[step]]\n" + lines; }

const std::string SET = "set = \"dovra.sl2.i32.video.brightness\"\n";
const std::string SET_60 = SET + "to = 60\n";

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

// Steps

TEST_F(AScenario, SetsKeysOfEveryType) {
    const std::string list = describe(Value(std::vector<int>(27, 3)));
    expectFinished(step(SET_60) +
                   step("set = \"dovra.sl2.str.video.format.info\"\nto = \"3840x2160p@60\"\n") +
                   step("set = \"dovra.sl2.vint.video.aipq.pq.setting\"\nto = " + list + "\n") +
                   step("set = \"dovra.sl2.vstr.tvservice.play.main\"\nto = []\n"));
    EXPECT_EQ(valueOf<int>(BRIGHTNESS), 60);
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "3840x2160p@60");
    EXPECT_EQ(valueOf<std::vector<int>>(PQ_SETTING), std::vector<int>(27, 3));
    EXPECT_THAT(valueOf<std::vector<std::string>>(PLAY_ATTRIBUTES), IsEmpty());
}

TEST_F(AScenario, SwitchesSourceAndChannel) {
    expectFinished(step("source = \"HDMI2\"\n"));
    EXPECT_EQ(valueOf<std::string>(SOURCE), "HDMI2");
    expectFinished(step("channel = 3\n"));
    EXPECT_EQ(valueOf<std::string>(SOURCE), "TV");
    EXPECT_EQ(valueOf<std::string>(HDR_TYPE), "hdr_hlg");
    EXPECT_EQ(television.sourceSwitch().channelNumber(), "3");
    expectFinished(step("channel = \"-1\"\n"));
    EXPECT_EQ(television.sourceSwitch().channelNumber(), "2");
}

TEST_F(AScenario, FailsAtAChannelThatNoLongerExists) {
    const Scenario scenario = parse(step("channel = 3\n"));
    model.setRows("dovra.sl2.table.channel.list", {});
    ScenarioPlayer player(television, scenario, {{}, {}});
    EXPECT_EQ(player.wait().text, "my.toml:1: the television has no channel 3");
}

TEST_F(AScenario, StopsAndRestartsPlayback) {
    expectFinished(step("playing = false\n"));
    EXPECT_FALSE(television.sourceSwitch().playing());
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "");
    expectFinished(step("playing = true\n"));
    EXPECT_TRUE(television.sourceSwitch().playing());
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "1920x1080p@50");
}

TEST_F(AScenario, InvokesActions) {
    const std::string next =
        step("invoke = \"dovra.sl2.action.source.switch\"\narguments = [[1, \"8\"], [3, \"+1\"]]\n");
    expectFinished(next);
    EXPECT_EQ(television.sourceSwitch().channelNumber(), "2");
    EXPECT_THAT(model.invocations(SWITCH_ACTION), SizeIs(1));
    expectFailed(
        step("fault = \"key.invoke_status\"\nkey = \"dovra.sl2.action.source.switch\"\nto = 4\n") + next,
        "my.toml:5: the television refused the action with status 4");
}

// An application that records the power states that it receives.
class Service {
  public:
    Service() { state.registerCallBackTVPowerState(&onState, this); }

    std::vector<int> received() {
        EXPECT_TRUE(simulated::Television::instance().applications().settle());
        const std::lock_guard lock(m_mutex);
        return m_received;
    }

  private:
    static void onState(TVPowerState value, void* self) {
        Service& service = *static_cast<Service*>(self);
        const std::lock_guard lock(service.m_mutex);
        service.m_received.push_back(value);
    }

    std::mutex m_mutex;
    std::vector<int> m_received;

  public:
    SystemState state{"aipq"};  // declared last and destroyed first: no callback arrives after that
};

TEST_F(AScenario, NotifiesOneApplicationOrAll) {
    Service service;
    expectFinished(step("notify = \"running\"\n") + step("notify = \"suspend\"\napplication = \"other\"\n") +
                   step("notify = \"resume\"\napplication = \"aipq\"\n"));
    EXPECT_THAT(service.received(), ElementsAre(1, 4));
}

TEST_F(AScenario, SuspendsToRamAndResumes) {
    Service service;
    model.set(VIDEO_FORMAT, std::string("3840x2160p@60"));
    expectFinished(step("power = \"suspend\"\n") + step("power = \"suspend\"\n"));
    EXPECT_TRUE(television.suspended());
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "");
    EXPECT_THAT(service.received(), ElementsAre(2, 6, 7));
    expectFinished(step("power = \"resume\"\n") + step("power = \"resume\"\n"));
    EXPECT_FALSE(television.suspended());
    EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "3840x2160p@60");
    EXPECT_THAT(service.received(), ElementsAre(2, 6, 7, 8, 9, 4));
}

TEST_F(AScenario, CanAnnounceAnUnchangedValue) {
    std::promise<void> announced;
    const simulated::Events::Subscription listening(television.events(), [&](const simulated::Event& event) {
        if (std::holds_alternative<simulated::Announce>(event.what)) announced.set_value();
    });
    expectFinished(step("announce = \"dovra.sl2.i32.video.brightness\"\n"));
    EXPECT_EQ(announced.get_future().wait_for(0s), std::future_status::ready);
}

TEST_F(AScenario, WithoutAPipelineCannotSetAVideoFault) {
    for (const char* const fault : {"video.stalled", "video.killed"})
        expectFailed(step(std::string("fault = \"") + fault + "\"\nto = true\n"),
                     "my.toml:1: the video pipeline does not run");
}

// Faults

class EachFault : public AScenario, public testing::WithParamInterface<FaultDefinition> {
  protected:
    static std::string keyOf(const FaultDefinition& fault) { return fault.ofKey ? BRIGHTNESS : ""; }
};

TEST_P(EachFault, IsSetAndClearedByAScenario) {
    const FaultDefinition& fault = GetParam();
    EXPECT_FALSE(fault.meaning.empty());
    EXPECT_EQ(simulated::fault(television, keyOf(fault), fault.name), fault.harmless);
    const std::string set = "fault = \"" + fault.name + "\"\n" +
                            (fault.ofKey ? "key = \"" + std::string(BRIGHTNESS) + "\"\n" : std::string()) +
                            (fault.kind == FaultKind::FLAG ? "to = true\n" : "to = 7\n");
    expectFinished(step(set));
    EXPECT_EQ(simulated::fault(television, keyOf(fault), fault.name), fault.kind == FaultKind::FLAG ? 1 : 7);
    expectFinished(step("clear_faults = true\n"));
    EXPECT_EQ(simulated::fault(television, keyOf(fault), fault.name), fault.harmless);
}

TEST_P(EachFault, IsRefusedOutOfRangeAndForAnotherOwner) {
    const FaultDefinition& fault = GetParam();
    for (const long long value : {fault.lowest - 1, fault.highest + 1})
        EXPECT_THROW(simulated::setFault(television, keyOf(fault), fault.name, value), std::domain_error);
    EXPECT_THROW(simulated::setFault(television, fault.ofKey ? "" : BRIGHTNESS, fault.name, 1),
                 std::invalid_argument);
    if (fault.ofKey) {
        EXPECT_THROW(simulated::setFault(television, "no.such.key", fault.name, 1), std::out_of_range);
    }
}

std::vector<FaultDefinition> faultsWithoutVideo() {
    std::vector<FaultDefinition> faults = simulated::faultDefinitions();
    faults.erase(std::remove_if(faults.begin(), faults.end(),
                                [](const FaultDefinition& fault) { return fault.name.find("video.") == 0; }),
                 faults.end());
    return faults;
}

INSTANTIATE_TEST_SUITE_P(Of, EachFault, testing::ValuesIn(faultsWithoutVideo()), [](const auto& row) {
    std::string name = row.param.name;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
});

TEST_F(AScenario, RefusesAnUnknownFault) {
    EXPECT_EQ(simulated::findFault("key.nothing"), nullptr);
    EXPECT_THROW(simulated::setFault(television, BRIGHTNESS, "key.nothing", 1), std::out_of_range);
    EXPECT_THROW(simulated::fault(television, BRIGHTNESS, "key.nothing"), std::out_of_range);
}

TEST_F(AScenario, KeepsOtherFaultsWhenItSetsOne) {
    simulated::setFault(television, BRIGHTNESS, "key.delay", 20);
    simulated::setFault(television, BRIGHTNESS, "key.repeat", 2);
    EXPECT_EQ(model.faults(BRIGHTNESS).notificationDelay, 20ms);
    EXPECT_EQ(model.faults(BRIGHTNESS).repeatNotifications, 2U);
    EXPECT_EQ(model.faults(CONTRAST).repeatNotifications, 0U);
}

// Events. The second step of each scenario waits for an event that the first step or the test causes.

class AnEvent : public AScenario {
  protected:
    // Plays a step that waits for `event`, and calls `cause` after the step before it.
    void expectOccurs(const std::string& event, const std::function<void()>& cause) {
        std::promise<void> underWay;
        ScenarioPlayer player(
            television,
            parse(step("notify = \"ui_status\"\n") + step("after = { " + event + " }\n" + SET_60)),
            {[&](const ScenarioPlayer::Progress& progress) {
                 if (progress.line == 1) underWay.set_value();
             },
             {}});
        underWay.get_future().wait();
        EXPECT_EQ(valueOf<int>(BRIGHTNESS), 50);
        cause();
        const ScenarioPlayer::Result result = player.wait();
        EXPECT_EQ(result.outcome, Outcome::FINISHED) << result.text;
        EXPECT_EQ(valueOf<int>(BRIGHTNESS), 60);
    }

    // Expects the scenario to time out when `event` does not occur.
    void expectTimeout(const std::string& event, const std::string& described) {
        expectFailed(step("after = { " + event + ", within = 0.02 }\n" + SET_60),
                     "my.toml:1: " + described + " did not occur within 0.02 s");
    }
};

TEST_F(AnEvent, OccursWhenAKeyReachesAValue) {
    const std::string event = "key = \"dovra.sl2.i32.video.contrast\", is = 52";
    expectTimeout(event, "key \"dovra.sl2.i32.video.contrast\", is 52");
    expectOccurs(event, [&] {
        // The event also occurs for a value that the key has only briefly.
        for (const int value : {51, 52, 53}) model.set(CONTRAST, value);
    });
}

TEST_F(AnEvent, OccursAtOnceIfAKeyAlreadyHasTheValue) {
    expectFinished(
        step("after = { key = \"dovra.sl2.i32.video.contrast\", is = 50, within = 0 }\n" + SET_60));
}

TEST_F(AnEvent, OccursWhenAKeyChanges) {
    const std::string event = "changes = \"dovra.sl2.i32.video.contrast\"";
    expectTimeout(event, "changes \"dovra.sl2.i32.video.contrast\"");
    expectOccurs(event, [&] { model.set(CONTRAST, 1); });
}

TEST_F(AnEvent, OccursWhenAClientSubscribes) {
    struct Client : lomodelapi::ObserverNumericInteger {
        void notifyNewValue(int) override {}
        void notifyAvailability(bool) override {}
    } client;
    BizValue* value = nullptr;
    const std::string event = "client = \"dovra.sl2.i32.video.contrast\"";
    expectTimeout(event, "client \"dovra.sl2.i32.video.contrast\"");
    expectOccurs(event, [&] { model.root()->connectValue(CONTRAST, &client, value); });
    expectFinished(step("after = { " + event + ", within = 0 }\n" + SET_60));
    model.root()->disconnectValue(CONTRAST, &client, value);
}

TEST_F(AnEvent, OccursWhenAnApplicationRegisters) {
    expectTimeout("registered = \"aipq\"", "registered \"aipq\"");
    std::optional<Service> service;
    expectOccurs("registered = \"aipq\"", [&] { service.emplace(); });
    expectFinished(step("after = { registered = \"aipq\", within = 0 }\n" + SET_60));
}

TEST_F(AnEvent, OccursWhenAnApplicationReports) {
    Service service;
    expectTimeout("report = 8", "report 8");
    expectOccurs("report = 8", [&] { television.applications().notify(Lifecycle::STR_SUSPEND, ""); });
    model.set(BRIGHTNESS, 50);
    expectOccurs("report = 7, application = \"aipq\"",
                 [&] { television.applications().notify(Lifecycle::STR_SUSPEND, ""); });
    EXPECT_THAT(service.received(), SizeIs(2));
}

TEST_F(AnEvent, OccursWhenTheChannelChanges) {
    expectTimeout("channel = \"any\"", "channel \"any\"");
    expectTimeout("channel = 3", "channel \"3\"");
    expectOccurs("channel = \"any\"", [&] { television.sourceSwitch().selectChannel("2"); });
    model.set(BRIGHTNESS, 50);
    expectOccurs("channel = 3", [&] {
        for (const char* const number : {"4", "3", "5"}) television.sourceSwitch().selectChannel(number);
    });
    expectFinished(step("after = { channel = 5, within = 0 }\n" + SET_60));
}

TEST_F(AnEvent, DoesNotOccurWithoutADeliveredFrame) { expectTimeout("frames = 1", "frames 1"); }

TEST_F(AnEvent, MayBeCausedByThePrecedingStep) {
    expectFinished(
        step("channel = 2\n") + step("after = { channel = \"any\", within = 0 }\n" + SET_60) +
        step("after = { changes = \"dovra.sl2.i32.video.brightness\", within = 0 }\nchannel = 1\n"));
}

TEST_F(AnEvent, OfAnEarlierStepIsIgnored) {
    expectFailed(step("channel = 2\n") + step(SET_60) +
                     step("after = { channel = \"any\", within = 0.02 }\nchannel = 1\n"),
                 "my.toml:6: channel \"any\" did not occur within 0.02 s");
}

// Expectations

TEST_F(AScenario, ExpectsAValueAtOnceOrWithinATime) {
    const std::string expect = "expect = \"dovra.sl2.i32.video.contrast\"\n";
    expectFinished(step(expect + "is = 50\n"));
    expectFailed("\n" + step(expect + "is = 51\n"),
                 "my.toml:2: expected dovra.sl2.i32.video.contrast to be 51, but it is 50");
    expectFailed(step(expect + "is = 51\nwithin = 0.02\n"),
                 "my.toml:1: expected dovra.sl2.i32.video.contrast to be 51 within 0.02 s, but it is 50");
    expectFailed(step("expect = \"dovra.sl2.str.source.current.path\"\nis = \"HDMI1\"\n") + step(SET_60),
                 "my.toml:1: expected dovra.sl2.str.source.current.path to be \"HDMI1\", but it is \"TV\"");
    EXPECT_EQ(valueOf<int>(BRIGHTNESS), 50) << "a scenario ends at its first failure";

    std::promise<void> underWay;
    ScenarioPlayer player(television, parse(step(SET_60) + step(expect + "is = 51\nwithin = 30\n")),
                          {[&](const ScenarioPlayer::Progress& progress) {
                               if (progress.line == 1) underWay.set_value();
                           },
                           {}});
    underWay.get_future().wait();
    model.set(CONTRAST, 51);
    EXPECT_EQ(player.wait().outcome, Outcome::FINISHED);
}

// Playing

TEST_F(AScenario, ReportsItsStepsAndItsResult) {
    std::vector<std::string> reported;
    std::vector<std::size_t> lines;
    ScenarioPlayer player(
        television, parse(step(SET_60) + step("at = 7200\nchannel = 2\n")),
        {[&](const ScenarioPlayer::Progress& progress) {
             reported.push_back(progress.text);
             lines.push_back(progress.line);
             if (progress.line == 4) {
                 EXPECT_GE(progress.time, 7200s);
             }
         },
         [&](const ScenarioPlayer::Result& result) {
             reported.emplace_back(result.outcome == Outcome::FINISHED ? "finished" : "not finished");
         }},
        100'000);
    EXPECT_EQ(player.wait().outcome, Outcome::FINISHED);
    ASSERT_TRUE(player.result());
    EXPECT_EQ(player.result()->text, "");
    EXPECT_THAT(reported,
                ElementsAre("set \"dovra.sl2.i32.video.brightness\", to 60", "channel \"2\"", "finished"));
    EXPECT_THAT(lines, ElementsAre(1, 4));
}

TEST_F(AScenario, WaitsForTheTimesOfItsSteps) {
    const auto start = std::chrono::steady_clock::now();
    expectFinished(step("at = 0.05\n" + SET_60) + step("wait = 0.1\nchannel = 1\n"), 2);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 75ms);
}

TEST_F(AScenario, KeepsItsTimeoutsAtAnySpeed) {
    for (const std::string missed : {"after = { channel = \"any\", within = 0.1 }\nchannel = 1\n",
                                     "expect = \"dovra.sl2.i32.video.contrast\"\nis = 51\nwithin = 0.1\n"}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(play(step(missed), 1'000'000).outcome, Outcome::FAILED) << missed;
        EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms) << missed;
    }
}

// At this speed, an hour ends at once. If the timeout were not scaled, this test would time out itself.
TEST_F(AScenario, ShortensItsTimeoutsIfItScalesItsLimits) {
    const std::string head = "scale_limits = true\n";
    expectFailed(head + step("after = { channel = \"any\", within = 3600 }\nchannel = 1\n"),
                 "my.toml:2: channel \"any\" did not occur within 3600 s", 1'000'000);
    expectFailed(head + step("expect = \"dovra.sl2.i32.video.contrast\"\nis = 51\nwithin = 3600\n"),
                 "my.toml:2: expected dovra.sl2.i32.video.contrast to be 51 within 3600 s, but it is 50",
                 1'000'000);
}

TEST_F(AScenario, RefusesAnInvalidSpeed) {
    for (const double speed : {0.0, -1.0, 2e6, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_THROW(play(step(SET_60), speed), std::invalid_argument);
}

TEST_F(AScenario, CanBeStoppedInEveryWait) {
    for (const std::string wait : {"at = 3600\nchannel = 2\n", "wait = 3600\nchannel = 2\n",
                                   "after = { channel = 3, within = 3600 }\nchannel = 2\n",
                                   "expect = \"dovra.sl2.i32.video.contrast\"\nis = 51\nwithin = 3600\n"}) {
        std::promise<void> underWay;
        ScenarioPlayer player(television, parse(step(SET_60) + step(wait) + step("channel = 2\n")),
                              {[&](const auto&) { underWay.set_value(); }, {}});
        underWay.get_future().wait();
        EXPECT_FALSE(player.result());
        player.stop();
        EXPECT_EQ(player.wait().outcome, Outcome::STOPPED) << wait;
        EXPECT_EQ(television.sourceSwitch().channelNumber(), "1");
    }
}

TEST_F(AScenario, StopsWhenItsPlayerIsDestroyed) {
    bool ended = false;
    {
        const ScenarioPlayer player(television, parse(step("at = 3600\n" + SET_60)),
                                    {{}, [&](const ScenarioPlayer::Result&) { ended = true; }});
    }
    EXPECT_TRUE(ended);
    EXPECT_EQ(valueOf<int>(BRIGHTNESS), 50);
}

// Recording

// A client of the model that records its notifications.
class Client {
  public:
    explicit Client(simulated::Model& model) : m_model(model) {
        connect(m_brightness, "dovra.sl2.i32.video.brightness");
        connect(m_contrast, "dovra.sl2.i32.video.contrast");
        connect(m_source, "dovra.sl2.str.source.current.path");
        connect(m_hdr, HDR_TYPE);
        connect(m_format, VIDEO_FORMAT);
        connect(m_action, "dovra.sl2.action.source.switch");
    }
    ~Client() {
        for (const auto& [name, subscribed] : m_subscriptions)
            m_model.root()->disconnectValue(name, subscribed.first, subscribed.second);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    BizValue& value(const std::string& name) { return *m_subscriptions.at(name).second; }

    std::vector<std::string> received() {
        EXPECT_TRUE(m_model.settle());
        const std::lock_guard lock(m_mutex);
        return m_received;
    }

  private:
    template <typename Base>
    struct Follower : Base {
        explicit Follower(Client& owner) : client(owner) {}
        void notifyAvailability(bool available) override {
            client.record(name + (available ? " offered" : " withdrawn"));
        }
        Client& client;
        std::string name;
    };
    struct Numbers final : Follower<lomodelapi::ObserverNumericInteger> {
        using Follower::Follower;
        void notifyNewValue(int value) override { client.record(name + " = " + std::to_string(value)); }
    };
    struct Texts final : Follower<lomodelapi::ObserverString> {
        using Follower::Follower;
        void notifyNewValue(const std::string& value) override { client.record(name + " = " + value); }
    };
    struct Results final : Follower<lomodelapi::ObserverAction> {
        using Follower::Follower;
        void notifyResult(unsigned, const std::vector<lomodelapi::Argument>& result) override {
            client.record("result of " + std::to_string(result.size()));
        }
        void notifyExecutionError(unsigned, int error) override {
            client.record("error " + std::to_string(error));
        }
    };

    template <typename F>
    void connect(F& follower, const std::string& name) {
        follower.name = name;
        BizValue* value = nullptr;
        EXPECT_EQ(m_model.root()->connectValue(name, &follower, value), 0);
        m_subscriptions[name] = {&follower, value};
    }

    void record(const std::string& what) {
        const std::lock_guard lock(m_mutex);
        m_received.push_back(what);
    }

    simulated::Model& m_model;
    std::map<std::string, std::pair<lomodelapi::Observer*, BizValue*>> m_subscriptions;
    std::mutex m_mutex;
    std::vector<std::string> m_received;
    Numbers m_brightness{*this};
    Numbers m_contrast{*this};
    Texts m_source{*this};
    Texts m_hdr{*this};
    Texts m_format{*this};
    Results m_action{*this};
};

class ARecording : public AScenario {
  protected:
    // Performs operations of clients, users and tools.
    void performOperations(Client& client) {
        client.value(BRIGHTNESS).setInteger(52);
        client.value(BRIGHTNESS).setInteger(54);
        client.value(BRIGHTNESS).setInteger(101);  // refused
        model.set(SOURCE, std::string("HDMI1"));
        simulated::setFault(television, CONTRAST, "key.drop", 2);
        for (const int value : {51, 52, 53}) model.set(CONTRAST, value);
        simulated::setFault(television, BRIGHTNESS, "key.keep_value", 1);
        client.value(BRIGHTNESS).setInteger(70);  // the television announces the old value
        simulated::setFault(television, CONTRAST, "key.withdrawn", 1);
        unsigned id = 0;
        client.value(SWITCH_ACTION).invoke(id, {{0, 1, "8"}, {0, 3, "+1"}, {0, 5, "0"}, {0, 5, "1"}});
        client.value(SWITCH_ACTION).invoke(id, {{0, 1, "8"}, {0, 3, "nowhere"}});
        client.value(SWITCH_ACTION).invoke(id, {{0, 1, "11"}, {0, 3, "7"}});
        television.sourceSwitch().selectChannel("4");
        simulated::setFault(television, "", "notifications.hold", 1);
        television.sourceSwitch().setPlaying(false);
        television.suspend();
        television.resume();
        television.applications().notify(Lifecycle::RESUME_EX, "app://aipq", "a", 3);
        television.applications().notifyOne("aipq", Lifecycle::STR_SUSPENDING, "app://aipq", "", 3);
        clearFaults(television);
    }
};

TEST_F(ARecording, HasCausesWithoutTheirEffects) {
    Service service;
    Client client(model);
    const ScenarioRecorder recorder(television, "A day");
    performOperations(client);
    const Scenario recorded = recorder.scenario();
    EXPECT_EQ(recorded.title, "A day");
    EXPECT_EQ(recorded.video, "off");
    const std::string B = "\"dovra.sl2.i32.video.brightness\"";
    const std::string C = "\"dovra.sl2.i32.video.contrast\"";
    const std::string A = "invoke \"dovra.sl2.action.source.switch\", arguments ";
    EXPECT_THAT(actionsOf(causesOf(recorded)),
                testing::ElementsAreArray(std::vector<std::string>{
                    "set " + B + ", to 52",
                    "set " + B + ", to 54",
                    "set \"dovra.sl2.str.source.current.path\", to \"HDMI1\"",
                    "fault \"key.drop\", key " + C + ", to 2",
                    "set " + C + ", to 51",
                    "set " + C + ", to 52",
                    "set " + C + ", to 53",
                    "fault \"key.keep_value\", key " + B + ", to true",
                    "announce " + B,
                    "fault \"key.withdrawn\", key " + C + ", to true",
                    A + "[[1, \"8\"], [3, \"+1\"], [5, \"0\"], [5, \"1\"]]",
                    A + "[[1, \"8\"], [3, \"nowhere\"]]",
                    A + "[[1, \"11\"], [3, \"7\"]]",
                    "channel \"4\"",
                    "fault \"notifications.hold\", to true",
                    "playing false",
                    "power \"suspend\"",
                    "power \"resume\"",
                    "notify \"resume_ex\", url \"app://aipq\", text \"a\", number 3",
                    "notify \"str_suspending\", application \"aipq\", url \"app://aipq\", number 3",
                    "fault \"key.withdrawn\", key " + C + ", to false",
                    "fault \"key.keep_value\", key " + B + ", to false",
                    "fault \"notifications.hold\", to false",
                }));
}

TEST_F(ARecording, ReplaysTheSameSequence) {
    Scenario first;
    std::vector<std::string> firstReceived;
    std::vector<int> firstStates;
    {
        Service service;
        Client client(model);
        const ScenarioRecorder recorder(television);
        performOperations(client);
        first = recorder.scenario();
        firstReceived = client.received();
        firstStates = service.received();
    }
    EXPECT_THAT(firstReceived, SizeIs(15));
    EXPECT_THAT(firstStates, SizeIs(8));

    television.reset();
    Service service;
    Client client(model);
    const ScenarioRecorder recorder(television);
    expectFinished(formatScenario(first));
    const std::vector<Step> causes = causesOf(first);
    std::vector<Step> again = causesOf(recorder.scenario());
    // The steps before them restored the state at the beginning of the first recording.
    ASSERT_GE(again.size(), causes.size());
    again.erase(again.begin(), again.end() - static_cast<std::ptrdiff_t>(causes.size()));
    EXPECT_EQ(actionsOf(again), actionsOf(causes));
    for (std::size_t i = 0; i < causes.size(); ++i) {
        EXPECT_GE(*again[i].at, *causes[i].at);
        EXPECT_LT(*again[i].at, *causes[i].at + 20s);
    }
    EXPECT_EQ(client.received(), firstReceived);
    EXPECT_EQ(service.received(), firstStates);
}

// The state of a television that a user can observe.
struct TelevisionState {
    explicit TelevisionState(simulated::Television& television)
        : channel(television.sourceSwitch().channelNumber()),
          scene(television.video().programme()),
          playing(television.sourceSwitch().playing()),
          suspended(television.suspended()) {
        for (const simulated::KeyDefinition& key : television.model().keys())
            values[key.name] = describe(television.model().value(key.name));
        for (const simulated::SetFault& fault : simulated::activeFaults(television))
            faults.push_back(describe(fault));
    }
    bool operator==(const TelevisionState&) const = default;

    std::string channel;
    std::string scene;
    bool playing;
    bool suspended;
    std::map<std::string, std::string> values;
    std::vector<std::string> faults;
};

void PrintTo(const TelevisionState& state, std::ostream* out) {
    *out << "channel " << state.channel << ", scene '" << state.scene << "', playing " << state.playing
         << ", suspended " << state.suspended << '\n';
    for (const auto& [key, value] : state.values) *out << key << " = " << value << '\n';
    for (const std::string& fault : state.faults) *out << fault << '\n';
}

TEST_F(ARecording, ReachesTheRecordedFinalStateFromAnyState) {
    television.sourceSwitch().selectChannel("4");
    television.video().showProgramme("snow");
    television.sourceSwitch().setPlaying(false);
    model.set(BRIGHTNESS, 60);
    model.set(VIDEO_FORMAT, std::string("3840x2160p@60"));
    model.set(PQ_SETTING, std::vector<int>(27, 5));
    simulated::setFault(television, CONTRAST, "key.drop", 2);
    simulated::setFault(television, "", "notifications.delay", 70);
    for (const bool suspended : {false, true}) {
        if (suspended) television.suspend();
        const ScenarioRecorder recorder(television);
        model.set("dovra.sl2.i32.video.sharpness", 7);
        const std::string recorded = formatScenario(recorder.scenario());
        const TelevisionState there(television);

        television.reset();
        television.sourceSwitch().selectChannel("2");
        model.set(BRIGHTNESS, 10);
        model.set(CONTRAST, 11);
        simulated::setFault(television, CONTRAST, "key.repeat", 2);
        simulated::setFault(television, "", "notifications.hold", 1);
        television.suspend();
        expectFinished(recorded);
        EXPECT_EQ(TelevisionState(television), there);
        television.resume();
        EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "3840x2160p@60");
    }
}

TEST_F(ARecording, ReachesTheStateAfterARecordedReset) {
    television.sourceSwitch().selectChannel("3");
    television.sourceSwitch().setPlaying(false);
    model.set(BRIGHTNESS, 60);
    simulated::setFault(television, CONTRAST, "key.drop", 2);
    television.suspend();
    const ScenarioRecorder recorder(television);
    television.reset();
    const std::string recorded = formatScenario(recorder.scenario());
    const TelevisionState there(television);
    model.set(BRIGHTNESS, 10);
    expectFinished(recorded);
    EXPECT_EQ(TelevisionState(television), there);
}

TEST_F(ARecording, ReturnsItsTextWhileItGrows) {
    std::string text;
    const std::vector<simulated::KeyDefinition> keys = model.keys();
    const ScenarioRecorder recorder(television, "A day", [&](const std::string& part) {
        text += part;
        EXPECT_NO_THROW(parseScenario(text, "my.toml", keys));
    });
    EXPECT_THAT(text, StartsWith("title = \"A day\"\nvideo = \"off\"\n\n[[step]]\nclear_faults = true\n"));
    EXPECT_EQ(text, formatScenario(recorder.scenario()));
    model.set(BRIGHTNESS, 51);
    television.sourceSwitch().selectChannel("2");
    EXPECT_EQ(text, formatScenario(recorder.scenario()));
    EXPECT_THAT(text, EndsWith("channel = \"2\"\n"));
}

TEST_F(ARecording, ContinuesDuringConcurrentOperations) {
    const ScenarioRecorder recorder(television);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                model.set(BRIGHTNESS, 10 * t + i);
                television.sourceSwitch().selectChannel("+1");
                static_cast<void>(recorder.scenario());
            }
        });
    for (std::thread& thread : threads) thread.join();
    const Scenario recorded = recorder.scenario();
    const auto isChannel = [](const Step& step) {
        return std::holds_alternative<simulated::SelectChannel>(step.action);
    };
    const std::vector<Step> causes = causesOf(recorded);
    EXPECT_EQ(std::count_if(causes.begin(), causes.end(), isChannel), 200);
    EXPECT_TRUE(std::is_sorted(recorded.steps.begin(), recorded.steps.end(),
                               [](const Step& a, const Step& b) { return a.at < b.at; }));
    EXPECT_EQ(actionsOf(parse(formatScenario(recorded))), actionsOf(recorded));
}

}  // namespace
