#include "bell.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

#include "output.h"

namespace aipqctl {

namespace {

constexpr std::array SIGNALS{SIGINT, SIGTERM, SIGHUP};

// Never closed: a late ring() must not write to a descriptor that was reused.
std::atomic<int> eventFd{-1};
volatile std::sig_atomic_t signalled = 0;
std::array<struct sigaction, SIGNALS.size()> formerActions{};

void onSignal(int) {
    const int savedErrno = errno;
    signalled = 1;
    Bell::ring();
    errno = savedErrno;
}

}  // namespace

Bell::Bell() {
    if (eventFd == -1) {
        eventFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (eventFd == -1) throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) sigaction(SIGNALS[i], &action, &formerActions[i]);
}

Bell::~Bell() {
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) sigaction(SIGNALS[i], &formerActions[i], nullptr);
}

void Bell::ring() {
    const std::uint64_t one = 1;
    // Fails only if the counter is full. The bell is then ringing already.
    [[maybe_unused]] const ssize_t written = write(eventFd, &one, sizeof one);
}

void Bell::watchOutput() { m_output = STDOUT_FILENO; }

bool Bell::waitUntil(Clock::time_point limit) {
    for (;;) {
        int milliseconds = -1;
        if (limit != Clock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
            milliseconds = static_cast<int>(std::clamp<long long>(left, 0, 3600 * 1000));
        }
        // The system reports an error on a pipe without a reader, also if no event is requested.
        std::array<pollfd, 2> waits{{{eventFd, POLLIN, 0}, {m_output, 0, 0}}};
        const int ready = poll(waits.data(), waits.size(), milliseconds);
        if (ready > 0 && waits[0].revents == 0) throw OutputClosed();
        if (ready > 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const ssize_t size = read(eventFd, &count, sizeof count);
            return true;
        }
        if (ready == 0 && Clock::now() >= limit) return false;
    }
}

bool Bell::interrupted() const { return signalled != 0; }

}  // namespace aipqctl
