// A run of aipq-television: a command with a private television, and all their processes.
#ifndef TESTS_OWN_TELEVISION_H
#define TESTS_OWN_TELEVISION_H

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "child_process.h"

namespace tests {

using Words = std::vector<std::string>;

// `aipq-television run OPTIONS -- COMMAND`.
Words runWords(const Words& options, const Words& command);

struct Result {
    std::optional<int> exitCode;
    std::string output;
    std::string errors;
};

// Runs a command to its end.
Result run(const Words& options, const Words& command,
           const std::map<std::string, std::string>& environment = {});

// A run with a long-running command that has background children. The command prints a line for each of the
// signals TERM, INT, HUP, QUIT, USR1 and USR2, and exits with code 7 on SIGTERM.
class OwnTelevision {
  public:
    // Waits until the command runs.
    explicit OwnTelevision(const Words& options = {"--video", "off"});

    // Kills the remaining processes.
    ~OwnTelevision();
    OwnTelevision(const OwnTelevision&) = delete;
    OwnTelevision& operator=(const OwnTelevision&) = delete;

    ChildProcess& process() { return m_process; }
    pid_t caller() const { return m_process.id(); }
    pid_t keeper() const { return m_keeper; }
    pid_t television() const { return m_television; }
    pid_t bus() const { return m_bus; }
    pid_t command() const { return m_command; }

    // Returns true if all processes and folders disappear within the limit.
    bool isGone() const;

  private:
    ChildProcess m_process;
    std::string m_namespace;
    // Keeps the namespace in existence. Otherwise the kernel reuses its number for a new namespace, for
    // example of a parallel test, and that test's processes would be counted as this run's.
    int m_namespaceFile = -1;
    pid_t m_keeper = 0;
    pid_t m_television = 0;
    pid_t m_bus = 0;
    pid_t m_command = 0;
};

// Returns the child of a process with this name; 0 if there is none.
pid_t childOf(pid_t process, const std::string& name);

// Returns the state of a process in /proc, such as 'S' or 'T'; 0 if there is no such process.
char stateOf(pid_t process);
bool isAlive(pid_t process);

// Returns the folders of all runs.
std::vector<std::string> runFolders();

}  // namespace tests

#endif
