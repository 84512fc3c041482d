#include "only_pipeline.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "report.h"

namespace pipeline {
namespace {

// The file of the namespace itself: the lock has the reach of the names that it protects, leaves nothing
// behind, and ends with the process, however that dies.
constexpr char NAMESPACE[] = "/proc/self/ns/ipc";

}  // namespace

FileDescriptor becomeOnlyPipeline(std::string& problem) {
    using namespace std::chrono_literals;
    // A predecessor that was just killed may need a moment until it is gone.
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
