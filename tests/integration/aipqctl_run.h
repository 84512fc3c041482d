// Runs of aipqctl: the installed program with a television of its own, or the same code in a process whose
// television the test arranges.
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
    int exitCode = -1;  // -1 if a signal ended it
    std::string out;
    std::string err;
};

// A program that has been started; its standard output can be read line by line.
class Running {
  public:
    // In the child, with its streams in place; returns the exit code.
    using Body = std::function<int()>;

    explicit Running(const Body& body);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    // The next line, without its end; empty if there is none any more.
    std::string readLine();
    void interrupt() const;
    // Nobody reads its standard output any more.
    void closeOutput();
    // Waits for its end. `out` is what readLine() has not read.
    Result finish();

  private:
    pid_t m_process = -1;
    int m_out = -1;
    std::string m_errFile;
};

using Arguments = std::vector<std::string>;

// The command with the key of the PQ parameters and these numbers, filled up with zeros.
Arguments setPq(Arguments command, const Arguments& numbers);

// The program, as a user runs it.
Running::Body program(const Arguments& arguments);
Result run(const Arguments& arguments);
// With a television of its own.
Result runEmbedded(const Arguments& arguments);

// The same with this process's television, which `arrange` puts into the wanted state.
using Arrange = std::function<void(simulated::Television&)>;
Running::Body programOn(const Arrange& arrange, const Arguments& arguments);
Result runOn(const Arrange& arrange, const Arguments& arguments);

// What an independent validator finds wrong with `lines`, one JSON object each; empty if nothing.
std::string validate(const std::string& schema, const std::string& lines);

// Names a table's tests by its rows.
inline constexpr auto nameOfRow = [](const auto& row) { return std::string(row.param.name); };

// Matches a whole text; the pattern is POSIX's, with \d for a digit and \n for the end of a line, too.
testing::PolymorphicMatcher<testing::internal::MatchesRegexMatcher> Reads(std::string pattern);

// One command of a shell, both streams together.
Result runShell(const std::string& command);

}  // namespace tests

#endif
