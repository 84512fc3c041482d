#ifndef EXAMPLES_PICTURE_SERVICE_TIMELINE_H
#define EXAMPLES_PICTURE_SERVICE_TIMELINE_H

#include <chrono>
#include <mutex>
#include <string>

// Prints lines with the time since its construction. Any thread.
class Timeline {
  public:
    double seconds() const;
    void print(const std::string& text);

  private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point m_start = Clock::now();
    std::mutex m_mutex;
};

#endif
