// The content and the operations of the simulated television's page.
#include <gmock/gmock.h>

#include <cstdlib>
#include <limits>
#include <map>

#include "csp/debug.h"
#include "keys.h"
#include "pipeline_process.h"
#include "platform_adaptation/system_state.h"
#include "screen_fixture.h"

using nlohmann::json;
using simulated::Value;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using tests::Answer;
using tests::EventReader;
using tests::JSON_TYPE;
using tests::meanLuma;
using tests::TheScreen;
using namespace std::chrono_literals;
using namespace tests::keys;

namespace {

TEST_F(TheScreen, ServesThePageAndItsParts) {
    EXPECT_THAT(get("/").body, HasSubstr("<!doctype html>"));
    EXPECT_EQ(get("/").type, "text/html; charset=utf-8");
    EXPECT_THAT(get("/screen.css").type, HasSubstr("text/css"));
    EXPECT_THAT(get("/main.js").type, HasSubstr("text/javascript"));
    EXPECT_THAT(screen.url(),
                MatchesRegex("http://127.0.0.1:" + std::to_string(screen.port()) + "/.token=[0-9a-f]{32}"));
    EXPECT_EQ(get("/state").content().at("name"), "living-room");
}

TEST_F(TheScreen, LetsThePageLoadOnlyItsOwnFiles) {
    const auto result = client.Get("/");
    ASSERT_TRUE(result);
    EXPECT_THAT(result->get_header_value("Content-Security-Policy"), HasSubstr("default-src 'self'"));
    EXPECT_EQ(get("/").body.find("//"), std::string::npos);
}

TEST_F(TheScreen, ServesNoFilesOfTheFileSystem) {
    for (const char* const path : {"/nothing", "/../../etc/passwd", "/..%2f..%2fetc%2fpasswd",
                                   "/page/index.html", "//etc/passwd", "/screen.css/", "/screenXcss"}) {
        const Answer answer = get(path);
        EXPECT_EQ(answer.status, 404) << path;
        EXPECT_EQ(answer.error(), "there is nothing at this address");
    }
}

TEST_F(TheScreen, ListsTheKeysInTheOrderOfTheCatalogue) {
    const json keys = get("/state").content().at("keys");
    EXPECT_EQ(keys.size(), model.keys().size());
    EXPECT_EQ(keys.at(0).at("name"), "dovra.sl2.i32.video.ai.pq.switch");
    std::vector<std::string> groups;
    for (const json& key : keys) {
        if (groups.empty() || groups.back() != key.at("group")) groups.push_back(key.at("group"));
        if (key.at("name") != BRIGHTNESS) continue;
        EXPECT_EQ(key.at("type"), "integer");
        EXPECT_EQ(key.at("range"), json({0, 100}));
        EXPECT_EQ(key.at("meaning"), "Brightness");
        EXPECT_EQ(key.at("value"), 50);
    }
    // The keys that other tests defined come last.
    groups.resize(4);
    EXPECT_THAT(groups,
                ElementsAre("System information", "Picture settings", "Source switching", "Channels"));
}

TEST_F(TheScreen, SetsValuesOfEveryType) {
    model.define({"Test", "wide", lomodelapi::OBJECT_TYPE_NUMERIC_INT64, 0LL, {}, "A wide number"});
    EXPECT_EQ(setValue(BRIGHTNESS, 60).status, 200);
    EXPECT_EQ(model.value(BRIGHTNESS), Value(60));
    EXPECT_EQ(setValue(BRIGHTNESS, "61").status, 200);
    EXPECT_EQ(model.value(BRIGHTNESS), Value(61));
    EXPECT_EQ(setValue("wide", "9007199254740993").status, 200);
    EXPECT_EQ(model.value("wide"), Value(9007199254740993LL));
    EXPECT_EQ(setValue(SOURCE, "HDMI1").status, 200);
    EXPECT_EQ(model.value(SOURCE), Value(std::string("HDMI1")));
    EXPECT_EQ(setValue(PQ_SETTING, {1, "2", -3}).status, 200);
    EXPECT_EQ(model.value(PQ_SETTING), Value(std::vector<int>{1, 2, -3}));
    EXPECT_EQ(setValue(PLAY_ATTRIBUTES, {"play", "<b>"}).status, 200);
    EXPECT_EQ(model.value(PLAY_ATTRIBUTES), Value(std::vector<std::string>{"play", "<b>"}));
}

TEST_F(TheScreen, RejectsInvalidValuesAndChangesNothing) {
    struct Row {
        const char* key;
        json value;
        int status;
        const char* error;
    };
    const std::vector<Row> rows{
        {BRIGHTNESS, 101, 422, "takes a whole number from 0 to 100"},
        {BRIGHTNESS, -1, 422, "takes a whole number from 0 to 100"},
        {BRIGHTNESS, 50.5, 422, "takes a whole number from 0 to 100"},
        {BRIGHTNESS, "fifty", 422, "takes a whole number from 0 to 100"},
        {BRIGHTNESS, "", 422, "takes a whole number from 0 to 100"},
        {BRIGHTNESS, nullptr, 422, "takes a whole number from 0 to 100"},
        {BRIGHTNESS, std::numeric_limits<std::uint64_t>::max(), 422, "from 0 to 100"},
        {"dovra.sl2.i32.tvservice.no-banner", 2147483648, 422, "from -2147483648 to 2147483647"},
        {SOURCE, 3, 422, "takes a text"},
        {PQ_SETTING, "1, 2", 422, "takes a list"},
        {PQ_SETTING, {1, 2147483648}, 422, "each element"},
        {PLAY_ATTRIBUTES, {"play", 1}, 422, "takes a text"},
        {SWITCH_ACTION, 1, 422, "has no value"},
        {"no.such.key", 1, 404, "the model has no key 'no.such.key'"},
    };
    std::vector<Value> before;
    for (const simulated::KeyDefinition& key : model.keys()) before.push_back(model.value(key.name));
    for (const Row& row : rows) {
        const Answer answer = setValue(row.key, row.value);
        EXPECT_EQ(answer.status, row.status) << row.key << ' ' << row.value;
        EXPECT_THAT(answer.error(), HasSubstr(row.error)) << row.key << ' ' << row.value;
    }
    std::vector<Value> after;
    for (const simulated::KeyDefinition& key : model.keys()) after.push_back(model.value(key.name));
    EXPECT_EQ(after, before);
}

TEST_F(TheScreen, RejectsInvalidRequestBodies) {
    for (const char* const body :
         {"", "{", "[]", "7", "null", "{\"key\": \"\xff\"}", R"({"value": 1})", R"({"key": 1, "value": 1})",
          R"({"key": "dovra.sl2.i32.video.brightness"})"}) {
        EXPECT_EQ(post("/value", std::string(body)).status, 400) << body;
    }
    EXPECT_EQ(post("/value", std::string(60'000, '[')).status, 400);
    const Answer tooLong = post("/value", std::string(300'000, ' '));
    EXPECT_EQ(tooLong.status, 413);
    EXPECT_EQ(tooLong.error(), "the body is longer than 256 KiB");
}

TEST_F(TheScreen, ChangesChannelsLikeTheRemoteControl) {
    EXPECT_EQ(post("/remote", {{"channel", "3"}}).status, 200);
    EXPECT_EQ(television.sourceSwitch().channel(), 2U);
    EXPECT_EQ(post("/remote", {{"channel", "+1"}}).status, 200);
    EXPECT_EQ(television.sourceSwitch().channel(), 3U);
    EXPECT_EQ(post("/remote", {{"channel", "-1"}}).status, 200);
    EXPECT_EQ(get("/state").content().at("status").at("channel"), 2);
    const Answer unknown = post("/remote", {{"channel", "77"}});
    EXPECT_EQ(unknown.status, 404);
    EXPECT_EQ(unknown.error(), "there is no channel '77'");
    EXPECT_EQ(post("/remote", {{"playing", false}}).status, 200);
    EXPECT_FALSE(television.sourceSwitch().playing());
    EXPECT_EQ(post("/remote", {{"playing", true}}).status, 200);
    EXPECT_TRUE(television.sourceSwitch().playing());
    EXPECT_EQ(post("/remote", {{"playing", "no"}}).status, 400);
    EXPECT_EQ(post("/remote", json::object()).status, 400);
}

TEST_F(TheScreen, NotifiesApplicationsOfPowerStates) {
    EXPECT_EQ(post("/power", {{"power", "suspend"}}).content().at("notice"),
              "no application is registered for notifications");
    std::vector<TVPowerState> states;
    SystemState service("service");
    service.registerCallBackTVPowerState(
        [](TVPowerState state, void* list) {
            static_cast<std::vector<TVPowerState>*>(list)->push_back(state);
        },
        &states);
    EXPECT_EQ(get("/state").content().at("status").at("applications"), json({"service"}));
    const json notifications = get("/state").content().at("notifications");
    for (const json& notification : notifications) {
        EXPECT_NE(notification.at("hint"), "");
        const Answer answer = post("/power", {{"power", notification.at("name")}});
        EXPECT_EQ(answer.content(), json({{"notice", ""}})) << notification;
    }
    EXPECT_TRUE(television.applications().settle());
    EXPECT_THAT(states, ElementsAre(TV_POWER_STATE_RUNNING, TV_POWER_STATE_SUSPEND, TV_POWER_STATE_RESUME,
                                    TV_POWER_STATE_SUSPEND_EX, TV_POWER_STATE_RESUME_EX));
    const Answer unknown = post("/power", {{"power", "explode"}});
    EXPECT_EQ(unknown.status, 404);
    EXPECT_EQ(unknown.error(), "there is no power state 'explode'");
}

TEST_F(TheScreen, SuspendsToRamAndWakesUp) {
    EXPECT_EQ(post("/power", {{"power", "resume_from_ram"}}).status, 409);
    EXPECT_EQ(post("/power", {{"power", "suspend_to_ram"}}).status, 200);
    EXPECT_TRUE(television.suspended());
    EXPECT_EQ(get("/state").content().at("status").at("suspended"), true);
    EXPECT_EQ(post("/power", {{"power", "suspend_to_ram"}}).status, 409);
    EXPECT_EQ(post("/power", {{"power", "resume_from_ram"}}).status, 200);
    EXPECT_FALSE(television.suspended());
}

TEST_F(TheScreen, SetsFaultsAndClearsThem) {
    EXPECT_EQ(post("/fault", {{"fault", "key.delay"}, {"key", BRIGHTNESS}, {"value", 500}}).status, 200);
    EXPECT_EQ(post("/fault", {{"fault", "framework.status"}, {"value", "7"}}).status, 200);
    EXPECT_EQ(model.faults(BRIGHTNESS).notificationDelay, 500ms);
    EXPECT_EQ(television.framework().lookupStatus(), 7);
    const json faults = get("/state").content().at("status").at("faults");
    EXPECT_EQ(faults, json({{{"name", "key.delay"}, {"key", BRIGHTNESS}, {"value", 500}},
                            {{"name", "framework.status"}, {"key", ""}, {"value", 7}}}));
    EXPECT_EQ(post("/clear-faults", json::object()).status, 200);
    EXPECT_EQ(get("/state").content().at("status").at("faults"), json::array());
    EXPECT_EQ(television.framework().lookupStatus(), 0);
}

TEST_F(TheScreen, RejectsUnknownFaults) {
    const auto status = [&](const json& body) {
        const Answer answer = post("/fault", body);
        EXPECT_NE(answer.error(), "") << body;
        return answer.status;
    };
    EXPECT_EQ(status({{"fault", "key.none"}, {"key", BRIGHTNESS}, {"value", 1}}), 404);
    EXPECT_EQ(status({{"fault", "key.delay"}, {"key", "no.such.key"}, {"value", 1}}), 404);
    EXPECT_EQ(status({{"fault", "key.delay"}, {"value", 1}}), 422);
    EXPECT_EQ(status({{"fault", "framework.status"}, {"key", BRIGHTNESS}, {"value", 1}}), 422);
    EXPECT_EQ(status({{"fault", "key.delay"}, {"key", BRIGHTNESS}, {"value", -1}}), 422);
    EXPECT_EQ(status({{"fault", "key.delay"}, {"key", BRIGHTNESS}, {"value", "soon"}}), 422);
    EXPECT_EQ(status({{"fault", "key.delay"}, {"key", BRIGHTNESS}}), 400);
    EXPECT_EQ(status({{"fault", "video.killed"}, {"value", 1}}), 409);
    EXPECT_EQ(get("/state").content().at("status").at("faults"), json::array());
}

TEST_F(TheScreen, ShowsThePictureWithItsSettings) {
    startVideo();
    ASSERT_TRUE(waitForPicture([](const Answer& answer) { return answer.type == "image/jpeg"; }));
    setValue(BRIGHTNESS, 0);
    EXPECT_TRUE(waitForPicture([](const Answer& answer) { return meanLuma(answer.body) < 30; }));
    setValue(BRIGHTNESS, 100);
    EXPECT_TRUE(waitForPicture([](const Answer& answer) { return meanLuma(answer.body) > 225; }));
    EXPECT_EQ(television.video().delivered(), 0U);
}

TEST_F(TheScreen, ReportsWhyThereIsNoPicture) {
    const auto isPicture = [](const Answer& answer) { return answer.status == 200; };
    const auto lacksPicture = [](const std::string& reason) {
        return [reason](const Answer& answer) { return answer.status == 503 && answer.error() == reason; };
    };
    EXPECT_TRUE(waitForPicture(lacksPicture("the video pipeline is off")));
    EXPECT_EQ(post("/video", {{"on", true}}).status, 200);
    EXPECT_TRUE(waitForPicture(isPicture));

    post("/fault", {{"fault", "video.killed"}, {"value", 1}});
    EXPECT_TRUE(waitForPicture(lacksPicture("the video pipeline died")));
    post("/fault", {{"fault", "video.killed"}, {"value", 0}});
    EXPECT_TRUE(waitForPicture(isPicture));

    post("/fault", {{"fault", "video.stalled"}, {"value", 1}});
    EXPECT_TRUE(waitForPicture(lacksPicture("the video pipeline does not answer")));
    post("/fault", {{"fault", "video.stalled"}, {"value", 0}});
    EXPECT_TRUE(waitForPicture(isPicture));

    EXPECT_EQ(post("/video", {{"on", false}}).status, 200);
    EXPECT_TRUE(waitForPicture(lacksPicture("the video pipeline is off")));
    EXPECT_EQ(post("/video", {{"on", 1}}).status, 400);
}

TEST_F(TheScreen, ReportsADeadPipelineAndItsRestart) {
    startVideo();
    EventReader reader(screen, lastNumber());
    const auto says = [&reader](const std::string& line) {
        return reader.waitFor("log", [line](const json& message) {
            return message.at("kind") == "video" && message.at("text") == line;
        });
    };
    const auto lacksPicture = [](const std::string& reason) {
        return [reason](const Answer& answer) { return answer.status == 503 && answer.error() == reason; };
    };
    const std::string died = "the video pipeline died (signal 9, Killed)";
    television.video().setRestarts({{1ms}});
    ASSERT_TRUE(tests::crashPipelineOf());
    EXPECT_TRUE(says(died + "; next try in 0.001 s (1 of 1)"));
    EXPECT_TRUE(says("the video pipeline runs again"));
    EXPECT_TRUE(waitForPicture([](const Answer& answer) { return answer.status == 200; }));
    ASSERT_TRUE(tests::crashPipelineOf());
    const std::string givenUp = died + "; given up after 1 tries: switch the video on again";
    EXPECT_TRUE(says(givenUp));
    EXPECT_TRUE(reader.waitFor("status", [](const json& status) { return status.at("video") == false; }));
    EXPECT_TRUE(waitForPicture(lacksPicture(givenUp)));
    EXPECT_EQ(post("/video", {{"on", true}}).status, 200);
    EXPECT_TRUE(waitForPicture([](const Answer& answer) { return answer.status == 200; }));
}

TEST_F(TheScreen, SendsEachValueChange) {
    EventReader reader(screen, lastNumber());
    model.set(BRIGHTNESS, 60);
    EXPECT_TRUE(reader.waitFor("log", [](const json& line) {
        return line.at("kind") == "value" && line.value("key", "") == BRIGHTNESS && line.at("value") == 60;
    }));
}

TEST_F(TheScreen, SendsEachStatusChange) {
    EventReader reader(screen, lastNumber());
    television.sourceSwitch().selectChannel("2");
    EXPECT_TRUE(reader.waitFor("status", [](const json& status) { return status.at("channel") == 1; }));
    post("/fault", {{"fault", "key.delay"}, {"key", BRIGHTNESS}, {"value", 5}});
    EXPECT_TRUE(reader.waitFor("status", [](const json& status) { return status.at("faults").size() == 1; }));
    EXPECT_TRUE(reader.waitFor("log", [](const json& line) { return line.at("kind") == "fault"; }));
}

TEST_F(TheScreen, ShowsTheLog) {
    EventReader reader(screen, lastNumber());
    cspDebugOutput0(tests::ERROR, "broken %d \xff\n", 7);
    EXPECT_TRUE(reader.waitFor("log", [](const json& line) {
        return line.at("kind") == "error" && line.at("text") == "broken 7 \xef\xbf\xbd";
    }));
    post("/remote", {{"channel", "77"}});
    EXPECT_TRUE(reader.waitFor("log", [](const json& line) { return line.at("kind") == "refused"; }));
    // A page that is opened later shows it, too.
    EXPECT_THAT(get("/state").body, HasSubstr("broken 7"));
}

TEST_F(TheScreen, ReportsMissedEvents) {
    EventReader early(screen, 0);
    ASSERT_EQ(early.waitForStatus(), 200);
    const unsigned long first = lastNumber();
    for (int i = 0; i < 300; ++i) {
        model.set(BRIGHTNESS, 10);
        model.set(BRIGHTNESS, 20);
    }
    EventReader late(screen, first);
    EXPECT_TRUE(late.waitFor("missed", [](const json&) { return true; }));
    // This number belongs to an earlier run of the television.
    EventReader restarted(screen, 1'000'000);
    EXPECT_TRUE(restarted.waitFor("missed", [](const json&) { return true; }));
    EXPECT_EQ(get("/events").status, 400);
    EXPECT_EQ(get("/events?after=x").status, 400);
}

TEST_F(TheScreen, ReplacesInvalidUtf8) {
    model.set(SOURCE, std::string("\xff\x01<script>"));
    const Answer state = get("/state");
    EXPECT_EQ(state.status, 200);
    EXPECT_THAT(state.body, HasSubstr("\xef\xbf\xbd\\u0001<script>"));
    EXPECT_EQ(state.type, JSON_TYPE);
}

TEST_F(TheScreen, SendsAPictureOnlyIfItHasChanged) {
    startVideo();
    ASSERT_TRUE(waitForPicture([](const Answer& answer) { return answer.type == "image/jpeg"; }));
    post("/remote", {{"playing", false}});
    const auto comesAgain = [this](const Answer&) {
        const auto first = client.Get("/picture.jpg");
        const auto second = client.Get("/picture.jpg", {{"If-None-Match", first->get_header_value("ETag")}});
        return second->status == 304 && second->body.empty();
    };
    EXPECT_TRUE(waitForPicture(comesAgain));
    const auto other = client.Get("/picture.jpg", {{"If-None-Match", "\"0\""}});
    EXPECT_EQ(other->status, 200);
    EXPECT_NE(other->body, "");
}

TEST_F(TheScreen, ShowsADifferentPictureForEachSource) {
    startVideo();
    const auto pictureOf = [this](const std::string& source) {
        EXPECT_EQ(setValue(SOURCE, source).status, 200);
        // A picture that was drawn before this command may still be cached.
        EXPECT_TRUE(television.video().command("play"));
        std::vector<unsigned char> luma;
        for (int i = 0; i < 2; ++i) {
            const auto tag = client.Get("/picture.jpg")->get_header_value("ETag");
            EXPECT_TRUE(waitForPicture([&](const Answer& answer) {
                luma = answer.status == 200 ? tests::lumaOf(answer.body) : luma;
                return answer.status == 200 && client.Get("/picture.jpg")->get_header_value("ETag") != tag;
            }));
        }
        return luma;
    };
    std::map<std::string, std::vector<unsigned char>> pictures;
    for (const char* const source : {"TV", "HDMI1", "HDMI2", "HDMI3", "HDMI4", "HDMI5", "HDMI6", "AVS", "dmp",
                                     "miracast", "youtube", "netflix", "amazon", "browser"})
        pictures[source] = pictureOf(source);
    for (auto a = pictures.begin(); a != pictures.end(); ++a) {
        for (auto b = std::next(a); b != pictures.end(); ++b) {
            int differing = 0;
            for (std::size_t i = 0; i < a->second.size(); ++i)
                differing += std::abs(a->second[i] - b->second[i]) > 60 ? 1 : 0;
            EXPECT_GT(differing, static_cast<int>(a->second.size() / 200)) << a->first << ' ' << b->first;
        }
    }
    // A source name that contains a pipeline command does not reach the pipeline as a command.
    EXPECT_NE(pictureOf("<b>\nscene night"), pictures["TV"]);
    EXPECT_TRUE(television.video().running());
}

TEST_F(TheScreen, ShowsAFilmAndKeepsThePictureOnFailure) {
    startVideo();
    const auto isPicture = [](const Answer& answer) { return answer.status == 200; };
    ASSERT_TRUE(waitForPicture(isPicture));
    const Answer missing = post("/film", {{"film", "/no/film.mp4"}});
    EXPECT_EQ(missing.status, 422);
    EXPECT_EQ(missing.error(), "the film /no/film.mp4 cannot be read: No such file or directory");
    EXPECT_TRUE(television.video().running());
    EXPECT_EQ(post("/film", {{"film", "/proc/self/exe"}}).status, 409);
    EXPECT_TRUE(waitForPicture(isPicture));
    EXPECT_EQ(television.video().clip(), "");
    EXPECT_EQ(post("/film", {{"film", ""}}).status, 200);
    EXPECT_EQ(post("/film", json::object()).status, 400);
}

TEST_F(TheScreen, ResetsTheTelevision) {
    startVideo();
    setValue(BRIGHTNESS, 90);
    post("/fault", {{"fault", "video.stalled"}, {"value", 1}});
    post("/fault", {{"fault", "key.delay"}, {"key", BRIGHTNESS}, {"value", 500}});
    EXPECT_EQ(post("/reset", json::object()).content().at("notice"), "the television is reset");
    EXPECT_EQ(model.value(BRIGHTNESS), Value(50));
    EXPECT_EQ(get("/state").content().at("status").at("faults"), json::array());
    EXPECT_TRUE(waitForPicture([](const Answer& answer) { return answer.status == 200; }));
}

TEST_F(TheScreen, PlaysAScenario) {
    EventReader reader(screen, lastNumber());
    const auto says = [&reader](const std::string& text) {
        return reader.waitFor("log", [text](const json& line) {
            return line.at("kind") == "scenario" && line.at("text") == text;
        });
    };
    const json lasting{{"name", "long.toml"}, {"text", "[[step]]\nat = 1000\nplaying = true\n"}};
    EXPECT_EQ(post("/stop-scenario", json::object()).error(), "no scenario plays");
    EXPECT_EQ(post("/scenario", lasting).status, 200);
    EXPECT_TRUE(says("long.toml plays"));
    EXPECT_EQ(get("/state").content().at("status").at("scenario"), true);
    const Answer second = post("/scenario", lasting);
    EXPECT_EQ(second.status, 409);
    EXPECT_EQ(second.error(), "a scenario is already playing");
    EXPECT_EQ(post("/stop-scenario", json::object()).status, 200);
    EXPECT_TRUE(says("the scenario was stopped"));

    const std::string text = "[[step]]\nset = \"" + std::string(BRIGHTNESS) + "\"\nto = 70\n";
    EXPECT_EQ(post("/scenario", {{"name", "short.toml"}, {"text", text}}).status, 200);
    EXPECT_TRUE(says("the scenario has ended"));
    EXPECT_EQ(model.value(BRIGHTNESS), Value(70));
    const Answer broken = post("/scenario", {{"name", "broken.toml"}, {"text", "[[step]]\nset = 1\n"}});
    EXPECT_EQ(broken.status, 422);
    EXPECT_THAT(broken.error(), HasSubstr("broken.toml:2:"));
}

TEST_F(TheScreen, RecordsAScenario) {
    EXPECT_EQ(get("/recording").error(), "nothing has been recorded");
    EXPECT_EQ(post("/record", {{"on", false}}).error(), "the page is not recording");
    EXPECT_EQ(post("/record", {{"on", true}}).status, 200);
    EXPECT_EQ(post("/record", {{"on", true}}).error(), "the page is already recording");
    EXPECT_EQ(get("/state").content().at("status").at("recording"), true);
    setValue(BRIGHTNESS, 65);
    EXPECT_THAT(get("/recording").body, HasSubstr("to = 65"));
    EXPECT_EQ(post("/record", {{"on", false}}).status, 200);
    setValue(BRIGHTNESS, 66);
    const std::string recorded = get("/recording").body;
    EXPECT_THAT(recorded, AllOf(HasSubstr("to = 65"), Not(HasSubstr("to = 66"))));
    EXPECT_EQ(post("/scenario", {{"name", "recorded.toml"}, {"text", recorded}}).status, 200);
}

}  // namespace
