// An operation of the soak service, and what operations use.
#ifndef TESTS_SOAK_OPERATION_H
#define TESTS_SOAK_OPERATION_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <utility>

namespace soak {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds ANSWER_LIMIT{5};

class Dice {
  public:
    explicit Dice(unsigned seed) : m_engine(seed) {}
    int between(int lowest, int highest) { return std::uniform_int_distribution(lowest, highest)(m_engine); }
    bool toss() { return between(0, 1) == 1; }

  private:
    std::mt19937 m_engine;
};

// An operation of the service. `perform` returns nullopt if the operation is not possible now.
struct Operation {
    Operation(std::string what, std::function<std::optional<bool>(Dice&)> how)
        : name(std::move(what)), perform(std::move(how)) {}

    std::optional<bool> attempt(Dice& dice) {
        const std::optional<bool> result = perform(dice);
        if (result) ++(*result ? done : failed);
        return result;
    }

    const std::string name;
    const std::function<std::optional<bool>(Dice&)> perform;
    std::atomic<unsigned> done{0};
    std::atomic<unsigned> failed{0};
};

// The last value of a notification. Another thread can wait for it.
template <typename T>
class Awaited {
  public:
    void set(const T& value) {
        const std::lock_guard lock(m_mutex);
        m_value = value;
        m_changed.notify_all();
    }
    template <typename Condition>
    bool waitUntil(Condition holds, Clock::duration limit = ANSWER_LIMIT) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] { return m_value && holds(*m_value); });
    }
    void forget() {
        const std::lock_guard lock(m_mutex);
        m_value.reset();
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<T> m_value;
};

}  // namespace soak

#endif
