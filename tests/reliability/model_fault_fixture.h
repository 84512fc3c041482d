// The fixture of tests that set faults of the embedded television.
#ifndef TESTS_MODEL_FAULT_FIXTURE_H
#define TESTS_MODEL_FAULT_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <utility>

#include "keys.h"
#include "recorders.h"
#include "television_test.h"

namespace tests {

using Clock = std::chrono::steady_clock;
using simulated::KeyFaults;

constexpr std::chrono::milliseconds DELAY{100};

class FaultTest : public TelevisionTest {
  protected:
    template <typename T>
    void setFault(const std::string& key, T KeyFaults::*fault, const T& value) {
        model.changeFaults(key, [&](KeyFaults& faults) { faults.*fault = value; });
    }
    void clearFaults(const std::string& key) { model.setFaults(key, KeyFaults()); }

    static int read(Integer& access) {
        int value = -1;
        EXPECT_EQ(access.getValue(value), 0);
        return value;
    }

    // Waits until the brightness worker has succeeded. The worker misses a change that is announced between
    // its write and its wait; therefore the change is announced again.
    void expectWorkerToEnd() {
        const auto end = Clock::now() + std::chrono::seconds(30);
        while (!log.waitFor("set video brightness successed.", 1, std::chrono::milliseconds(200))) {
            ASSERT_LT(Clock::now(), end);
            model.announce(keys::BRIGHTNESS);
        }
    }
};

// Blocks threads until it is opened.
class Gate {
  public:
    ~Gate() { open(); }
    void pass() { m_opened.wait(); }
    void open() {
        if (!std::exchange(m_isOpen, true)) m_promise.set_value();
    }

  private:
    bool m_isOpen = false;
    std::promise<void> m_promise;
    std::shared_future<void> m_opened = m_promise.get_future().share();
};

}  // namespace tests

#endif
