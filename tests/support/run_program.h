// Runs a program and keeps its output.
#ifndef TESTS_RUN_PROGRAM_H
#define TESTS_RUN_PROGRAM_H

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace tests {

struct Finished {
    int status;
    std::string output;  // both streams
};

// Runs a shell command to its end.
inline Finished runProgram(const std::string& command) {
    std::FILE* const pipe = popen(("exec 2>&1; " + command).c_str(), "r");
    std::string output;
    std::array<char, 4096> part{};
    for (std::size_t count; (count = std::fread(part.data(), 1, part.size(), pipe)) > 0;)
        output.append(part.data(), count);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

}  // namespace tests

#endif
