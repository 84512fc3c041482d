#include "own_namespace.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& remedy) {
    throw NoNamespace("cannot " + what + ": " + std::strerror(errno) + "; " + remedy);
}

void write(const char* file, const std::string& text) {
    const int fd = ::open(file, O_WRONLY | O_CLOEXEC);
    const bool written =
        fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (!written) fail(std::string("write to ") + file, "a user namespace needs it");
    ::close(fd);
}

void enterOwnUserNamespace() {
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    const auto mapping = [](unsigned number) {
        return std::to_string(number) + ' ' + std::to_string(number) + " 1";
    };
    if (::unshare(CLONE_NEWUSER) != 0)
        fail("create a user namespace",
             "run it as root, or allow user namespaces (user.max_user_namespaces, a container's security "
             "options)");
    // Without this, the kernel refuses to map a group.
    write("/proc/self/setgroups", "deny");
    write("/proc/self/uid_map", mapping(user));
    write("/proc/self/gid_map", mapping(group));
}

}  // namespace

void enterOwnIpcNamespace() {
    if (::unshare(CLONE_NEWIPC) == 0) return;
    if (errno == EPERM) {
        enterOwnUserNamespace();
        if (::unshare(CLONE_NEWIPC) == 0) return;
    }
    fail("create an IPC namespace",
         "run it as root, or allow IPC namespaces (user.max_ipc_namespaces, AppArmor's restriction of user "
         "namespaces, a container's security options)");
}
