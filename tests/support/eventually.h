#ifndef TESTS_EVENTUALLY_H
#define TESTS_EVENTUALLY_H

#include <chrono>
#include <functional>
#include <thread>

namespace tests {

// Polls a condition that has no notification. Returns true if it holds within `limit`.
inline bool eventually(const std::function<bool()>& holds,
                       std::chrono::seconds limit = std::chrono::seconds(30)) {
    for (const auto end = std::chrono::steady_clock::now() + limit; !holds();
         std::this_thread::sleep_for(std::chrono::milliseconds(1)))
        if (std::chrono::steady_clock::now() > end) return false;
    return true;
}

}  // namespace tests

#endif
