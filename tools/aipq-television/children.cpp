#include "children.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace television {

namespace {

namespace fs = std::filesystem;

// Returns 0 if the process has ended.
pid_t parentOf(const fs::path& process) {
    std::ifstream file(process / "stat");
    std::string line;
    std::getline(file, line);
    // PID (NAME) STATE PARENT ...; the name may contain any character.
    const std::size_t name = line.rfind(')');
    if (name == std::string::npos || name + 4 > line.size()) return 0;
    pid_t parent = 0;
    std::from_chars(line.data() + name + 4, line.data() + line.size(), parent);
    return parent;
}

}  // namespace

pid_t startChild(int signalAtEnd) {
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0) throw std::runtime_error(std::string("cannot create a process: ") + std::strerror(errno));
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, signalAtEnd);
        // The parent may have ended before this call.
        if (::getppid() != parent) ::raise(signalAtEnd);
    }
    return child;
}

std::vector<pid_t> children() {
    std::vector<pid_t> found;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename();
        pid_t process = 0;
        std::from_chars(name.data(), name.data() + name.size(), process);
        if (process != 0 && parentOf(entry->path()) == ::getpid()) found.push_back(process);
    }
    return found;
}

void adoptOrphans() { ::prctl(PR_SET_CHILD_SUBREAPER, 1); }

void killDescendants(const std::vector<pid_t>& spared) {
    for (bool killed = true; killed;) {
        killed = false;
        for (const pid_t child : children()) {
            const bool spare = std::find(spared.begin(), spared.end(), child) != spared.end();
            if (spare || ::kill(child, SIGKILL) != 0) continue;
            ::waitpid(child, nullptr, 0);
            killed = true;  // this process has adopted its children
        }
    }
}

}  // namespace television
