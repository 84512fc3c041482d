// The context of a running check.
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

// An answer after IN_TIME is late. The wait goes on until GIVE_UP to distinguish a late answer from a missing
// one.
constexpr milliseconds IN_TIME{2000};
constexpr milliseconds GIVE_UP{4000};
// How long no notification must arrive for a check of silence to pass.
constexpr milliseconds QUIET{100};
// The timeout of the library's own accessors on their first use.
constexpr int CONNECT_TIMEOUT_MS = 1000;

// Ends a check with a failure: the observation, and the next step for the user.
struct Failure {
    std::string finding;
    std::string advice;
};

// Ends a check because the run is to stop.
struct Interrupted {};

// A check's waits, and the changes that it must undo.
class Visit {
  public:
    Visit(const std::atomic<bool>& stop, std::vector<std::shared_ptr<void>>& kept)
        : m_stop(stop), m_kept(kept) {}

    // Throws Interrupted if the run is to stop.
    void goOn() const {
        if (m_stop) throw Interrupted();
    }

    // Waits until the predicate holds. Returns false after `limit`.
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

    // Call it before a change. When the check ends, however it ends, the `undo` functions are called, the
    // last one first. `undo` throws Failure if the change cannot be undone. `what` describes the original
    // state for people.
    void undoLater(std::string what, std::function<void()> undo);
    // Call it when the last registered change has been undone.
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
    mutable std::mutex m_mutex;  // guards the changes, which another thread reads when a check hangs
    std::vector<Change> m_changes;
};

// The notifications of a platform, in order.
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

// For example "3.2 s".
std::string seconds(Clock::duration duration);

// Quotes a text and escapes the characters that would affect a terminal or a results file.
std::string quoted(const std::string& text);

// For example "Permission denied (errno 13)".
std::string errorText(int error);

// Calls into the platform. A call that takes too long is a failure, whatever it returns.
template <typename Call>
auto timed(const std::string& what, Call call) {
    const Clock::time_point begin = Clock::now();
    auto answer = call();
    if (const auto took = Clock::now() - begin; took > IN_TIME)
        throw Failure{what + " took " + seconds(took) + ", more than " + seconds(IN_TIME),
                      "Find what blocks this call in the platform: the service's threads are blocked until "
                      "it returns."};
    return answer;
}

// Returns the checks of one kind, in their order.
std::vector<Check> modelChecks();
std::vector<Check> actionChecks();
std::vector<Check> channelChecks();
std::vector<Check> videoChecks();
std::vector<Check> applicationChecks();

}  // namespace conformance

#endif
