// Records the lines that the platform's debug output receives during a test.
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

// A line of the debug output: "file:number:function(): tag message". The message includes the line end.
struct LogLine {
    unsigned level;
    std::string file;
    std::string function;
    std::string message;
    std::string tag = "[Platform Adaptation]";
    int number = 0;
    pid_t thread = 0;  // the thread that logged the line
};

// Compares all fields except the line number and the thread.
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

    // The lines with exactly this message; `message` includes the line end.
    std::vector<LogLine> withMessage(const std::string& message) const;

    // The number of lines equal to `line`.
    std::size_t count(const LogLine& line) const;

    // The number of this function's ENTER lines, whose message repeats the function's name and the line
    // number.
    std::size_t countEnter(const std::string& file, const std::string& function) const;

    // Returns true as soon as `times` lines contain the text in their message; false after the limit.
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
