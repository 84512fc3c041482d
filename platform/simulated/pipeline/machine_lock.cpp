#include "machine_lock.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <thread>

#include "report.h"

namespace pipeline {
namespace {

// A name that starts with a zero byte has no file: it needs no common file system and ends with the process,
// however that dies.
constexpr std::string_view LOCK_NAME{"\0aipq-video-pipeline", 20};

bool bindToLockName(int fd) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::copy(LOCK_NAME.begin(), LOCK_NAME.end(), address.sun_path);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + LOCK_NAME.size());
    return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0;
}

}  // namespace

FileDescriptor lockMachine(std::string& problem) {
    using namespace std::chrono_literals;
    // A predecessor that was just killed may need a moment until it is gone.
    const auto deadline = std::chrono::steady_clock::now() + 1s;

    FileDescriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    while (!fd.valid() || !bindToLockName(fd.get())) {
        if (!fd.valid() || errno != EADDRINUSE) {
            problem = withReason("cannot lock this machine", errno);
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
