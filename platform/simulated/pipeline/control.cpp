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
    if (!S_ISSOCK(status.st_mode) && !S_ISFIFO(status.st_mode))
        return name + " is neither a socket nor a pipe";
    if ((::fcntl(fd, F_GETFL) & O_ACCMODE) == O_WRONLY) return name + " cannot be read";
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    fd_ = FileDescriptor(fd);
    answers_ = S_ISSOCK(status.st_mode);
    return {};
}

bool Control::wantsInput(bool acceptCommands) const {
    return acceptCommands && output_.size() <= OUTPUT_MAX && input_.find('\n') == std::string::npos;
}

short Control::events(bool acceptCommands) const {
    return static_cast<short>((wantsInput(acceptCommands) ? POLLIN : 0) | (output_.empty() ? 0 : POLLOUT));
}

void Control::handle(short revents, bool acceptCommands) {
    if ((revents & POLLOUT) != 0) flush();
    if ((revents & (POLLIN | POLLHUP | POLLERR)) == 0) return;
    if (wantsInput(acceptCommands)) {
        receive();
    } else if ((revents & (POLLHUP | POLLERR)) != 0) {
        ended_ = true;
    }
}

void Control::receive() {
    std::array<char, 4096> buffer{};
    const ssize_t received = ::read(fd_.get(), buffer.data(), buffer.size());
    if (received < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (received <= 0) {
        ended_ = true;
        return;
    }
    for (const char c : std::string_view(buffer.data(), static_cast<std::size_t>(received))) {
        if (c == '\n' || lineLength_ <= LINE_MAX_LENGTH) input_.push_back(c);
        lineLength_ = c == '\n' ? 0 : lineLength_ + 1;
    }
}

std::optional<std::string> Control::nextLine() {
    const std::size_t end = input_.find('\n');
    if (end == std::string::npos) return std::nullopt;
    std::string line = input_.substr(0, end);
    input_.erase(0, end + 1);
    return line;
}

void Control::send(std::string_view line) {
    if (!answers_) return;
    output_ += oneLine(line);
    output_ += '\n';
    flush();
}

void Control::sendIfHeard(std::string_view line) {
    if (output_.size() <= OUTPUT_MAX) send(line);
}

void Control::flush() {
    while (!output_.empty()) {
        const ssize_t sent = ::send(fd_.get(), output_.data(), output_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN) return;
            // Whoever has stopped listening may still have something to say, so reading goes on.
            answers_ = false;
            output_.clear();
            return;
        }
        output_.erase(0, static_cast<std::size_t>(sent));
    }
}

}  // namespace pipeline
