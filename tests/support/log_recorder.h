// What the platform's debug output receives while a test runs.
#ifndef TESTS_LOG_RECORDER_H
#define TESTS_LOG_RECORDER_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "simulated/television.h"

namespace tests {

enum : unsigned { TRACE = 0x01C70001, ERROR = 0x01C703E8, INFO = 0x01C70FA0 };

// A line as the debug output received it: "file:number:function(): tag message", the line end included.
struct LogLine {
    unsigned level;
    std::string file;
    std::string function;
    std::string message;
    std::string tag = "[Platform Adaptation]";
    int number = 0;
    pid_t thread = 0;  // that logged it
};

// Equal but for the number and the thread.
bool operator==(const LogLine& a, const LogLine& b);

std::ostream& operator<<(std::ostream& out, const LogLine& line);

class LogRecorder {
  public:
    explicit LogRecorder(
        simulated::DebugOutput::Verbosity verbosity = simulated::DebugOutput::Verbosity::TRACE);
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    std::vector<LogLine> lines() const;

    // The lines whose message is exactly this, the line end included.
    std::vector<LogLine> withMessage(const std::string& message) const;

    // How many lines equal this one.
    std::size_t count(const LogLine& line) const;

    // How many ENTER lines this function logged, each naming itself and its own number again.
    std::size_t countEnter(const std::string& file, const std::string& function) const;

    // Whether a line with this text anywhere in its message arrives, or has arrived, `times` times, in time.
    bool waitFor(const std::string& text, std::size_t times = 1,
                 std::chrono::milliseconds limit = std::chrono::seconds(30));

    void clear();

  private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<LogLine> m_lines;
};

}  // namespace tests

#endif
