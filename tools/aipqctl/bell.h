#ifndef AIPQCTL_BELL_H
#define AIPQCTL_BELL_H

#include <chrono>

namespace aipqctl {

using Clock = std::chrono::steady_clock;

// Wakes the thread that waits, for news that other threads have and for Ctrl-C. While it exists (one at a
// time), SIGINT, SIGTERM and SIGHUP ring it instead of ending the program.
class Bell {
  public:
    Bell();
    ~Bell();
    Bell(const Bell&) = delete;
    Bell& operator=(const Bell&) = delete;

    // Any thread, and signal handlers.
    static void ring();

    // Until it rings, or has rung since the last wait; false if that does not happen before `limit`.
    bool waitUntil(Clock::time_point limit = Clock::time_point::max());

    // Whether one of the signals came.
    bool interrupted() const;
};

}  // namespace aipqctl

#endif
