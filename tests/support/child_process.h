// A program that a test starts. It is killed at the end of the test at the latest.
#ifndef TESTS_CHILD_PROCESS_H
#define TESTS_CHILD_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tests {

// Use it on the test's main thread: the kernel kills the child when the thread that started it ends.
class ChildProcess {
  public:
    // `environment` changes the environment of the test: an empty text removes a variable.
    explicit ChildProcess(const std::vector<std::string>& command,
                          const std::map<std::string, std::string>& environment = {});
    // Kills the program.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t id() const { return m_process; }
    void signal(int number) const;

    // Waits for the program's end. Returns its exit code, or 128 + N if signal N killed it; nullopt after the
    // limit.
    std::optional<int> wait(std::chrono::milliseconds limit = std::chrono::seconds(30));
    bool isRunning();

    // Writes a line to its standard input.
    void send(const std::string& line) const;

    // Its standard output and standard error so far.
    std::string output() const;
    std::string errors() const;
    // Returns true as soon as its standard output contains the text; false after the limit, or if the program
    // ended without printing it.
    bool waitForOutput(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(30));
    bool waitForErrors(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(30));

  private:
    bool waitForText(int file, const std::string& text, std::chrono::milliseconds limit);

    pid_t m_process = -1;
    int m_input = -1;
    int m_output = -1;
    int m_errors = -1;
    std::optional<int> m_ended;
};

}  // namespace tests

#endif
