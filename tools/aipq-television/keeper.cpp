#include "keeper.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "children.h"
#include "exit_code.h"
#include "own_namespace.h"
#include "protocol.h"
#include "report.h"

namespace television {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The time that the command and the television have to end after SIGTERM. The television itself waits ten
// seconds for its video pipeline.
constexpr milliseconds COMMAND_LIMIT{5000};
constexpr milliseconds TELEVISION_LIMIT{15000};

// The messages from the television to its keeper, one a line. A text follows TROUBLE and END.
constexpr char READY[] = "ready";
constexpr char TROUBLE[] = "trouble ";  // a problem that does not end the television
constexpr char END[] = "end ";          // the reason for its end

constexpr std::array END_SIGNALS{SIGHUP, SIGINT, SIGQUIT, SIGTERM};

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error(std::string("cannot create a pipe: ") + std::strerror(errno));
    return ends;
}

int exitCodeOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

std::string describeEnd(int status) {
    return WIFEXITED(status) ? "it ended with exit code " + std::to_string(WEXITSTATUS(status))
                             : "it was killed by signal " + std::to_string(WTERMSIG(status));
}

// The television's process.
class OwnTelevision {
  public:
    OwnTelevision(const Run& run, int keeper) : m_run(run), m_keeper(keeper) {}

    // Returns its exit code.
    int live() {
        leaveStreams();
        try {
            const RunRequest request{m_run.scenario, [this] { beReady(); },
                                     [this](const std::string& why) { reportScenarioFailure(why); }};
            serve(m_run.television, takeEndSignals(), &request);
        } catch (const BadFile& error) {
            send(END + std::string(error.what()));
            return EXIT_BAD_FILE;
        } catch (const std::exception& error) {
            send(END + std::string(error.what()));
            return EXIT_NOT_STARTED;
        }
        if (!logIsComplete()) {
            send(TROUBLE + ("the log " + m_run.logName + " is incomplete: it could not be written"));
            return EXIT_BAD_FILE;
        }
        return m_scenarioFailed ? EXIT_REFUSED : EXIT_DONE;
    }

  private:
    // Redirects the standard streams, which are the command's, to the log.
    void leaveStreams() const {
        const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        const int output = m_run.log >= 0 ? m_run.log : nothing;
        ::dup2(nothing, STDIN_FILENO);
        ::dup2(output, STDOUT_FILENO);
        ::dup2(output, STDERR_FILENO);
    }

    static bool logIsComplete() {
        return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::ferror(stderr) == 0;
    }

    void beReady() const {
        if (!logIsComplete()) {
            // Writing another line fails, too, and sets errno.
            std::puts("");
            std::fflush(stdout);
            throw BadFile("cannot write the log " + m_run.logName + ": " + std::strerror(errno));
        }
        send(READY);
    }

    void reportScenarioFailure(const std::string& why) {
        m_scenarioFailed = true;
        std::cout << why << std::endl;
        send(TROUBLE + ("the scenario failed: " + why));
    }

    void send(std::string line) const {
        std::replace(line.begin(), line.end(), '\n', ' ');
        line += '\n';
        // Writing fails only if the keeper has ended. The kernel then kills this process.
        [[maybe_unused]] const ssize_t written = ::write(m_keeper, line.data(), line.size());
    }

    const Run& m_run;
    const int m_keeper;
    std::atomic<bool> m_scenarioFailed{false};
};

class Keeper {
  public:
    Keeper(const Run& run, const RunFolder& folder, pid_t caller)
        : m_run(run), m_folder(folder), m_caller(caller) {}

    // Returns the exit code of the run.
    int keep() {
        rename("aipq-keeper");
        adoptOrphans();
        takeSignals();
        try {
            enterOwnIpcNamespace();
            m_folder.create();
            // The television and the command inherit the variables.
            ::setenv(remote::FOLDER_VARIABLE, m_folder.path().c_str(), 1);
            ::setenv("AIPQ_TV", remote::placeFrom(remote::DEFAULT_NAME).address.c_str(), 1);
            prepareCommand();
            // The command stays in the caller's process group and session, but the keeper leaves both.
            // Signals to the group do not reach it. And if the command's parent were in another group of the
            // same session, the kernel could send SIGHUP to the whole group at the end of one of the two: it
            // does so if the group has a stopped process, and no other process in it has such a parent.
            ::setsid();
            startTelevision();
            while (!m_exitCode) waitForEvent();
        } catch (const NoNamespace& error) {
            m_exitCode = report(EXIT_NO_RIGHTS, error.what());
        } catch (const std::runtime_error& error) {
            m_exitCode = report(EXIT_NOT_STARTED, error.what());
        }
        endAll();
        return *m_exitCode;
    }

  private:
    void takeSignals() {
        sigset_t all;
        ::sigfillset(&all);
        ::sigprocmask(SIG_SETMASK, &all, nullptr);
        sigset_t handled = forwardedSignals();
        ::sigaddset(&handled, SIGCHLD);  // also sent when the caller ends
        m_signals = ::signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK);
    }

    // Sets the process name and the command line that process lists show. Without it, both are those of the
    // caller.
    void rename(const char* name) const {
        ::prctl(PR_SET_NAME, name);
        std::size_t length = 0;
        for (char** word = m_run.words; *word != nullptr; ++word)
            length = static_cast<std::size_t>(*word - m_run.words[0]) + std::strlen(*word);
        std::memset(m_run.words[0], 0, length);
        std::strncpy(m_run.words[0], name, length);
    }

    bool callerIsGone() const { return ::getppid() != m_caller; }

    void startTelevision() {
        const std::array<int, 2> pipe = makePipe();
        m_television = startChild(SIGKILL);
        if (m_television == 0) {
            rename("aipq-television");
            sigset_t none;
            ::sigemptyset(&none);
            ::sigprocmask(SIG_SETMASK, &none, nullptr);
            std::exit(OwnTelevision(m_run, pipe[1]).live());
        }
        ::close(pipe[1]);
        m_fromTelevision = pipe[0];
        ::fcntl(m_fromTelevision, F_SETFL, O_NONBLOCK);
    }

    // Creates the command's process, which waits for startCommand().
    void prepareCommand() {
        const std::array<int, 2> start = makePipe();
        const std::array<int, 2> failure = makePipe();
        m_command = startChild(SIGKILL);
        if (m_command == 0) beCommand(start[0], failure[1]);
        ::close(start[0]);
        ::close(failure[1]);
        m_start = start[1];
        m_failure = failure[0];
    }

    void startCommand() {
        m_commandRuns = true;
        [[maybe_unused]] const ssize_t written = ::write(m_start, "", 1);
        int error = 0;
        if (::read(m_failure, &error, sizeof error) != sizeof error) return;
        ::waitpid(m_command, nullptr, 0);
        m_commandRuns = false;
        m_exitCode = report(error == ENOENT ? EXIT_NOT_FOUND : EXIT_NOT_EXECUTABLE,
                            "cannot execute '" + m_run.command.front() + "': " + std::strerror(error));
    }

    [[noreturn]] void beCommand(int start, int failure) const {
        rename("aipq-command");
        char byte = 0;
        if (::read(start, &byte, 1) != 1) ::_exit(EXIT_NOT_STARTED);
        std::vector<std::string> words = m_run.command;
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        ::signal(SIGCHLD, m_run.childAction);
        ::sigprocmask(SIG_SETMASK, &m_run.signalMask, nullptr);
        ::execvp(arguments[0], arguments.data());
        const int error = errno;
        [[maybe_unused]] const ssize_t written = ::write(failure, &error, sizeof error);
        ::_exit(EXIT_NOT_FOUND);
    }

    void waitForEvent() {
        std::array<pollfd, 2> fds{{{m_signals, POLLIN, 0}, {m_fromTelevision, POLLIN, 0}}};
        ::poll(fds.data(), fds.size(), -1);
        // Handle earlier signals first: they may prevent the start of the command.
        handleSignals();
        readTelevision();
    }

    void handleSignals() {
        for (signalfd_siginfo signal{}; ::read(m_signals, &signal, sizeof signal) == sizeof signal;) {
            if (signal.ssi_code != SI_QUEUE || static_cast<pid_t>(signal.ssi_pid) != m_caller) continue;
            handleForwarded(static_cast<int>(signal.ssi_signo), signal.ssi_int == FOR_COMMAND);
        }
        int status = 0;
        for (pid_t child = 0; (child = ::waitpid(-1, &status, WNOHANG)) > 0;) {
            if (child == m_television) televisionEnded(status);
            if (child == m_command) commandEnded(status);
        }
        if (callerIsGone() && !m_exitCode) m_exitCode = EXIT_TELEVISION_DIED;
    }

    void handleForwarded(int number, bool forCommand) {
        const bool ends = std::find(END_SIGNALS.begin(), END_SIGNALS.end(), number) != END_SIGNALS.end();
        if (m_commandRuns && forCommand) ::kill(m_command, number);
        if (!m_commandRuns && ends && !m_exitCode) m_exitCode = 128 + number;
    }

    void commandEnded(int status) {
        m_commandRuns = false;
        if (!m_exitCode) m_exitCode = exitCodeOf(status);
    }

    void televisionEnded(int status) {
        m_television = 0;
        readTelevision();
        if (m_exitCode) return;
        const std::string why = m_end.empty() ? describeEnd(status) : m_end;
        if (m_commandRuns) {
            m_exitCode = report(EXIT_TELEVISION_DIED, "the television died under the command: " + why);
        } else if (!m_end.empty() && WIFEXITED(status)) {
            m_exitCode = report(WEXITSTATUS(status), why);
        } else {
            m_exitCode = report(EXIT_NOT_STARTED, "the television could not start: " + why);
        }
    }

    void readTelevision() {
        std::array<char, 4096> part{};
        ssize_t count = 0;
        while ((count = ::read(m_fromTelevision, part.data(), part.size())) > 0)
            m_input.append(part.data(), static_cast<std::size_t>(count));
        // The television has closed the pipe. SIGCHLD reports its end.
        if (count == 0) m_fromTelevision = -1;
        for (std::size_t end = 0; (end = m_input.find('\n')) != std::string::npos; m_input.erase(0, end + 1))
            handleLine(m_input.substr(0, end));
    }

    void handleLine(const std::string& line) {
        if (line.starts_with(TROUBLE)) report(EXIT_REFUSED, line.substr(std::strlen(TROUBLE)));
        if (line.starts_with(END)) m_end = line.substr(std::strlen(END));
        if (line == READY && m_television != 0 && !m_exitCode) startCommand();
    }

    void endAll() {
        if (m_commandRuns) terminate(m_command, COMMAND_LIMIT);
        killDescendants({m_television});
        const std::optional<int> status =
            m_television != 0 ? terminate(m_television, TELEVISION_LIMIT) : std::nullopt;
        readTelevision();
        killDescendants({});
        m_folder.remove();
        // The television has already reported the reason.
        if (status && *m_exitCode == EXIT_DONE) m_exitCode = exitCodeOf(*status);
    }

    // Sends SIGTERM and returns the child's wait status. Returns nothing if the child does not end in time,
    // or if the caller has ended.
    std::optional<int> terminate(pid_t child, milliseconds timeout) const {
        ::kill(child, SIGTERM);
        const auto limit = Clock::now() + timeout;
        while (!callerIsGone()) {
            int status = 0;
            if (::waitpid(child, &status, WNOHANG) == child) return status;
            const auto left = std::chrono::duration_cast<milliseconds>(limit - Clock::now());
            if (left <= milliseconds(0)) break;
            pollfd fd{m_signals, POLLIN, 0};
            ::poll(&fd, 1, static_cast<int>(left.count()));
            signalfd_siginfo signal{};
            while (::read(m_signals, &signal, sizeof signal) == sizeof signal) {
            }
        }
        return std::nullopt;
    }

    const Run& m_run;
    const RunFolder& m_folder;
    const pid_t m_caller;
    int m_signals = -1;
    int m_fromTelevision = -1;
    int m_start = -1;
    int m_failure = -1;
    pid_t m_command = 0;
    bool m_commandRuns = false;
    pid_t m_television = 0;  // 0 before its start and after its end
    std::string m_input;
    std::string m_end;  // the television's reason for its end
    std::optional<int> m_exitCode;
};

}  // namespace

sigset_t forwardedSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : END_SIGNALS) ::sigaddset(&signals, number);
    for (const int number : {SIGUSR1, SIGUSR2, SIGTSTP, SIGCONT}) ::sigaddset(&signals, number);
    return signals;
}

int keep(const Run& run, const RunFolder& folder, pid_t caller) { return Keeper(run, folder, caller).keep(); }

}  // namespace television
