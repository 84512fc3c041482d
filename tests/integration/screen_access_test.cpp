// Access control of the simulated television's page, and its behaviour with slow and hostile clients.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "keys.h"
#include "screen_fixture.h"

using nlohmann::json;
using simulated::Value;
using testing::AllOf;
using testing::AnyOf;
using testing::EndsWith;
using testing::Gt;
using testing::HasSubstr;
using testing::Lt;
using tests::Answer;
using tests::EventReader;
using tests::LIMIT;
using tests::TheScreen;
using namespace std::chrono_literals;
using namespace tests::keys;

namespace {

constexpr const char* READS[] = {"/",          "/main.js",     "/screen.css",     "/state",
                                 "/recording", "/picture.jpg", "/events?after=0", "/nothing"};
constexpr const char* CHANGES[] = {"/value",        "/remote",        "/power", "/fault",
                                   "/clear-faults", "/video",         "/film",  "/reset",
                                   "/scenario",     "/stop-scenario", "/record"};

// A connection to the page that is read and written byte by byte.
class RawConnection {
  public:
    explicit RawConnection(const television::Screen& screen) : m_socket(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(screen.port()));
        ::inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
        EXPECT_EQ(::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~RawConnection() { ::close(m_socket); }
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    void send(const std::string& text) const { ::send(m_socket, text.data(), text.size(), MSG_NOSIGNAL); }
    // Returns whether the page has closed the connection, or closes it within this time.
    bool isClosedWithin(std::chrono::milliseconds time) const {
        pollfd fd{m_socket, POLLIN, 0};
        char byte = 0;
        return ::poll(&fd, 1, static_cast<int>(time.count())) == 1 && ::recv(m_socket, &byte, 1, 0) <= 0;
    }

  private:
    const int m_socket;
};

std::string pathOf(const std::string& url) { return url.substr(url.find("/?")); }

TEST_F(TheScreen, RequiresItsToken) {
    httplib::Client stranger("127.0.0.1", screen.port());
    const std::string port = std::to_string(screen.port());
    const std::string token = cookie().substr(cookie().find('=') + 1);
    const std::string problem =
        "the television's token is missing: open the whole address that aipq-television printed";
    const std::vector<httplib::Headers> headers{
        {},
        {{"Cookie", "aipq-television-" + port + "="}},
        {{"Cookie", "aipq-television-" + port + "=" + token.substr(1)}},
        {{"Cookie", "aipq-television-" + port + "=" + token + "0"}},
        {{"Cookie", "aipq-television-" + port + "=" + television::newToken()}},
        {{"Cookie", "aipq-television-1=" + token}},
        {{"Cookie", "x-aipq-television-" + port + "=" + token}},
        {{"Cookie", token}},
    };
    for (const httplib::Headers& each : headers) {
        for (const char* const path : READS)
            EXPECT_EQ(answerOf(stranger.Get(path, each)).status, 403) << path;
        for (const char* const path : CHANGES)
            EXPECT_EQ(answerOf(stranger.Post(path, each, "{}", "application/json")).error(), problem) << path;
    }
    for (const char* const path : {"/?token=", "/?token=0", "/?Token=x"})
        EXPECT_EQ(answerOf(stranger.Get(path)).status, 403) << path;
    const Answer page = answerOf(stranger.Get("/"));
    EXPECT_EQ(page.body, problem + "\n");
    EXPECT_EQ(page.type, "text/plain; charset=utf-8");
    EXPECT_EQ(answerOf(stranger.Get("/state")).error(), problem);
    // Rejected requests do not fill the log.
    EXPECT_EQ(get("/state").content().at("log"), json::array());
}

TEST_F(TheScreen, GivesACookieToABrowserWithTheToken) {
    httplib::Client browser("127.0.0.1", screen.port());
    const auto page = browser.Get(pathOf(screen.url()));
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    const std::string given = page->get_header_value("Set-Cookie");
    EXPECT_THAT(given, EndsWith("; Path=/; HttpOnly; SameSite=Strict"));
    // The browser also sends other cookies of this machine, and the address has no token.
    const httplib::Headers cookies{{"Cookie", "a=1; " + given.substr(0, given.find(';')) + "; b=2"}};
    for (const char* const path : {"/", "/main.js", "/state"})
        EXPECT_EQ(answerOf(browser.Get(path, cookies)).status, 200) << path;
    // A script can use the token in the address.
    EXPECT_EQ(answerOf(browser.Get("/state" + pathOf(screen.url()).substr(1))).status, 200);
}

TEST(AToken, IsDifferentEachTime) {
    EXPECT_TRUE(television::isToken(television::newToken()));
    EXPECT_NE(television::newToken(), television::newToken());
    for (const std::string text :
         {"", "0123", "0123456789abcdef0123456789abcdeg", "0123456789ABCDEF0123456789ABCDEF"})
        EXPECT_FALSE(television::isToken(text)) << text;
}

TEST_F(TheScreen, AnswersWhileSixtyConnectionsAreSlow) {
    std::vector<std::unique_ptr<RawConnection>> slow;
    const std::string host = "Host: localhost\r\nCookie: " + cookie() + "\r\n";
    for (int i = 0; i < 60; ++i) {
        slow.push_back(std::make_unique<RawConnection>(screen));
        switch (i % 4) {
            case 0:  // sends nothing
                break;
            case 1:  // does not end its request
                slow.back()->send("GET / HTTP/1.1\r\n" + host);
                break;
            case 2:  // does not end its body
                slow.back()->send("POST /value HTTP/1.1\r\n" + host + "Content-Length: 1000\r\n\r\n{");
                break;
            case 3:  // does not read its events
                slow.back()->send("GET /events?after=0 HTTP/1.1\r\n" + host + "\r\n");
                break;
        }
    }
    client.set_read_timeout(5s);
    EXPECT_EQ(get("/").status, 200);
    EXPECT_EQ(setValue(BRIGHTNESS, 60).status, 200);
    EventReader reader(screen, lastNumber());
    model.set(BRIGHTNESS, 61);
    EXPECT_TRUE(reader.waitFor("log", [](const json& line) { return line.value("value", json()) == 61; }));
    EXPECT_EQ(get("/state").status, 200);
}

TEST_F(TheScreen, ClosesAConnectionWithAnUnfinishedRequest) {
    const RawConnection drip(screen);
    drip.send("GET /state HTTP/1.1\r\nX-Slow: ");
    const auto limit = std::chrono::steady_clock::now() + LIMIT;
    bool closed = false;
    while (!closed && std::chrono::steady_clock::now() < limit) {
        drip.send("x");
        closed = drip.isClosedWithin(200ms);
    }
    EXPECT_TRUE(closed);
}

TEST_F(TheScreen, AcceptsOnlyHostNamesOfThisMachine) {
    const std::string port = std::string(":").append(std::to_string(screen.port()));
    for (const std::string host : {"localhost", "LOCALHOST", "127.0.0.1", "localhost:9"})
        EXPECT_EQ(get("/state", {{"Host", host}}).status, 200) << host;
    EXPECT_EQ(get("/state", {{"Host", "localhost" + port}}).status, 200);
    for (const std::string host :
         {"example.org", "localhost.example.org", "127.0.0.1.example.org", "", "0.0.0.0"}) {
        for (const std::string path : {"/", "/state", "/picture.jpg", "/events?after=0", "/main.js"})
            EXPECT_EQ(get(path, {{"Host", host}}).status, 403) << host << path;
        EXPECT_EQ(post("/clear-faults", "{}", {{"Host", host + port}}).status, 403) << host;
    }
}

TEST_F(TheScreen, AcceptsChangesOnlyFromItsOwnPage) {
    const std::string body = json{{"key", BRIGHTNESS}, {"value", 60}}.dump();
    for (const char* const path : CHANGES)
        EXPECT_EQ(post(path, "{}", {{"Origin", "http://127.0.0.1:1"}}).status, 403) << path;
    const std::string own = "127.0.0.1:" + std::to_string(screen.port());
    for (const std::string origin :
         {"http://example.org", "null", "http://127.0.0.1:1", "https://127.0.0.1", "http://localhost"}) {
        const Answer answer = post("/value", body, {{"Origin", origin}});
        EXPECT_EQ(answer.status, 403) << origin;
        EXPECT_EQ(answer.error(), "only the television's own page may change it");
    }
    for (const char* const type : {"text/plain", "application/x-www-form-urlencoded", "application/jsonx"})
        EXPECT_EQ(post("/value", body, {}, type).status, 415) << type;
    EXPECT_EQ(get("/value?key=" + std::string(BRIGHTNESS) + "&value=60").status, 404);
    EXPECT_EQ(model.value(BRIGHTNESS), Value(50));
    EXPECT_EQ(post("/value", body, {{"Origin", "http://" + own}}, "application/json; charset=utf-8").status,
              200);
    EXPECT_EQ(model.value(BRIGHTNESS), Value(60));
}

TEST_F(TheScreen, DoesNotParseARefusedBodyAsARequest) {
    const std::string body = json{{"key", BRIGHTNESS}, {"value", 60}}.dump();
    const std::string smuggled =
        "POST /value HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n" +
        ("Content-Length: " + std::to_string(body.size())) + "\r\n\r\n" + body;
    for (const char* const path : {"/value", "/nothing", "/state"}) {
        EXPECT_THAT(post(path, smuggled, {{"Origin", "http://example.org"}}, "text/plain").status,
                    AnyOf(403, 404));
        // The next request uses the same connection if it is still open.
        EXPECT_EQ(get("/state").status, 200);
    }
    EXPECT_EQ(model.value(BRIGHTNESS), Value(50));
}

TEST_F(TheScreen, ServesPagesWhileAllItsStreamsAreInUse) {
    std::vector<std::unique_ptr<EventReader>> readers;
    int status = 200;
    while (status == 200 && readers.size() < 200) {
        readers.push_back(std::make_unique<EventReader>(screen, 0));
        status = readers.back()->waitForStatus();
    }
    EXPECT_EQ(status, 503);
    EXPECT_THAT(readers.size(), AllOf(Gt(60), Lt(200)));
    EXPECT_EQ(get("/events?after=0").error(), "the page is open too often: close some of its tabs");
    EXPECT_EQ(get("/").status, 200);

    // The stream of a closed browser can be used again.
    readers.clear();
    const auto limit = std::chrono::steady_clock::now() + LIMIT;
    while (status == 503 && std::chrono::steady_clock::now() < limit) {
        model.set(BRIGHTNESS, model.value(BRIGHTNESS) == Value(10) ? 20 : 10);
        EventReader another(screen, 0);
        status = another.waitForStatus();
    }
    EXPECT_EQ(status, 200);
}

TEST_F(TheScreen, EndsWhileABrowserIsConnected) {
    auto second = anotherScreen(0, stage);
    EventReader reader(*second, 0);
    ASSERT_EQ(reader.waitForStatus(), 200);
    second.reset();
    EXPECT_TRUE(reader.waitForEnd());
}

TEST_F(TheScreen, DoesNotShareAPort) {
    try {
        anotherScreen(screen.port(), stage);
        FAIL() << "two screens at one port";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), "cannot serve the page on port " +
                                                 std::to_string(screen.port()) + ": Address already in use");
    }
    EXPECT_EQ(get("/").status, 200);
}

}  // namespace
