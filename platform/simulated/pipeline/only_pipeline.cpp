#include "only_pipeline.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "report.h"

namespace pipeline {
namespace {

// The file of the IPC namespace. A lock on it has the same scope as the queue and the block, leaves no file
// behind, and ends with the process, even after SIGKILL.
constexpr char NAMESPACE[] = "/proc/self/ns/ipc";

}  // namespace

FileDescriptor becomeOnlyPipeline(std::string& problem) {
    using namespace std::chrono_literals;
    // A predecessor that was just killed may need a moment to end.
    const auto deadline = std::chrono::steady_clock::now() + 1s;

    FileDescriptor fd(::open(NAMESPACE, O_RDONLY | O_CLOEXEC));
    while (!fd.valid() || ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
        if (!fd.valid() || errno != EWOULDBLOCK) {
            problem = withReason(std::string("cannot lock ") + NAMESPACE, errno);
            return FileDescriptor();
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            problem = "another video pipeline already serves this machine";
            return FileDescriptor();
        }
        std::this_thread::sleep_for(20ms);
    }
    return fd;
}

}  // namespace pipeline
