#include "child_process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace tests {

namespace {

constexpr auto POLL_PERIOD = std::chrono::milliseconds(2);

std::vector<std::string> changedEnvironment(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (changes.count(text.substr(0, text.find('='))) == 0) all.push_back(text);
    }
    for (const auto& [name, value] : changes)
        if (!value.empty()) all.push_back(std::string(name).append("=").append(value));
    return all;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::string contentOf(int file) {
    std::string text;
    std::array<char, 4096> part{};
    ssize_t count = 0;
    while ((count = ::pread(file, part.data(), part.size(), static_cast<off_t>(text.size()))) > 0)
        text.append(part.data(), static_cast<std::size_t>(count));
    return text;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::map<std::string, std::string>& environment) {
    std::array<int, 2> input{};
    if (::pipe2(input.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    m_input = input[1];
    m_output = ::memfd_create("output", MFD_CLOEXEC);
    m_errors = ::memfd_create("errors", MFD_CLOEXEC);
    // Allocated before fork(): the child of a program with threads must not allocate.
    std::vector<std::string> words = command;
    std::vector<std::string> variables = changedEnvironment(environment);
    const std::vector<char*> arguments = pointersTo(words);
    const std::vector<char*> entries = pointersTo(variables);
    const pid_t parent = ::getpid();
    m_process = ::fork();
    if (m_process < 0) throw std::runtime_error("no process");
    if (m_process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(1);
        ::dup2(input[0], STDIN_FILENO);
        ::dup2(m_output, STDOUT_FILENO);
        ::dup2(m_errors, STDERR_FILENO);
        ::execvpe(arguments[0], arguments.data(), entries.data());
        ::_exit(127);
    }
    ::close(input[0]);
}

ChildProcess::~ChildProcess() {
    if (!m_ended) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    ::close(m_input);
    ::close(m_output);
    ::close(m_errors);
}

void ChildProcess::signal(int number) const {
    if (!m_ended) ::kill(m_process, number);
}

bool ChildProcess::isRunning() {
    int status = 0;
    if (!m_ended && ::waitpid(m_process, &status, WNOHANG) == m_process)
        m_ended = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return !m_ended;
}

std::optional<int> ChildProcess::wait(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (isRunning() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(POLL_PERIOD);
    return m_ended;
}

void ChildProcess::send(const std::string& line) const {
    const std::string text = line + '\n';
    if (::write(m_input, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("cannot write to the child process");
}

std::string ChildProcess::output() const { return contentOf(m_output); }
std::string ChildProcess::errors() const { return contentOf(m_errors); }

bool ChildProcess::waitForOutput(const std::string& text, std::chrono::milliseconds limit) {
    return waitForText(m_output, text, limit);
}

bool ChildProcess::waitForErrors(const std::string& text, std::chrono::milliseconds limit) {
    return waitForText(m_errors, text, limit);
}

bool ChildProcess::waitForText(int file, const std::string& text, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const bool mayPrintMore = isRunning() && std::chrono::steady_clock::now() < end;
        if (contentOf(file).find(text) != std::string::npos) return true;
        if (!mayPrintMore) return false;
        std::this_thread::sleep_for(POLL_PERIOD);
    }
}

}  // namespace tests
