#ifndef TESTS_EVENTUALLY_H
#define TESTS_EVENTUALLY_H

#include <chrono>
#include <functional>
#include <thread>

namespace tests {

// Polls a condition that has no notification. Returns true if it holds within half a minute.
inline bool eventually(const std::function<bool()>& holds) {
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30); !holds();
         std::this_thread::sleep_for(std::chrono::milliseconds(1)))
        if (std::chrono::steady_clock::now() > end) return false;
    return true;
}

}  // namespace tests

#endif
