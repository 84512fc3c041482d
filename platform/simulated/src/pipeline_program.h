// The program of the video pipeline.
#ifndef SIMULATED_PIPELINE_PROGRAM_H
#define SIMULATED_PIPELINE_PROGRAM_H

#include <string>
#include <vector>

namespace simulated {

constexpr char PIPELINE_PROGRAM[] = "aipq-video-pipeline";
constexpr char PIPELINE_DIED[] = "the video pipeline died";

// Searches for the program in this library's folder (a build), then in the libexec folder (installed), then
// on the PATH.
std::string pipelineProgramPath();

// The arguments for posix_spawn(), which does not change them.
std::vector<char*> argumentsOf(std::vector<std::string>& words);

}  // namespace simulated

#endif
