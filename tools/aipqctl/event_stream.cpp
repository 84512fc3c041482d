#include "event_stream.h"

#include <ctime>
#include <iomanip>
#include <sstream>
#include <utility>

#include "failure.h"
#include "validators.h"

namespace aipqctl {

namespace {

std::string format(const Event& event, const char* pattern,
                   std::tm* (*convert)(const std::time_t*, std::tm*)) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(event.time);
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(event.time - seconds).count();
    const std::time_t time = std::chrono::system_clock::to_time_t(seconds);
    std::tm parts{};
    convert(&time, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, pattern) << '.' << std::setw(3) << std::setfill('0') << milliseconds;
    return text.str();
}

}  // namespace

void addStreamOptions(CLI::App& command, StreamLimits& limits, const std::string& what) {
    command.add_option("-n,--count", limits.count, "end after this many " + what)
        ->type_name("COUNT")
        ->check(isCount());
    command.add_option("--seconds", limits.seconds, "end after this time")
        ->type_name("SECONDS")
        ->check(isDuration());
}

Event happened(Json content) { return {std::chrono::system_clock::now(), std::move(content)}; }

std::string localTime(const Event& event) { return format(event, "%H:%M:%S", localtime_r); }

std::string utcTime(const Event& event) { return format(event, "%Y-%m-%dT%H:%M:%S", gmtime_r) + 'Z'; }

void printEvent(const Event& event, const std::string& text, bool json) {
    if (!json) return printLine(localTime(event) + "  " + text);
    Json line{{"time", utcTime(event)}};
    line.update(event.content);
    printJson(line);
}

void EventStream::push(Json content) {
    {
        const std::lock_guard lock(m_mutex);
        m_events.push_back(happened(std::move(content)));
    }
    Bell::ring();
}

std::optional<Event> EventStream::next() {
    const std::lock_guard lock(m_mutex);
    if (m_events.empty()) return {};
    Event event = std::move(m_events.front());
    m_events.pop_front();
    return event;
}

void EventStream::run(const StreamLimits& limits, const std::function<bool(const Event&)>& show) {
    const auto time = std::chrono::duration<double>(limits.seconds);
    const auto end = limits.seconds > 0 ? Clock::now() + std::chrono::ceil<Clock::duration>(time)
                                        : Clock::time_point::max();
    unsigned count = 0;
    m_bell.watchOutput();
    while (!m_bell.interrupted()) {
        const bool rang = m_bell.waitUntil(end);
        while (const std::optional<Event> event = next()) {
            if (show(*event) && ++count == limits.count) return;
        }
        if (rang) continue;
        if (limits.count > 0)
            throw Failure(EXIT_REFUSED, "the time is over after " + std::to_string(count) + " of " +
                                            std::to_string(limits.count));
        return;
    }
}

}  // namespace aipqctl
