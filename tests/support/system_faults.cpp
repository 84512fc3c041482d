#include "system_faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <mqueue.h>
#include <sys/shm.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>

namespace {

std::atomic<int> shmatError{0};
std::atomic<int> mqOpenError{0};
std::atomic<int> mqOpenSkip{0};
std::atomic<int> mqOpenCount{0};

template <typename Function>
Function* systemFunction(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

namespace tests {

void failNextShmat(int error) { shmatError = error; }

void failMqOpen(int error, int skip) {
    mqOpenCount = 0;
    mqOpenSkip = skip;
    mqOpenError = error;
}

int mqOpenCalls() { return mqOpenCount; }

}  // namespace tests

extern "C" void* shmat(int id, const void* address, int flags) noexcept {
    if (const int error = shmatError.exchange(0); error != 0) {
        errno = error;
        return reinterpret_cast<void*>(-1);
    }
    return systemFunction<decltype(shmat)>("shmat")(id, address, flags);
}

extern "C" mqd_t mq_open(const char* name, int flags, ...) noexcept {
    ++mqOpenCount;
    if (mqOpenError != 0 && mqOpenSkip-- == 0) {
        errno = mqOpenError.exchange(0);
        return -1;
    }
    const auto open = systemFunction<mqd_t(const char*, int, ...)>("mq_open");
    if ((flags & O_CREAT) == 0) return open(name, flags);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    mq_attr* const attributes = va_arg(arguments, mq_attr*);
    va_end(arguments);
    return open(name, flags, mode, attributes);
}
