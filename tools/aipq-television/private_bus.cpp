#include "private_bus.h"

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "children.h"
#include "protocol.h"

namespace television {

namespace {

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

[[noreturn]] void fail(const std::string& what, int error) {
    throw std::runtime_error(what + ": " + std::strerror(error));
}

}  // namespace

void makeFolderOf(const std::string& socket) {
    const std::string folder = folderOf(socket);
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        fail("the folder " + folder + " cannot be made", errno);
    // In /tmp, another user may have created the folder.
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != ::geteuid() ||
        (status.st_mode & 077U) != 0)
        throw std::runtime_error("the folder " + folder +
                                 " is not this user's alone: remove it, or set XDG_RUNTIME_DIR");
}

PrivateBus::PrivateBus(const std::string& name) : m_socket(remote::socketPath(name)) {
    if (::getpwuid(::geteuid()) == nullptr)
        throw std::runtime_error("dbus-daemon does not serve a user without a name: add the user " +
                                 std::to_string(::geteuid()) + " to /etc/passwd");
    makeFolderOf(m_socket);
    lock(name);
    try {
        writeConfiguration();
        startDaemon();
    } catch (const std::runtime_error&) {
        removeFiles();
        throw;
    }
}

PrivateBus::~PrivateBus() {
    ::kill(m_daemon, SIGTERM);
    ::waitpid(m_daemon, nullptr, 0);
    removeFiles();
}

void PrivateBus::removeFiles() const {
    ::unlink(m_socket.c_str());
    ::unlink((m_socket + ".conf").c_str());
    ::unlink((m_socket + ".lock").c_str());
    ::close(m_lock);
}

void PrivateBus::lock(const std::string& name) {
    const std::string path = m_socket + ".lock";
    for (;;) {
        m_lock = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (m_lock < 0) fail(path + " cannot be opened", errno);
        if (::flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
            ::close(m_lock);
            throw std::runtime_error("a television '" + name +
                                     "' is already running: use it, end it, or give this one another --name");
        }
        // A television that was ending may have removed the file since. Another television can then lock a
        // new file.
        struct stat locked {};
        struct stat current {};
        if (::fstat(m_lock, &locked) == 0 && ::stat(path.c_str(), &current) == 0 &&
            locked.st_ino == current.st_ino)
            return;
        ::close(m_lock);
    }
}

void PrivateBus::writeConfiguration() const {
    std::ofstream file(m_socket + ".conf", std::ios::trunc);
    file << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
            " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig>\n"
            "  <type>session</type>\n"
            "  <listen>unix:path="
         << m_socket
         << "</listen>\n"
            "  <auth>EXTERNAL</auth>\n"
            "  <policy context=\"default\">\n"
            "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
            "    <allow eavesdrop=\"true\"/>\n"
            "    <allow own=\"*\"/>\n"
            "  </policy>\n"
            "  <limit name=\"max_replies_per_connection\">50000</limit>\n"
            "  <limit name=\"max_incoming_bytes\">1000000000</limit>\n"
            "  <limit name=\"max_outgoing_bytes\">1000000000</limit>\n"
            "  <limit name=\"max_completed_connections\">1000</limit>\n"
            "  <limit name=\"max_connections_per_user\">1000</limit>\n"
            "</busconfig>\n";
    file.close();
    if (!file) throw std::runtime_error(m_socket + ".conf cannot be written");
}

void PrivateBus::startDaemon() {
    std::array<int, 2> ready{};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0) fail("cannot create a pipe", errno);
    const std::string configuration = "--config-file=" + m_socket + ".conf";
    const std::string printAddress = "--print-address=" + std::to_string(ready[1]);
    // SIGKILL: a daemon that shuts down by itself after its television was killed may remove the next one's
    // socket.
    m_daemon = startChild(SIGKILL);
    if (m_daemon == 0) {
        // Ctrl-C in the television's terminal must not reach the daemon.
        ::setpgid(0, 0);
        sigset_t none;
        ::sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::fcntl(ready[1], F_SETFD, 0);
        // The daemon reports connections, and limits that it has no right to raise. Discard these messages.
        ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
        ::execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--nopidfile", "--nosyslog",
                 printAddress.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(ready[1]);
    char first = 0;
    const ssize_t count = ::read(ready[0], &first, 1);
    ::close(ready[0]);
    if (count == 1) return;
    int status = 0;
    ::waitpid(m_daemon, &status, 0);
    throw std::runtime_error(WIFEXITED(status) && WEXITSTATUS(status) == 127
                                 ? "dbus-daemon is not installed: install the package dbus-daemon"
                                 : "dbus-daemon does not start: try dbus-daemon " + configuration);
}

}  // namespace television
