// A program that a test starts, and that ends with the test at the latest.
#ifndef TESTS_CHILD_PROCESS_H
#define TESTS_CHILD_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tests {

// To be used by the test's main thread: the child is killed when the thread that started it ends.
class ChildProcess {
  public:
    // `environment` is added to that of the test; an empty text takes a variable away.
    explicit ChildProcess(const std::vector<std::string>& command,
                          const std::map<std::string, std::string>& environment = {});
    // Kills it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t id() const { return m_process; }
    void signal(int number) const;

    // How it ended: its exit code, or 128 and the signal that killed it. Nothing if it does not in time.
    std::optional<int> wait(std::chrono::milliseconds limit = std::chrono::seconds(30));
    bool isRunning();

    // A line for its standard input.
    void tell(const std::string& line) const;

    // What it printed so far.
    std::string output() const;
    std::string errors() const;
    // Whether its standard output has, or gets, this text, before it ends.
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
