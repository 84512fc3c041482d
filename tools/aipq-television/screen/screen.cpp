#include "screen.h"

// Defines what the library was built with; from here on, its classes have the library's layout.
#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "controls.h"
#include "event_text.h"
#include "jpeg.h"
#include "news.h"
#include "page_files.h"
#include "simulated/television.h"

namespace television {

using httplib::Request;
using httplib::Response;
using nlohmann::json;
using namespace std::chrono_literals;

namespace {

constexpr char HOST[] = "127.0.0.1";
constexpr char JSON_TYPE[] = "application/json";

// A browser keeps up to six connections, of which one is for events. Each takes a thread.
constexpr std::size_t THREADS = 24;
constexpr int EVENT_STREAMS = 12;
constexpr std::size_t BODY_MAX_BYTES = 64 * 1024;

constexpr unsigned PICTURE_WIDTH = 512;
constexpr unsigned PICTURE_HEIGHT = 288;
constexpr auto PICTURE_INTERVAL = 100ms;
// The pipeline answers its clients on the same thread: at least so many times as long as a picture takes it
// is left to them.
constexpr int PICTURE_PAUSE = 3;

constexpr auto STATUS_INTERVAL = 200ms;
constexpr auto SIGN_OF_LIFE_INTERVAL = 5s;

// The name in a Host line: without a port, in lower case.
std::string hostName(const std::string& host) {
    std::string name = host.substr(0, host.find(':'));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

// Another site's name that leads to this machine is that site's attempt to read the page.
void requireOwnHost(const Request& request) {
    const std::string name = hostName(request.get_header_value("Host"));
    if (name != HOST && name != "localhost")
        throw Refusal(403, "this page is for this machine only: open it as localhost or 127.0.0.1");
}

// Every other site may make a browser send requests here, too.
void requireOwnPage(const Request& request) {
    if (request.has_header("Origin") &&
        request.get_header_value("Origin") != "http://" + request.get_header_value("Host"))
        throw Refusal(403, "only the television's own page may change it");
    const std::string type = request.get_header_value("Content-Type");
    if (type.substr(0, type.find(';')) != JSON_TYPE)
        throw Refusal(415, "the content type must be " + std::string(JSON_TYPE));
}

json parseBody(const std::string& body) {
    json wish = json::parse(body, nullptr, false);
    if (!wish.is_object()) throw Refusal(400, "the body must be one JSON object");
    return wish;
}

void answerError(Response& response, int status, const std::string& text) {
    response.status = status;
    response.set_content(asText({{"error", text}}), JSON_TYPE);
}

const char* kindOf(unsigned levelWord) {
    switch (levelWord & 0xFFFFU) {
        case 1:
            return "trace";
        case 4000:
            return "info";
        default:
            return "error";
    }
}

// At most one of several televisions on a machine gets a port.
void takePortAlone(socket_t socket) {
    const int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

// The picture for everybody who looks: however many they are, the pipeline draws it once.
class PictureFile {
  public:
    explicit PictureFile(simulated::VideoPipeline& video) : m_video(video) {}

    // The bytes of a JPEG file; Refusal says why there is no picture.
    std::string get() {
        const std::lock_guard lock(m_mutex);
        if (const auto now = std::chrono::steady_clock::now(); now >= m_due) {
            const simulated::Picture picture = m_video.picture(PICTURE_WIDTH, PICTURE_HEIGHT);
            const auto drawn = std::chrono::steady_clock::now();
            m_problem = picture.problem;
            m_bytes = m_problem.empty() ? toJpeg(picture) : std::string();
            m_due = now + PICTURE_INTERVAL;
            if (m_problem.empty()) m_due = std::max(m_due, drawn + PICTURE_PAUSE * (drawn - now));
        }
        if (!m_problem.empty()) throw Refusal(503, m_problem);
        return m_bytes;
    }

  private:
    simulated::VideoPipeline& m_video;
    std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_due;
    std::string m_bytes;
    std::string m_problem;
};

// What one browser is told as it happens: log lines and values as "news", everything else as "status".
class EventStream {
  public:
    EventStream(const Controls& controls, const News& news, unsigned long after)
        : m_controls(controls), m_news(news), m_last(after) {}

    // Waits for something to tell, for a while. False when the stream has ended.
    bool write(httplib::DataSink& sink) {
        m_news.waitFor(m_last, STATUS_INTERVAL);
        if (m_news.ended()) return false;
        std::string text;
        const News::Since since = m_news.since(m_last);
        if (since.missed) {
            text += "event: missed\ndata: {}\n\n";
            m_last = m_news.last();
        } else {
            for (const News::Item& item : since.items) {
                text += "event: news\ndata: " + item.text + "\n\n";
                m_last = item.number;
            }
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= m_statusDue) {
            m_statusDue = now + STATUS_INTERVAL;
            const std::string status = asText(m_controls.status());
            if (status != m_status) text += "event: status\ndata: " + status + "\n\n";
            m_status = status;
        }
        // A browser that is gone is noticed by what is sent to it only.
        if (text.empty() && now >= m_lastWrite + SIGN_OF_LIFE_INTERVAL) text = ":\n\n";
        if (text.empty()) return true;
        m_lastWrite = now;
        return sink.write(text.data(), text.size());
    }

  private:
    const Controls& m_controls;
    const News& m_news;
    unsigned long m_last;
    std::string m_status;
    std::chrono::steady_clock::time_point m_statusDue;
    std::chrono::steady_clock::time_point m_lastWrite = std::chrono::steady_clock::now();
};

}  // namespace

class Screen::Implementation {
  public:
    Implementation(simulated::Television& television, int port)
        : m_television(television), m_controls(television), m_picture(television.video()) {
        m_server.new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
        m_server.set_socket_options(takePortAlone);
        m_server.set_tcp_nodelay(true);
        m_server.set_keep_alive_timeout(1);
        m_server.set_keep_alive_max_count(10000);
        m_server.set_read_timeout(5s);
        m_server.set_write_timeout(5s);
        m_server.set_payload_max_length(BODY_MAX_BYTES);
        m_server.set_default_headers({
            {"Cache-Control", "no-store"},
            {"Content-Security-Policy",
             "default-src 'self'; img-src 'self' blob: data:; frame-ancestors 'none'"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Referrer-Policy", "no-referrer"},
            {"X-Content-Type-Options", "nosniff"},
        });
        m_server.set_error_handler([](const Request&, Response& response) {
            if (!response.body.empty()) return;
            answerError(response, response.status,
                        response.status == 404   ? "there is nothing at this address"
                        : response.status == 413 ? "the body is longer than 64 KiB"
                                                 : "the request cannot be understood");
        });
        addFiles();
        addReads();
        addChanges();

        errno = 0;
        m_port =
            port == 0 ? m_server.bind_to_any_port(HOST) : (m_server.bind_to_port(HOST, port) ? port : -1);
        if (m_port <= 0)
            throw std::runtime_error("the screen cannot be served at port " + std::to_string(port) + ": " +
                                     std::strerror(errno));
        television.debugOutput().setListener([this](unsigned levelWord, const std::string& line) {
            m_news.add(
                {{"kind", kindOf(levelWord)}, {"text", line.substr(0, line.find_last_not_of('\n') + 1)}});
        });
        m_thread = std::thread([this] {
            m_server.listen_after_bind();
            m_finished = true;
        });
    }

    ~Implementation() {
        m_television.debugOutput().setListener(nullptr);
        m_news.end();
        // The server cannot be stopped before it has begun.
        while (!m_server.is_running() && !m_finished) std::this_thread::sleep_for(1ms);
        m_server.stop();
        m_thread.join();
    }

    int port() const { return m_port; }

  private:
    // A handler whose Refusal is answered, and logged if it was to change something.
    template <typename Handler>
    httplib::Server::Handler answering(Handler handler) {
        return [this, handler](const Request& request, Response& response) {
            try {
                requireOwnHost(request);
                handler(request, response);
            } catch (const Refusal& refusal) {
                answerError(response, refusal.status, refusal.what());
            } catch (const std::exception& error) {
                answerError(response, 500, error.what());
            }
            if (request.method == "POST" && response.status >= 400)
                m_news.add({{"kind", "refused"}, {"text", json::parse(response.body).at("error")}});
        };
    }

    void addFile(const std::string& pattern, std::string_view content, const char* type) {
        m_server.Get(pattern, answering([content, type](const Request&, Response& response) {
                         response.set_content(content.data(), content.size(), type);
                     }));
    }

    void addFiles() {
        addFile("/", INDEX_HTML, "text/html; charset=utf-8");
        addFile(R"(/screen\.css)", SCREEN_CSS, "text/css; charset=utf-8");
        addFile(R"(/screen\.js)", SCREEN_JS, "text/javascript; charset=utf-8");
    }

    void addReads() {
        m_server.Get(R"(/picture\.jpg)", answering([this](const Request&, Response& response) {
                         response.set_content(m_picture.get(), "image/jpeg");
                     }));
        m_server.Get("/state", answering([this](const Request&, Response& response) {
                         // What happens from here on is told by the events, even if it is in the state
                         // already.
                         const unsigned long last = m_news.last();
                         json state = m_controls.state();
                         state["last"] = last;
                         json lines = json::array();
                         for (const News::Item& item : m_news.since(0).items)
                             if (item.number <= last) lines.push_back(json::parse(item.text));
                         state["log"] = lines;
                         response.set_content(asText(state), JSON_TYPE);
                     }));
        // {"after": NUMBER}, the last item of the log that the page has
        m_server.Get("/events", answering([this](const Request& request, Response& response) {
                         addStream(request, response);
                     }));
    }

    void addStream(const Request& request, Response& response) {
        const std::string number = request.get_param_value("after");
        unsigned long after = 0;
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), after);
        if (error != std::errc() || end != number.data() + number.size())
            throw Refusal(400, "'after' must be a number");
        if (++m_streams > EVENT_STREAMS) {
            --m_streams;
            throw Refusal(503, "the page is open too often: close some of its tabs");
        }
        const auto stream = std::make_shared<EventStream>(m_controls, m_news, after);
        response.set_chunked_content_provider(
            "text/event-stream",
            [stream](std::size_t, httplib::DataSink& sink) { return stream->write(sink); },
            [this](bool) { --m_streams; });
    }

    void addChange(const char* path, std::string (Controls::*change)(const json&)) {
        // The checks come after the body has been read: what is left of it would pass for the next request.
        m_server.Post(path, answering([this, change](const Request& request, Response& response) {
                          requireOwnPage(request);
                          const std::string notice = (m_controls.*change)(parseBody(request.body));
                          response.set_content(asText({{"notice", notice}}), JSON_TYPE);
                      }));
    }

    void addChanges() {
        addChange("/value", &Controls::setValue);
        addChange("/remote", &Controls::press);
        addChange("/power", &Controls::changePower);
        addChange("/fault", &Controls::setFault);
        addChange("/clear-faults", &Controls::clearFaults);
        addChange("/video", &Controls::switchVideo);
    }

    simulated::Television& m_television;
    Controls m_controls;
    PictureFile m_picture;
    News m_news;
    std::atomic<int> m_streams = 0;
    simulated::Events::Subscription m_subscription{m_television.events(),
                                                   [this](const simulated::Event& event) {
                                                       json line = toLogLine(event);
                                                       if (!line.is_null()) m_news.add(std::move(line));
                                                   }};
    httplib::Server m_server;
    int m_port = 0;
    std::atomic<bool> m_finished = false;
    std::thread m_thread;
};

Screen::Screen(simulated::Television& television, int port)
    : m_implementation(std::make_unique<Implementation>(television, port)) {}

Screen::~Screen() = default;

int Screen::port() const { return m_implementation->port(); }

std::string Screen::url() const { return "http://127.0.0.1:" + std::to_string(port()) + "/"; }

}  // namespace television
