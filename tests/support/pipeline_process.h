#ifndef TESTS_PIPELINE_PROCESS_H
#define TESTS_PIPELINE_PROCESS_H

#include <sys/types.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

namespace tests {

// Returns the process id of the video pipeline that `process` has started, also if the pipeline is a zombie.
// Returns 0 if there is none.
inline pid_t pipelineOf(const std::string& process = "self") {
    std::error_code ignored;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + process + "/task", ignored)) {
        std::ifstream children(thread.path() / "children");
        for (pid_t child = 0; children >> child;) {
            std::string name;
            std::getline(std::ifstream("/proc/" + std::to_string(child) + "/comm"), name);
            if (name == "aipq-video-pipe") return child;  // the kernel truncates the name to 15 characters
        }
    }
    return 0;
}

// Kills the pipeline like a crash, without the television's knowledge. Returns false if there is no pipeline.
inline bool crashPipelineOf(const std::string& process = "self") {
    const pid_t pipeline = pipelineOf(process);
    return pipeline != 0 && ::kill(pipeline, SIGKILL) == 0;
}

}  // namespace tests

#endif
