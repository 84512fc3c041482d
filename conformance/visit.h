// What a check uses while it runs.
#ifndef CONFORMANCE_VISIT_H
#define CONFORMANCE_VISIT_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "checks.h"

namespace conformance {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// An answer is late after the first, and is waited for until the second, which tells late from never.
constexpr milliseconds IN_TIME{2000};
constexpr milliseconds GIVE_UP{4000};
// How long nothing must happen to believe that nothing does.
constexpr milliseconds QUIET{100};
// As the library's own accessors on their first use.
constexpr int CONNECT_TIMEOUT_MS = 1000;

// Ends a check: what was seen, and what to do next.
struct Failure {
    std::string finding;
    std::string advice;
};

// Ends a check because the run is to end.
struct Interrupted {};

// How a check waits, and what it still has to put back.
class Visit {
  public:
    Visit(const std::atomic<bool>& stop, std::vector<std::shared_ptr<void>>& kept)
        : m_stop(stop), m_kept(kept) {}

    // Throws Interrupted if the run is to end.
    void goOn() const {
        if (m_stop) throw Interrupted();
    }

    // Waits until the predicate holds; false if that takes longer.
    template <typename Predicate>
    bool waitUntil(milliseconds limit, Predicate holds) const {
        constexpr milliseconds period{10};
        const Clock::time_point end = Clock::now() + limit;
        for (;;) {
            goOn();
            if (holds()) return true;
            if (Clock::now() >= end) return false;
            std::this_thread::sleep_for(period);
        }
    }
    void pause(milliseconds duration) const {
        waitUntil(duration, [] { return false; });
    }

    // To be called before a change. However the check ends, `undo` is called, the last one first; it throws
    // Failure if the change cannot be undone. `what` tells people what there was.
    void undoLater(std::string what, std::function<void()> undo);
    // The change that was announced last has been undone.
    void undone();
    void undoAll();
    std::string notUndone() const;

    void keep(std::shared_ptr<void> object) { m_kept.push_back(std::move(object)); }

  private:
    struct Change {
        std::string what;
        std::function<void()> undo;
    };

    const std::atomic<bool>& m_stop;
    std::vector<std::shared_ptr<void>>& m_kept;
    mutable std::mutex m_mutex;  // of the changes, which are looked at when a check hangs
    std::vector<Change> m_changes;
};

// What a platform told, in order.
template <typename T>
class Record {
  public:
    struct Entry {
        T value;
        std::thread::id thread;
        Clock::time_point when;
    };

    void add(T value) {
        const std::lock_guard lock(m_mutex);
        m_entries.push_back({std::move(value), std::this_thread::get_id(), Clock::now()});
    }
    std::vector<Entry> entries() const {
        const std::lock_guard lock(m_mutex);
        return m_entries;
    }
    std::size_t size() const {
        const std::lock_guard lock(m_mutex);
        return m_entries.size();
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries;
};

// "3.2 s"
std::string seconds(Clock::duration duration);

// In quotes, with nothing that a terminal or a file of results would take for something else.
std::string quoted(const std::string& text);

// "Permission denied (errno 13)"
std::string errorText(int error);

// Calls into the platform; a call that takes too long is a failure, whatever it answered.
template <typename Call>
auto timed(const std::string& what, Call call) {
    const Clock::time_point begin = Clock::now();
    auto answer = call();
    if (const auto took = Clock::now() - begin; took > IN_TIME)
        throw Failure{
            what + " took " + seconds(took) + ", more than " + seconds(IN_TIME),
            "Find what blocks this call in the platform: the service's threads stand still meanwhile."};
    return answer;
}

// The checks of each kind, appended in their order.
std::vector<Check> modelChecks();
std::vector<Check> actionChecks();
std::vector<Check> channelChecks();
std::vector<Check> videoChecks();
std::vector<Check> applicationChecks();

}  // namespace conformance

#endif
