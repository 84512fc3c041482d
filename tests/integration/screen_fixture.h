// Accesses the simulated television's page over HTTP, like a browser.
#ifndef TESTS_SCREEN_FIXTURE_H
#define TESTS_SCREEN_FIXTURE_H

#include <httplib.h>
#include <turbojpeg.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "screen.h"
#include "television_test.h"

namespace tests {

using nlohmann::json;

constexpr auto LIMIT = std::chrono::seconds(30);
constexpr char JSON_TYPE[] = "application/json";

struct Answer {
    int status = 0;
    std::string type;
    std::string body;

    json content() const { return json::parse(body); }
    std::string error() const { return content().at("error"); }
};

// Reads the stream /events on a separate thread until its end.
class EventReader {
  public:
    EventReader(const television::Screen& screen, unsigned long after)
        : m_client("127.0.0.1", screen.port()), m_thread([this, after, url = screen.url()] {
              read("/events" + url.substr(url.find('?')) + "&after=" + std::to_string(after));
          }) {}
    ~EventReader() {
        // The request may not have started yet.
        waitForStatus();
        m_client.stop();
        m_thread.join();
    }

    // Returns whether an event of this name whose data fulfils the condition has arrived or arrives in time.
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

    // Returns the HTTP status.
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
    void read(const std::string& path) {
        m_client.set_read_timeout(LIMIT);
        std::string text;
        m_client.Get(
            path,
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

// Returns the luma of each pixel of a JPEG file.
inline std::vector<unsigned char> lumaOf(const std::string& jpeg) {
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
    return grey;
}

inline double meanLuma(const std::string& jpeg) {
    const std::vector<unsigned char> grey = lumaOf(jpeg);
    double sum = 0;
    for (const unsigned char value : grey) sum += value;
    return sum / static_cast<double>(grey.size());
}

class TheScreen : public TelevisionTest {
  protected:
    TheScreen() {
        client.set_read_timeout(LIMIT);
        client.set_default_headers({{"Cookie", cookie()}});
    }

    // Returns the cookie that a browser gets when it loads the page.
    std::string cookie() {
        const std::string url = screen.url();
        const auto page = client.Get(url.substr(url.find("/?")));
        const std::string cookie = page ? page->get_header_value("Set-Cookie") : "";
        return cookie.substr(0, cookie.find(';'));
    }

    Answer get(const std::string& path, const httplib::Headers& headers = {}) {
        return answerOf(client.Get(path, headers));
    }

    Answer post(const std::string& path, const std::string& body, const httplib::Headers& headers = {},
                const char* type = JSON_TYPE) {
        return answerOf(client.Post(path, headers, body, type));
    }

    Answer post(const std::string& path, const json& body) { return post(path, body.dump()); }

    Answer setValue(const std::string& key, const json& value) {
        return post("/value", {{"key", key}, {"value", value}});
    }

    unsigned long lastNumber() { return get("/state").content().at("last"); }

    void startVideo() {
        ASSERT_TRUE(television.video().start()) << television.video().error();
        television.video().showProgramme("bars");
    }

    // Waits until /picture returns an answer that fulfils the condition.
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

    static std::unique_ptr<television::Screen> anotherScreen(int port, television::Stage stage) {
        return std::make_unique<television::Screen>(
            simulated::Television::instance(), television::ScreenOptions{"kitchen", port}, std::move(stage));
    }

    // Plays scenarios like the television's own stage, but without a bus.
    television::Stage stage{
        [this](simulated::Scenario scenario, simulated::ScenarioPlayer::Listener listener) {
            auto started = std::make_unique<simulated::ScenarioPlayer>(television, std::move(scenario),
                                                                       std::move(listener), 1);
            const std::lock_guard lock(playerMutex);
            player.swap(started);
        },
        [this] {
            const std::lock_guard lock(playerMutex);
            player->stop();
        },
        [this] {
            const std::lock_guard lock(playerMutex);
            return player && !player->result();
        }};
    std::mutex playerMutex;
    std::unique_ptr<simulated::ScenarioPlayer> player;
    television::Screen screen{television, {"living-room"}, stage};
    httplib::Client client{"127.0.0.1", screen.port()};
};

}  // namespace tests

#endif
