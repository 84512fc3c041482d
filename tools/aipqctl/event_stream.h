#ifndef AIPQCTL_EVENT_STREAM_H
#define AIPQCTL_EVENT_STREAM_H

#include <CLI/CLI.hpp>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "bell.h"
#include "output.h"

namespace aipqctl {

// The limits after which a command that prints events ends by itself.
struct StreamLimits {
    unsigned count = 0;  // 0 for no limit
    double seconds = 0;
};

void addStreamOptions(CLI::App& command, StreamLimits& limits, const std::string& what);

// An event and its time.
struct Event {
    std::chrono::system_clock::time_point time;
    Json content;
};

Event happened(Json content);
// Local time for people, "12:00:01.123"; UTC for programs, "2025-01-31T12:00:01.123Z".
std::string localTime(const Event& event);
std::string utcTime(const Event& event);

// Prints the event's time and `text`, or its content as JSON.
void printEvent(const Event& event, const std::string& text, bool json);

// Passes events from the threads on which they occur to the thread that prints them.
class EventStream {
  public:
    // Callable from any thread.
    void push(Json content);

    // Calls `show` with each event until Ctrl-C or one of the limits; `show` returns whether the event
    // counts. Throws Failure if the time is over before the count is reached, and OutputClosed when the
    // reader of standard output closes it.
    void run(const StreamLimits& limits, const std::function<bool(const Event&)>& show);

  private:
    std::optional<Event> next();

    Bell m_bell;
    std::mutex m_mutex;
    std::deque<Event> m_events;
};

}  // namespace aipqctl

#endif
