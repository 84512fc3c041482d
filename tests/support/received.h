// Records the calls of a test's callbacks as texts, in order.
#ifndef TESTS_RECEIVED_H
#define TESTS_RECEIVED_H

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tests {

class Received {
  public:
    void add(std::string text) {
        const std::lock_guard lock(m_mutex);
        m_all.push_back(std::move(text));
        m_changed.notify_all();
    }

    std::vector<std::string> all() const {
        const std::lock_guard lock(m_mutex);
        return m_all;
    }

    std::size_t count() const {
        const std::lock_guard lock(m_mutex);
        return m_all.size();
    }

    void forget() {
        const std::lock_guard lock(m_mutex);
        m_all.clear();
    }

    // Returns true as soon as the text was recorded `times` times; false after the limit.
    bool waitFor(const std::string& text, std::ptrdiff_t times = 1,
                 std::chrono::milliseconds limit = std::chrono::seconds(30)) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit,
                                  [&] { return std::count(m_all.begin(), m_all.end(), text) >= times; });
    }

    // Returns true as soon as a text with this beginning was recorded; false after the limit.
    bool waitForBeginning(const std::string& beginning,
                          std::chrono::milliseconds limit = std::chrono::seconds(30)) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] {
            return std::any_of(m_all.begin(), m_all.end(),
                               [&](const std::string& text) { return text.rfind(beginning, 0) == 0; });
        });
    }

  private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_all;
};

}  // namespace tests

#endif
