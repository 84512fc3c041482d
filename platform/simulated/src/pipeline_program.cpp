#include "pipeline_program.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <sstream>

#include "simulated/video_pipeline.h"

extern char** environ;

namespace simulated {

namespace {

constexpr auto CHECK_LIMIT = std::chrono::seconds(20);

using Clock = std::chrono::steady_clock;

// Reads the descriptor to its end, or until the limit.
std::string readAll(int fd, Clock::time_point limit) {
    std::string text;
    char part[512];
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
        pollfd input{fd, POLLIN, 0};
        const int changes = poll(&input, 1, static_cast<int>(std::max<Clock::rep>(left, 0)));
        if (changes < 0 && errno == EINTR) continue;
        const ssize_t count = changes > 0 ? ::read(fd, part, sizeof part) : -1;
        if (count <= 0) return text;
        text.append(part, static_cast<std::size_t>(count));
    }
}

// Returns the first line that the pipeline itself printed; its libraries may have printed others.
std::string reportIn(const std::string& lines) {
    const std::string beginning = PIPELINE_PROGRAM + std::string(": ");
    std::istringstream input(lines);
    for (std::string line; std::getline(input, line);)
        if (line.rfind(beginning, 0) == 0) return line.substr(beginning.size());
    return {};
}

}  // namespace

std::string pipelineProgramPath() {
    Dl_info self;
    if (dladdr(PIPELINE_PROGRAM, &self) != 0 && self.dli_fname != nullptr) {
        const std::string library = self.dli_fname;
        const std::size_t slash = library.rfind('/');
        const std::string folder = slash == std::string::npos ? "." : library.substr(0, slash);
        for (const char* place :
             {"/", "/../libexec/platform_adaptation/", "/../../libexec/platform_adaptation/"}) {
            std::string path = folder + place + PIPELINE_PROGRAM;
            if (access(path.c_str(), X_OK) == 0) return path;
        }
    }
    return PIPELINE_PROGRAM;
}

std::vector<char*> argumentsOf(std::vector<std::string>& words) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return arguments;
}

std::string VideoPipeline::problemWith(const std::string& film) {
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) return std::string("pipe: ") + std::strerror(errno);
    const std::string program = pipelineProgramPath();
    std::vector<std::string> words{PIPELINE_PROGRAM, "--check", "--", film};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], STDERR_FILENO);
    pid_t process = -1;
    const int status =
        posix_spawnp(&process, program.c_str(), &actions, nullptr, argumentsOf(words).data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipe[1]);
    if (status != 0) {
        close(pipe[0]);
        return std::string(PIPELINE_PROGRAM) + ": " + std::strerror(status);
    }
    const auto limit = Clock::now() + CHECK_LIMIT;
    const std::string problem = reportIn(readAll(pipe[0], limit));
    close(pipe[0]);
    const bool inTime = Clock::now() < limit;
    if (!inTime) ::kill(process, SIGKILL);
    int end = 0;
    pid_t ended = 0;
    while ((ended = waitpid(process, &end, 0)) == -1 && errno == EINTR) {
    }
    const std::string begin = "cannot play '" + film + "': ";
    if (!inTime) return begin + "it does not open in time";
    if (problem.empty() && ended == process && end != 0) return begin + PIPELINE_DIED;
    return problem;
}

}  // namespace simulated
