// Runs aipqctl: the installed program with an embedded television, or the same code in a child process with a
// television that the test prepares.
#ifndef TESTS_AIPQCTL_RUN_H
#define TESTS_AIPQCTL_RUN_H

#include <gmock/gmock.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "simulated/television.h"

namespace tests {

struct Result {
    int exitCode = -1;  // -1 if a signal killed the program
    std::string out;
    std::string err;
};

// A running program. A test can read its standard output line by line.
class Running {
  public:
    // Runs in the child, after its streams are redirected; returns the exit code.
    using Body = std::function<int()>;

    explicit Running(const Body& body);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    // Returns the next line without its line break; empty at the end.
    std::string readLine();
    void interrupt() const;
    // Closes the reading end of the program's standard output.
    void closeOutput();
    // Waits for the program to end. `out` has the output that readLine() has not read.
    Result finish();

  private:
    pid_t m_process = -1;
    int m_out = -1;
    std::string m_errFile;
};

using Arguments = std::vector<std::string>;

// Appends the key of the PQ parameters and these numbers, padded with zeros, to a command.
Arguments setPq(Arguments command, const Arguments& numbers);

// The installed program.
Running::Body program(const Arguments& arguments);
Result run(const Arguments& arguments);
// Runs the program with an embedded television.
Result runEmbedded(const Arguments& arguments);

// Runs the same code with a television in a forked process. `arrange` prepares that television.
using Arrange = std::function<void(simulated::Television&)>;
Running::Body programOn(const Arrange& arrange, const Arguments& arguments);
Result runOn(const Arrange& arrange, const Arguments& arguments);

// Returns the errors that an independent validator reports for `lines`, one JSON object each; empty if none.
std::string validate(const std::string& schema, const std::string& lines);

// Names the tests of a table after its rows.
inline constexpr auto nameOfRow = [](const auto& row) { return std::string(row.param.name); };

// Matches a whole text with a POSIX regular expression; \d is a digit, \n also the end of a line.
testing::PolymorphicMatcher<testing::internal::MatchesRegexMatcher> Reads(std::string pattern);

// Runs a shell command; `out` has both streams.
Result runShell(const std::string& command);

}  // namespace tests

#endif
