#ifndef TESTS_PIPELINE_PROCESS_H
#define TESTS_PIPELINE_PROCESS_H

#include <sys/types.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

namespace tests {

// The video pipeline that a process has started, also one that has ended and is not reaped; 0 if there is
// none.
inline pid_t pipelineOf(const std::string& process = "self") {
    std::error_code ignored;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + process + "/task", ignored)) {
        std::ifstream children(thread.path() / "children");
        for (pid_t child = 0; children >> child;) {
            std::string name;
            std::getline(std::ifstream("/proc/" + std::to_string(child) + "/comm"), name);
            if (name == "aipq-video-pipe") return child;  // as the kernel cuts it
        }
    }
    return 0;
}

// As a crash does: nobody asked the television for it. Whether there was one.
inline bool crashPipelineOf(const std::string& process = "self") {
    const pid_t pipeline = pipelineOf(process);
    return pipeline != 0 && ::kill(pipeline, SIGKILL) == 0;
}

}  // namespace tests

#endif
