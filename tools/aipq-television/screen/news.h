#ifndef TELEVISION_NEWS_H
#define TELEVISION_NEWS_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace television {

// JSON as text; what is not UTF-8 in a television's value or log is replaced.
std::string asText(const nlohmann::json& value);

// What happened lately, numbered: the log of the page. Any thread, also one that holds the model locked.
class News {
  public:
    struct Item {
        unsigned long number;
        std::string text;  // of a JSON object
    };

    // What kept its place since the item of this number. `missed`: older ones are gone already.
    struct Since {
        std::vector<Item> items;
        bool missed = false;
    };

    // A line of the log: "kind" and "text", and whatever else belongs to it. Its time and number are added.
    void add(nlohmann::json line);

    // The number of the last item; 0 at first.
    unsigned long last() const;
    Since since(unsigned long number) const;

    // Waits for an item after the one of this number, or the end.
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
