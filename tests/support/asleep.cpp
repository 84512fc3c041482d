#include "asleep.h"

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

namespace tests {

namespace {

// If the thread sleeps now, the number of its voluntary context switches; otherwise -1.
long sleepCount(pid_t thread) {
    std::ifstream status("/proc/" + std::to_string(thread) + "/status");
    bool sleeps = false;
    for (std::string word; status >> word;) {
        if (word == "State:") {
            status >> word;
            sleeps = word == "S";
        } else if (word == "voluntary_ctxt_switches:") {
            long count = 0;
            status >> count;
            return sleeps ? count : -1;
        }
    }
    return -1;
}

}  // namespace

bool waitUntilAsleep(pid_t thread) {
    constexpr int wantedInARow = 3;
    long last = -1;
    int inARow = 0;
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < limit) {
        const long count = sleepCount(thread);
        inARow = count >= 0 && count == last ? inARow + 1 : 0;
        if (inARow == wantedInARow) return true;
        last = count;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

}  // namespace tests
