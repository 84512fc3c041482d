#include "control.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "report.h"

namespace pipeline {
namespace {

constexpr std::size_t OUTPUT_MAX = 65536;

}  // namespace

std::string Control::open(int fd) {
    const std::string name = "control descriptor " + std::to_string(fd);
    struct stat status {};
    if (::fstat(fd, &status) != 0) return withReason("cannot use " + name, errno);
    if (!S_ISSOCK(status.st_mode) && !S_ISFIFO(status.st_mode)) {
        return name + " is neither a socket nor a pipe";
    }
    if ((::fcntl(fd, F_GETFL) & O_ACCMODE) == O_WRONLY) return name + " cannot be read";
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    m_fd = FileDescriptor(fd);
    m_answers = S_ISSOCK(status.st_mode);
    return {};
}

bool Control::wantsInput(bool acceptCommands) const {
    return acceptCommands && m_output.size() <= OUTPUT_MAX && m_input.find('\n') == std::string::npos;
}

short Control::events(bool acceptCommands) const {
    return static_cast<short>((wantsInput(acceptCommands) ? POLLIN : 0) | (m_output.empty() ? 0 : POLLOUT));
}

void Control::handle(short revents, bool acceptCommands) {
    if ((revents & POLLOUT) != 0) flush();
    if ((revents & (POLLIN | POLLHUP | POLLERR)) == 0) return;
    if (wantsInput(acceptCommands)) {
        receive();
    } else if ((revents & (POLLHUP | POLLERR)) != 0) {
        m_ended = true;
    }
}

void Control::receive() {
    std::array<char, 4096> buffer{};
    const ssize_t received = ::read(m_fd.get(), buffer.data(), buffer.size());
    if (received < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (received <= 0) {
        m_ended = true;
        return;
    }
    for (const char c : std::string_view(buffer.data(), static_cast<std::size_t>(received))) {
        if (c == '\n' || m_lineLength <= LINE_MAX_LENGTH) m_input.push_back(c);
        m_lineLength = c == '\n' ? 0 : m_lineLength + 1;
    }
}

std::optional<std::string> Control::nextLine() {
    const std::size_t end = m_input.find('\n');
    if (end == std::string::npos) return std::nullopt;
    std::string line = m_input.substr(0, end);
    m_input.erase(0, end + 1);
    return line;
}

void Control::send(std::string_view line) {
    if (!m_answers) return;
    m_output += oneLine(line);
    m_output += '\n';
    flush();
}

void Control::sendIfHeard(std::string_view line) {
    if (m_output.size() <= OUTPUT_MAX) send(line);
}

void Control::flush() {
    while (!m_output.empty()) {
        const ssize_t sent =
            ::send(m_fd.get(), m_output.data(), m_output.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN) return;
            // A peer that no longer reads may still send: continue to read.
            m_answers = false;
            m_output.clear();
            return;
        }
        m_output.erase(0, static_cast<std::size_t>(sent));
    }
}

}  // namespace pipeline
