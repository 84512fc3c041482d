#include "barrier_faults.h"

#include <dlfcn.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace {

std::atomic<bool> registered{false};
std::atomic<int> made{0};
std::atomic<bool> failNext{false};

bool refuses(long command) {
    if (std::getenv("TESTS_NO_BARRIER") != nullptr) return true;
    return command == MEMBARRIER_CMD_PRIVATE_EXPEDITED && failNext.exchange(false);
}

}  // namespace

namespace tests {

bool hasBarrier() { return registered; }
int barriersMade() { return made; }
void failNextBarrier() { failNext = true; }

}  // namespace tests

// Before the C library's; everything but the barrier is passed on. A sanitizer may call it before it is
// ready.
extern "C" __attribute__((no_sanitize("thread", "address", "undefined"))) long syscall(long number,
                                                                                       ...) noexcept {
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long& argument : arguments) argument = va_arg(list, long);
    va_end(list);
    if (number == SYS_membarrier && refuses(arguments[0])) {
        errno = ENOSYS;
        return -1;
    }
    // No guard, which may wait by this very function.
    static constinit std::atomic<long (*)(long, ...)> next{nullptr};
    auto* system = next.load();
    if (system == nullptr) {
        system = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
        next = system;
    }
    const long result =
        system(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
    if (number == SYS_membarrier && result == 0) {
        if (arguments[0] == MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) registered = true;
        if (arguments[0] == MEMBARRIER_CMD_PRIVATE_EXPEDITED) ++made;
    }
    return result;
}
