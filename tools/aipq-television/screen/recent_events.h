#ifndef TELEVISION_RECENT_EVENTS_H
#define TELEVISION_RECENT_EVENTS_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace television {

// Serialises JSON; replaces bytes that are not UTF-8 in values and log lines.
std::string asText(const nlohmann::json& value);

// The most recent events, numbered: the log of the page. Any thread may use it, also with the model locked.
class RecentEvents {
  public:
    struct Item {
        unsigned long number;
        std::string text;  // one JSON object
    };

    // The stored items after a number. `missed`: some of the items after it are no longer stored.
    struct Since {
        std::vector<Item> items;
        bool missed = false;
    };

    // Adds a log line: "kind", "text" and any further members. add() sets its time and number.
    void add(nlohmann::json line);

    // Returns the number of the last item; 0 before the first.
    unsigned long last() const;
    Since since(unsigned long number) const;

    // Waits for an item with a greater number, or for the end.
    void waitFor(unsigned long number, std::chrono::milliseconds limit) const;
    void end();
    bool ended() const;

  private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::deque<Item> m_items;
    unsigned long m_last = 0;
    bool m_ended = false;
};

}  // namespace television

#endif
