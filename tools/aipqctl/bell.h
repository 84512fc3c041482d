#ifndef AIPQCTL_BELL_H
#define AIPQCTL_BELL_H

#include <chrono>

namespace aipqctl {

using Clock = std::chrono::steady_clock;

// Wakes the waiting thread, for events on other threads and for Ctrl-C. While a Bell exists (at most one),
// SIGINT, SIGTERM and SIGHUP ring it instead of ending the program.
class Bell {
  public:
    Bell();
    ~Bell();
    Bell(const Bell&) = delete;
    Bell& operator=(const Bell&) = delete;

    // Callable from any thread and from signal handlers.
    static void ring();

    // From now on, waitUntil() throws OutputClosed when the reader of standard output closes it.
    void watchOutput();

    // Waits until it rings, or returns at once if it rang since the last wait. Returns false at `limit`.
    bool waitUntil(Clock::time_point limit = Clock::time_point::max());

    // Returns whether one of the signals arrived.
    bool interrupted() const;

  private:
    int m_output = -1;
};

}  // namespace aipqctl

#endif
