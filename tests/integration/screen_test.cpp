// The simulated television's page as a browser reaches it: over HTTP.
#include <httplib.h>
#include <turbojpeg.h>

#include <gmock/gmock.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "csp/debug.h"
#include "keys.h"
#include "pipeline_process.h"
#include "platform_adaptation/system_state.h"
#include "screen.h"
#include "television_test.h"

using nlohmann::json;
using simulated::Value;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::chrono_literals;
using namespace tests::keys;

namespace {

constexpr auto LIMIT = 30s;
constexpr char JSON_TYPE[] = "application/json";

struct Answer {
    int status = 0;
    std::string type;
    std::string body;

    json content() const { return json::parse(body); }
    std::string error() const { return content().at("error"); }
};

// What /events sends, read on a thread of its own until its end.
class EventReader {
  public:
    EventReader(int port, unsigned long after)
        : m_client("127.0.0.1", port), m_thread([this, after] { read(after); }) {}
    ~EventReader() {
        // The request may not have begun yet.
        waitForStatus();
        m_client.stop();
        m_thread.join();
    }

    // Whether an event of this name with data that fulfils the condition arrives, or has arrived.
    bool waitFor(const std::string& name, const std::function<bool(const json&)>& condition) {
        const std::string start = "event: " + name + "\ndata: ";
        const auto found = [&] {
            for (const std::string& event : m_events)
                if (event.compare(0, start.size(), start) == 0 &&
                    condition(json::parse(event.substr(start.size()))))
                    return true;
            return false;
        };
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, LIMIT, found);
    }

    // The status of the answer.
    int waitForStatus() {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, LIMIT, [this] { return m_status != 0 || m_ended; });
        return m_status;
    }

    bool waitForEnd() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, LIMIT, [this] { return m_ended; });
    }

  private:
    void read(unsigned long after) {
        m_client.set_read_timeout(LIMIT);
        std::string text;
        m_client.Get(
            "/events?after=" + std::to_string(after),
            [this](const httplib::Response& response) {
                const std::lock_guard lock(m_mutex);
                m_status = response.status;
                m_changed.notify_all();
                return true;
            },
            [&](const char* data, std::size_t size) {
                text.append(data, size);
                const std::lock_guard lock(m_mutex);
                for (std::size_t end; (end = text.find("\n\n")) != std::string::npos; text.erase(0, end + 2))
                    m_events.push_back(text.substr(0, end));
                m_changed.notify_all();
                return true;
            });
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_events;
    int m_status = 0;
    bool m_ended = false;
    httplib::Client m_client;
    std::thread m_thread;  // last: it uses all of the above
};

double meanLuma(const std::string& jpeg) {
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), &tjDestroy);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(jpeg.data());
    int width = 0;
    int height = 0;
    int sampling = 0;
    int space = 0;
    if (tjDecompressHeader3(decoder.get(), bytes, jpeg.size(), &width, &height, &sampling, &space) != 0)
        throw std::runtime_error("no JPEG file");
    std::vector<unsigned char> grey(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    if (tjDecompress2(decoder.get(), bytes, jpeg.size(), grey.data(), width, 0, height, TJPF_GRAY, 0) != 0)
        throw std::runtime_error("a broken JPEG file");
    double sum = 0;
    for (const unsigned char value : grey) sum += value;
    return sum / static_cast<double>(grey.size());
}

class TheScreen : public tests::TelevisionTest {
  protected:
    TheScreen() { client.set_read_timeout(LIMIT); }

    Answer get(const std::string& path, const httplib::Headers& headers = {}) {
        return answerOf(client.Get(path, headers));
    }

    Answer post(const std::string& path, const std::string& body, const httplib::Headers& headers = {},
                const char* type = JSON_TYPE) {
        return answerOf(client.Post(path, headers, body, type));
    }

    Answer post(const std::string& path, const json& wish) { return post(path, wish.dump()); }

    Answer setValue(const std::string& key, const json& value) {
        return post("/value", {{"key", key}, {"value", value}});
    }

    unsigned long lastNumber() { return get("/state").content().at("last"); }

    void startVideo() {
        ASSERT_TRUE(television.video().start()) << television.video().error();
        television.video().showProgramme("bars");
    }

    // Waits for a picture, or the lack of one, that fulfils the condition.
    bool waitForPicture(const std::function<bool(const Answer&)>& condition) {
        const auto limit = std::chrono::steady_clock::now() + LIMIT;
        while (std::chrono::steady_clock::now() < limit)
            if (condition(get("/picture.jpg"))) return true;
        return false;
    }

    static Answer answerOf(const httplib::Result& result) {
        if (!result) {
            ADD_FAILURE() << httplib::to_string(result.error());
            return {};
        }
        return {result->status, result->get_header_value("Content-Type"), result->body};
    }

    television::Screen screen{television, 0};
    httplib::Client client{"127.0.0.1", screen.port()};
};

TEST_F(TheScreen, ServesThePageAndItsParts) {
    EXPECT_THAT(get("/").body, HasSubstr("<!doctype html>"));
    EXPECT_EQ(get("/").type, "text/html; charset=utf-8");
    EXPECT_THAT(get("/screen.css").type, HasSubstr("text/css"));
    EXPECT_THAT(get("/screen.js").type, HasSubstr("text/javascript"));
    EXPECT_EQ(screen.url(), "http://127.0.0.1:" + std::to_string(screen.port()) + "/");
}

TEST_F(TheScreen, LetsThePageLoadNothingFromElsewhere) {
    const auto result = client.Get("/");
    ASSERT_TRUE(result);
    EXPECT_THAT(result->get_header_value("Content-Security-Policy"), HasSubstr("default-src 'self'"));
    EXPECT_EQ(get("/").body.find("//"), std::string::npos);
}

TEST_F(TheScreen, ServesNoFiles) {
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
    // What other tests have defined comes last.
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

TEST_F(TheScreen, RefusesValuesThatDoNotFitAndChangesNothing) {
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

TEST_F(TheScreen, RefusesBodiesThatAreNoWish) {
    for (const char* const body :
         {"", "{", "[]", "7", "null", "{\"key\": \"\xff\"}", R"({"value": 1})", R"({"key": 1, "value": 1})",
          R"({"key": "dovra.sl2.i32.video.brightness"})"}) {
        EXPECT_EQ(post("/value", std::string(body)).status, 400) << body;
    }
    EXPECT_EQ(post("/value", std::string(60'000, '[')).status, 400);
    const Answer tooLong = post("/value", std::string(100'000, ' '));
    EXPECT_EQ(tooLong.status, 413);
    EXPECT_EQ(tooLong.error(), "the body is longer than 64 KiB");
}

TEST_F(TheScreen, AnswersToNamesOfThisMachineOnly) {
    const std::string port = std::string(":").append(std::to_string(screen.port()));
    for (const std::string host : {"localhost", "LOCALHOST", "127.0.0.1", "localhost:9"})
        EXPECT_EQ(get("/state", {{"Host", host}}).status, 200) << host;
    EXPECT_EQ(get("/state", {{"Host", "localhost" + port}}).status, 200);
    for (const std::string host :
         {"example.org", "localhost.example.org", "127.0.0.1.example.org", "", "0.0.0.0"}) {
        for (const std::string path : {"/", "/state", "/picture.jpg", "/events?after=0", "/screen.js"})
            EXPECT_EQ(get(path, {{"Host", host}}).status, 403) << host << path;
        EXPECT_EQ(post("/clear-faults", "{}", {{"Host", host + port}}).status, 403) << host;
    }
}

TEST_F(TheScreen, IsChangedByItsOwnPageOnly) {
    const std::string wish = json{{"key", BRIGHTNESS}, {"value", 60}}.dump();
    const std::string own = "127.0.0.1:" + std::to_string(screen.port());
    for (const std::string origin :
         {"http://example.org", "null", "http://127.0.0.1:1", "https://127.0.0.1", "http://localhost"}) {
        const Answer answer = post("/value", wish, {{"Origin", origin}});
        EXPECT_EQ(answer.status, 403) << origin;
        EXPECT_EQ(answer.error(), "only the television's own page may change it");
    }
    for (const char* const type : {"text/plain", "application/x-www-form-urlencoded", "application/jsonx"})
        EXPECT_EQ(post("/value", wish, {}, type).status, 415) << type;
    EXPECT_EQ(get("/value?key=" + std::string(BRIGHTNESS) + "&value=60").status, 404);
    EXPECT_EQ(model.value(BRIGHTNESS), Value(50));
    EXPECT_EQ(post("/value", wish, {{"Origin", "http://" + own}}, "application/json; charset=utf-8").status,
              200);
    EXPECT_EQ(model.value(BRIGHTNESS), Value(60));
}

TEST_F(TheScreen, DoesNotTakeTheBodyOfARefusedRequestForTheNext) {
    const std::string wish = json{{"key", BRIGHTNESS}, {"value", 60}}.dump();
    const std::string smuggled =
        "POST /value HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n" +
        ("Content-Length: " + std::to_string(wish.size())) + "\r\n\r\n" + wish;
    for (const char* const path : {"/value", "/nothing", "/state"}) {
        EXPECT_THAT(post(path, smuggled, {{"Origin", "http://example.org"}}, "text/plain").status,
                    AnyOf(403, 404));
        // Over the same connection, if it is kept.
        EXPECT_EQ(get("/state").status, 200);
    }
    EXPECT_EQ(model.value(BRIGHTNESS), Value(50));
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

TEST_F(TheScreen, TellsApplicationsOfPowerStates) {
    EXPECT_EQ(post("/power", {{"power", "suspend"}}).content().at("notice"),
              "no application is registered to be told");
    std::vector<TVPowerState> states;
    SystemState service("service");
    service.registerCallBackTVPowerState(
        [](TVPowerState state, void* list) {
            static_cast<std::vector<TVPowerState>*>(list)->push_back(state);
        },
        &states);
    EXPECT_EQ(get("/state").content().at("status").at("applications"), json({"service"}));
    const json powers = get("/state").content().at("powers");
    for (const json& power : powers)
        if (power.at("name") != "resume_from_ram" && power.at("name") != "suspend_to_ram") {
            const Answer answer = post("/power", {{"power", power.at("name")}});
            EXPECT_EQ(answer.content(), json({{"notice", ""}})) << power;
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

TEST_F(TheScreen, RefusesFaultsThatThereAreNot) {
    const auto status = [&](const json& wish) {
        const Answer answer = post("/fault", wish);
        EXPECT_NE(answer.error(), "") << wish;
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

TEST_F(TheScreen, ShowsThePictureAsTheSettingsMakeIt) {
    startVideo();
    ASSERT_TRUE(waitForPicture([](const Answer& answer) { return answer.type == "image/jpeg"; }));
    setValue(BRIGHTNESS, 0);
    EXPECT_TRUE(waitForPicture([](const Answer& answer) { return meanLuma(answer.body) < 30; }));
    setValue(BRIGHTNESS, 100);
    EXPECT_TRUE(waitForPicture([](const Answer& answer) { return meanLuma(answer.body) > 225; }));
    EXPECT_EQ(television.video().delivered(), 0U);
}

TEST_F(TheScreen, SaysWhyThereIsNoPictureUntilThereIsOneAgain) {
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

TEST_F(TheScreen, SaysWhenThePipelineDiesAndWhatFollows) {
    startVideo();
    EventReader reader(screen.port(), lastNumber());
    const auto says = [&reader](const std::string& line) {
        return reader.waitFor("news", [line](const json& news) {
            return news.at("kind") == "video" && news.at("text") == line;
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

TEST_F(TheScreen, TellsOfValuesAsTheyChange) {
    EventReader reader(screen.port(), lastNumber());
    model.set(BRIGHTNESS, 60);
    EXPECT_TRUE(reader.waitFor("news", [](const json& line) {
        return line.at("kind") == "value" && line.value("key", "") == BRIGHTNESS && line.at("value") == 60;
    }));
}

TEST_F(TheScreen, TellsOfTheRestAsItChanges) {
    EventReader reader(screen.port(), lastNumber());
    television.sourceSwitch().selectChannel("2");
    EXPECT_TRUE(reader.waitFor("status", [](const json& status) { return status.at("channel") == 1; }));
    post("/fault", {{"fault", "key.delay"}, {"key", BRIGHTNESS}, {"value", 5}});
    EXPECT_TRUE(reader.waitFor("status", [](const json& status) { return status.at("faults").size() == 1; }));
    EXPECT_TRUE(reader.waitFor("news", [](const json& line) { return line.at("kind") == "fault"; }));
}

TEST_F(TheScreen, ShowsTheLog) {
    EventReader reader(screen.port(), lastNumber());
    cspDebugOutput0(tests::ERROR, "broken %d \xff\n", 7);
    EXPECT_TRUE(reader.waitFor("news", [](const json& line) {
        return line.at("kind") == "error" && line.at("text") == "broken 7 \xef\xbf\xbd";
    }));
    post("/remote", {{"channel", "77"}});
    EXPECT_TRUE(reader.waitFor("news", [](const json& line) { return line.at("kind") == "refused"; }));
    // Whoever opens the page later sees it, too.
    EXPECT_THAT(get("/state").body, HasSubstr("broken 7"));
}

TEST_F(TheScreen, SaysSoIfWhatHappenedCannotAllBeTold) {
    EventReader early(screen.port(), 0);
    ASSERT_EQ(early.waitForStatus(), 200);
    const unsigned long first = lastNumber();
    for (int i = 0; i < 300; ++i) {
        model.set(BRIGHTNESS, 10);
        model.set(BRIGHTNESS, 20);
    }
    EventReader late(screen.port(), first);
    EXPECT_TRUE(late.waitFor("missed", [](const json&) { return true; }));
    // The number of a television that was there before.
    EventReader restarted(screen.port(), 1'000'000);
    EXPECT_TRUE(restarted.waitFor("missed", [](const json&) { return true; }));
    EXPECT_EQ(get("/events").status, 400);
    EXPECT_EQ(get("/events?after=x").status, 400);
}

TEST_F(TheScreen, ServesPagesWhileItsStreamsAreAllTaken) {
    std::vector<std::unique_ptr<EventReader>> readers;
    for (int i = 0; i < 12; ++i) {
        readers.push_back(std::make_unique<EventReader>(screen.port(), 0));
        EXPECT_EQ(readers.back()->waitForStatus(), 200);
    }
    const Answer refused = get("/events?after=0");
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.error(), "the page is open too often: close some of its tabs");
    EXPECT_EQ(get("/").status, 200);

    // A stream that its browser has left is free again.
    readers.pop_back();
    const auto limit = std::chrono::steady_clock::now() + LIMIT;
    int status = 503;
    while (status == 503 && std::chrono::steady_clock::now() < limit) {
        model.set(BRIGHTNESS, model.value(BRIGHTNESS) == Value(10) ? 20 : 10);
        EventReader another(screen.port(), 0);
        status = another.waitForStatus();
    }
    EXPECT_EQ(status, 200);
}

TEST_F(TheScreen, EndsWhileItIsLookedAt) {
    auto second = std::make_unique<television::Screen>(television, 0);
    EventReader reader(second->port(), 0);
    ASSERT_EQ(reader.waitForStatus(), 200);
    second.reset();
    EXPECT_TRUE(reader.waitForEnd());
}

TEST_F(TheScreen, TakesNoPortThatIsTaken) {
    try {
        const television::Screen second(television, screen.port());
        FAIL() << "two screens at one port";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "the screen cannot be served at port " +
                                                 std::to_string(screen.port()) + ": Address already in use");
    }
    EXPECT_EQ(get("/").status, 200);
}

TEST_F(TheScreen, ShowsWhatIsNoText) {
    model.set(SOURCE, std::string("\xff\x01<script>"));
    const Answer state = get("/state");
    EXPECT_EQ(state.status, 200);
    EXPECT_THAT(state.body, HasSubstr("\xef\xbf\xbd\\u0001<script>"));
    EXPECT_EQ(state.type, JSON_TYPE);
}

}  // namespace
