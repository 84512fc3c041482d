#include "own_namespace.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace television {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw NoNamespace("cannot " + what + ": " + std::strerror(errno) +
                      "; run it as root, or allow user and IPC namespaces (user.max_user_namespaces, "
                      "user.max_ipc_namespaces, AppArmor's restriction of user namespaces, a container's "
                      "security options)");
}

void write(const char* file, const std::string& text) {
    const int fd = ::open(file, O_WRONLY | O_CLOEXEC);
    if (fd < 0 || ::write(fd, text.data(), text.size()) < 0)
        fail(std::string("set up a user namespace by ") + file);
    ::close(fd);
}

void enterOwnUserNamespace() {
    const auto mapping = [](unsigned number) {
        return std::to_string(number) + ' ' + std::to_string(number) + " 1";
    };
    const std::string user = mapping(::geteuid());
    const std::string group = mapping(::getegid());
    if (::unshare(CLONE_NEWUSER) != 0) fail("create a user namespace");
    // Without this, the kernel does not let an unprivileged user map a group.
    write("/proc/self/setgroups", "deny");
    write("/proc/self/uid_map", user);
    write("/proc/self/gid_map", group);
}

}  // namespace

void enterOwnIpcNamespace() {
    if (::unshare(CLONE_NEWIPC) == 0) return;
    if (errno == EPERM) {
        enterOwnUserNamespace();
        if (::unshare(CLONE_NEWIPC) == 0) return;
    }
    fail("create an IPC namespace");
}

}  // namespace television
