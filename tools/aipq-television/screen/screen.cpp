#include "screen.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <regex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "access.h"
#include "controls.h"
#include "event_text.h"
#include "http_server.h"
#include "http_status.h"
#include "page_files.h"
#include "picture_file.h"
#include "recent_events.h"
#include "scenarios.h"
#include "simulated/television.h"

namespace television {

using httplib::Request;
using httplib::Response;
using nlohmann::json;
using namespace std::chrono_literals;

namespace {

constexpr char JSON_TYPE[] = "application/json";
constexpr char TEXT_TYPE[] = "text/plain; charset=utf-8";

constexpr int EVENT_STREAMS = 100;
constexpr std::size_t BODY_MAX_BYTES = 256 * 1024;

constexpr auto STATUS_INTERVAL = 200ms;
constexpr auto SIGN_OF_LIFE_INTERVAL = 5s;

json parseBody(const std::string& body) {
    json parsed = json::parse(body, nullptr, false);
    if (!parsed.is_object()) throw Refusal(BAD_REQUEST, "the body must be one JSON object");
    return parsed;
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

// Binds the port exclusively: several televisions cannot share it.
void takePortAlone(socket_t socket) {
    const int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

// The state other than values. It is computed once for all browsers.
class StatusText {
  public:
    explicit StatusText(std::function<json()> status) : m_status(std::move(status)) {}

    std::string get() {
        const std::lock_guard lock(m_mutex);
        if (const auto now = std::chrono::steady_clock::now(); now >= m_due) {
            m_text = asText(m_status());
            m_due = now + STATUS_INTERVAL / 2;
        }
        return m_text;
    }

  private:
    const std::function<json()> m_status;
    std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_due;
    std::string m_text;
};

// The event stream of one browser: "log" has log lines and values, "status" has everything else.
class EventStream {
  public:
    EventStream(StatusText& status, const RecentEvents& recent, unsigned long after)
        : m_shared(status), m_recent(recent), m_last(after) {}

    // Waits a while for something to send. Returns false when the stream has ended.
    bool write(httplib::DataSink& sink) {
        m_recent.waitFor(m_last, STATUS_INTERVAL);
        if (m_recent.ended()) return false;
        std::string text;
        const RecentEvents::Since since = m_recent.since(m_last);
        if (since.missed) {
            text += "event: missed\ndata: {}\n\n";
            m_last = m_recent.last();
        } else {
            for (const RecentEvents::Item& item : since.items) {
                text += "event: log\ndata: " + item.text + "\n\n";
                m_last = item.number;
            }
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= m_statusDue) {
            m_statusDue = now + STATUS_INTERVAL;
            const std::string status = m_shared.get();
            if (status != m_status) text += "event: status\ndata: " + status + "\n\n";
            m_status = status;
        }
        // Only writing detects a browser that has closed its connection.
        if (text.empty() && now >= m_lastWrite + SIGN_OF_LIFE_INTERVAL) text = ":\n\n";
        if (text.empty()) return true;
        m_lastWrite = now;
        return sink.write(text.data(), text.size());
    }

  private:
    StatusText& m_shared;
    const RecentEvents& m_recent;
    unsigned long m_last;
    std::string m_status;
    std::chrono::steady_clock::time_point m_statusDue;
    std::chrono::steady_clock::time_point m_lastWrite = std::chrono::steady_clock::now();
};

}  // namespace

class Screen::Implementation {
  public:
    Implementation(simulated::Television& television, const ScreenOptions& options, Stage stage)
        : m_television(television),
          m_name(options.name),
          m_controls(television),
          m_picture(television.video()),
          m_scenarios(television, std::move(stage), m_recent) {
        m_server.set_socket_options(takePortAlone);
        m_server.set_tcp_nodelay(true);
        m_server.set_payload_max_length(BODY_MAX_BYTES);
        m_server.set_default_headers({
            {"Cache-Control", "no-store"},
            {"Content-Security-Policy",
             "default-src 'self'; img-src 'self' blob: data:; frame-ancestors 'none'"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Referrer-Policy", "no-referrer"},
            {"X-Content-Type-Options", "nosniff"},
        });
        m_server.set_error_handler([this](const Request& request, Response& response) {
            if (!response.body.empty()) return;
            const auto refuse = [status = response.status](const Request&, Response&) {
                throw Refusal(status, status == NOT_FOUND           ? "there is nothing at this address"
                                      : status == PAYLOAD_TOO_LARGE ? "the body is longer than 256 KiB"
                                                                    : "the request cannot be understood");
            };
            answering(refuse)(request, response);
        });
        addFiles();
        addReads();
        addChanges();

        errno = 0;
        m_port = options.port == 0                           ? m_server.bind_to_any_port(HOST)
                 : m_server.bind_to_port(HOST, options.port) ? options.port
                                                             : -1;
        if (m_port <= 0)
            throw std::runtime_error("cannot serve the page on port " + std::to_string(options.port) + ": " +
                                     std::strerror(errno));
        m_access.emplace(options.token, m_port);
        television.debugOutput().setListener([this](unsigned levelWord, const std::string& line) {
            m_recent->add(
                {{"kind", kindOf(levelWord)}, {"text", line.substr(0, line.find_last_not_of('\n') + 1)}});
        });
        m_thread = std::thread([this] {
            m_server.listen_after_bind();
            m_finished = true;
        });
    }

    ~Implementation() {
        m_television.debugOutput().setListener(nullptr);
        m_recent->end();
        // The server cannot be stopped before it runs.
        while (!m_server.is_running() && !m_finished) std::this_thread::sleep_for(1ms);
        m_server.stop();
        m_thread.join();
    }

    int port() const { return m_port; }
    std::string url() const { return m_access->url(); }

  private:
    // Wraps a handler and requires the token. Sends a Refusal as the response, and logs it for a change.
    template <typename Handler>
    httplib::Server::Handler answering(Handler handler) {
        return [this, handler](const Request& request, Response& response) {
            try {
                m_access->require(request);
            } catch (const Refusal& refusal) {
                answerError(response, refusal.status, refusal.what());
                if (request.path == "/") response.set_content(refusal.what() + std::string("\n"), TEXT_TYPE);
                return;
            }
            try {
                handler(request, response);
            } catch (const Refusal& refusal) {
                answerError(response, refusal.status, refusal.what());
            } catch (const std::exception& error) {
                answerError(response, INTERNAL_ERROR, error.what());
            }
            if (request.method == "POST" && response.status >= BAD_REQUEST)
                m_recent->add({{"kind", "refused"}, {"text", json::parse(response.body).at("error")}});
        };
    }

    void addFiles() {
        for (const PageFile& file : pageFiles())
            m_server.Get('/' + std::regex_replace(std::string(file.name), std::regex("\\."), "\\."),
                         answering([this, &file](const Request&, Response& response) {
                             response.set_content(file.content.data(), file.content.size(), file.type);
                             if (file.name.empty()) m_access->giveCookie(response);
                         }));
    }

    void addReads() {
        m_server.Get("/picture\\.jpg", answering([this](const Request& request, Response& response) {
                         const PictureFile::Jpeg jpeg = m_picture.get();
                         response.set_header("ETag", jpeg.tag);
                         if (request.get_header_value("If-None-Match") == jpeg.tag) {
                             response.status = NOT_MODIFIED;
                         } else {
                             response.set_content(jpeg.bytes, "image/jpeg");
                         }
                     }));
        m_server.Get("/recording", answering([this](const Request&, Response& response) {
                         response.set_content(m_scenarios.recording(), "application/toml");
                     }));
        m_server.Get("/state", answering([this](const Request&, Response& response) {
                         // The stream reports all events after this number, even those that the state already
                         // includes.
                         const unsigned long last = m_recent->last();
                         json state = m_controls.state();
                         state["name"] = m_name;
                         state["status"] = status();
                         state["last"] = last;
                         json lines = json::array();
                         for (const RecentEvents::Item& item : m_recent->since(0).items)
                             if (item.number <= last) lines.push_back(json::parse(item.text));
                         state["log"] = lines;
                         response.set_content(asText(state), JSON_TYPE);
                     }));
        // {"after": NUMBER}: the last log item that the page has
        m_server.Get("/events", answering([this](const Request& request, Response& response) {
                         addStream(request, response);
                     }));
    }

    void addStream(const Request& request, Response& response) {
        const std::string number = request.get_param_value("after");
        unsigned long after = 0;
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), after);
        if (error != std::errc() || end != number.data() + number.size())
            throw Refusal(BAD_REQUEST, "'after' must be a number");
        if (++m_streams > EVENT_STREAMS) {
            --m_streams;
            throw Refusal(UNAVAILABLE, "the page is open too often: close some of its tabs");
        }
        const auto stream = std::make_shared<EventStream>(m_status, *m_recent, after);
        response.set_chunked_content_provider(
            "text/event-stream",
            [stream](std::size_t, httplib::DataSink& sink) { return stream->write(sink); },
            [this](bool) { --m_streams; });
    }

    json status() const {
        json status = m_controls.status();
        status["scenario"] = m_scenarios.plays();
        status["recording"] = m_scenarios.records();
        return status;
    }

    // `change` is an operation of `object`.
    template <typename Object>
    void addChange(const char* path, Object& object, std::string (Object::*change)(const json&)) {
        // Read the body before the checks: an unread rest would be parsed as the next request.
        m_server.Post(path, answering([&object, change](const Request& request, Response& response) {
                          Access::requireOwnPage(request);
                          const std::string notice = (object.*change)(parseBody(request.body));
                          response.set_content(asText({{"notice", notice}}), JSON_TYPE);
                      }));
    }

    void addChanges() {
        addChange("/value", m_controls, &Controls::setValue);
        addChange("/remote", m_controls, &Controls::press);
        addChange("/power", m_controls, &Controls::changePower);
        addChange("/fault", m_controls, &Controls::setFault);
        addChange("/clear-faults", m_controls, &Controls::clearFaults);
        addChange("/video", m_controls, &Controls::switchVideo);
        addChange("/film", m_controls, &Controls::showFilm);
        addChange("/reset", m_controls, &Controls::reset);
        addChange("/scenario", m_scenarios, &Scenarios::play);
        addChange("/stop-scenario", m_scenarios, &Scenarios::stop);
        addChange("/record", m_scenarios, &Scenarios::record);
    }

    simulated::Television& m_television;
    const std::string m_name;
    const std::shared_ptr<RecentEvents> m_recent = std::make_shared<RecentEvents>();
    Controls m_controls;
    PictureFile m_picture;
    Scenarios m_scenarios;
    StatusText m_status{[this] { return status(); }};
    std::atomic<int> m_streams = 0;
    simulated::Events::Subscription m_subscription{m_television.events(),
                                                   [this](const simulated::Event& event) {
                                                       json line = toLogLine(event);
                                                       if (!line.is_null()) m_recent->add(std::move(line));
                                                   }};
    std::optional<Access> m_access;
    HttpServer m_server;
    int m_port = 0;
    std::atomic<bool> m_finished = false;
    std::thread m_thread;
};

Screen::Screen(simulated::Television& television, const ScreenOptions& options, Stage stage)
    : m_implementation(std::make_unique<Implementation>(television, options, std::move(stage))) {}

Screen::~Screen() = default;

int Screen::port() const { return m_implementation->port(); }

std::string Screen::url() const { return m_implementation->url(); }

}  // namespace television
