// The number of attempts that an accessor makes to connect to an unavailable key.
#ifndef TESTS_ATTEMPTS_H
#define TESTS_ATTEMPTS_H

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <ostream>
#include <string>

#include "simulated/television.h"

namespace tests {

struct Attempts {
    int timeoutMs;
    unsigned attempts;
    unsigned pauses;
};

inline void PrintTo(const Attempts& row, std::ostream* out) {
    *out << row.timeoutMs << " ms: " << row.attempts;
}

inline constexpr Attempts ATTEMPTS[] = {{1000, 10, 10}, {901, 10, 10},  {150, 2, 2}, {101, 2, 2},
                                        {100, 1, 1},    {1, 1, 1},      {0, 1, 0},   {-1, 1, 0},
                                        {-1000, 1, 0},  {INT_MIN, 1, 0}};

// Withdraws `key` and connects an accessor to it.
template <typename Access>
void expectAttempts(const std::string& key, const Attempts& row) {
    using namespace std::chrono_literals;
    simulated::Television& television = simulated::Television::instance();
    television.model().withdraw(key);
    Access access(key);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(access.connect(row.timeoutMs), 5);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(television.model().connectAttempts(key), row.attempts);
    EXPECT_EQ(television.framework().lookups(), 1U);
    EXPECT_GE(elapsed, row.pauses * 100ms);
    EXPECT_LT(elapsed, row.pauses * 100ms + 10s);
}

}  // namespace tests

#endif
