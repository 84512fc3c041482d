#include "own_television.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "eventually.h"
#include "television_process.h"

namespace tests {

namespace {

namespace fs = std::filesystem;

// The background processes: one in the command's session, one in its own session. The shell waits in short
// steps, because it handles signals between two commands.
constexpr char COMMAND[] = R"(
for signal in INT HUP QUIT USR1 USR2; do trap "echo got $signal" $signal; done
trap 'echo got TERM; exit 7' TERM
sleep 1000 &
setsid sleep 1000 &
echo "command $$ $(readlink /proc/self/ns/ipc) up"
while :; do wait; done
)";

// Returns a command that runs in a process group of its own, like a shell's job. The kernel does not stop the
// processes of a group on SIGTSTP if no process in it has a parent in another group of the same session.
Words asJob(Words command) {
    command.insert(
        command.begin(),
        {"python3", "-c", "import os, sys; os.setpgid(0, 0); os.execv(sys.argv[1], sys.argv[1:])"});
    return command;
}

std::string nameOf(pid_t process) {
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(process) + "/comm"), name);
    return name;
}

std::vector<pid_t> processesIn(const std::string& ipcNamespace) {
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        std::error_code none;
        if (fs::read_symlink(entry.path() / "ns/ipc", none) == ipcNamespace)
            found.push_back(std::stoi(entry.path().filename()));
    }
    return found;
}

}  // namespace

Words runWords(const Words& options, const Words& command) {
    Words words{TELEVISION_PROGRAM, "run"};
    words.insert(words.end(), options.begin(), options.end());
    words.emplace_back("--");
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

Result run(const Words& options, const Words& command,
           const std::map<std::string, std::string>& environment) {
    ChildProcess process(runWords(options, command), environment);
    const std::optional<int> exitCode = process.wait();
    return {exitCode, process.output(), process.errors()};
}

OwnTelevision::OwnTelevision(const Words& options)
    : m_process(asJob(runWords(options, {"bash", "-c", COMMAND}))) {
    if (!m_process.waitForOutput(" up\n")) throw std::runtime_error("no command: " + m_process.errors());
    std::string word;
    std::istringstream(m_process.output()) >> word >> m_command >> m_namespace;
    m_namespaceFile =
        ::open(("/proc/" + std::to_string(m_command) + "/ns/ipc").c_str(), O_RDONLY | O_CLOEXEC);
    if (m_namespaceFile < 0) throw std::runtime_error("no IPC namespace of the command");
    m_keeper = childOf(caller(), "aipq-keeper");
    m_television = childOf(m_keeper, "aipq-television");
    m_bus = childOf(m_television, "dbus-daemon");
}

OwnTelevision::~OwnTelevision() {
    for (const pid_t process : processesIn(m_namespace)) ::kill(process, SIGKILL);
    ::close(m_namespaceFile);
}

bool OwnTelevision::isGone() const {
    return eventually([this] { return processesIn(m_namespace).empty() && runFolders().empty(); });
}

pid_t childOf(pid_t process, const std::string& name) {
    const std::string task = "/proc/" + std::to_string(process) + "/task/" + std::to_string(process);
    std::ifstream children(task + "/children");
    for (pid_t child = 0; children >> child;)
        if (nameOf(child) == name) return child;
    return 0;
}

char stateOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string word;
    char state = 0;
    // The names of the test's commands contain no blanks.
    file >> word >> word >> state;
    return state;
}

bool isAlive(pid_t process) {
    const char state = stateOf(process);
    return state != 0 && state != 'Z';
}

std::vector<std::string> runFolders() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(runtimeFolder()))
        if (entry.path().filename().string().starts_with("aipq-run.")) names.push_back(entry.path());
    return names;
}

}  // namespace tests
