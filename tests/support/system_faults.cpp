#include "system_faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <mqueue.h>
#include <pthread.h>
#include <sys/shm.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>

#include "csp/thread.h"

namespace {

std::atomic<int> shmatError{0};
std::atomic<int> mqOpenError{0};
std::atomic<int> mqOpenSkip{0};
std::atomic<int> mqOpenCount{0};
std::atomic<int> threadAttributesError{0};

template <typename Function>
Function* systemFunction(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The replacements of the pthread functions also run before a sanitizer is initialised, and inside the
// sanitizer. Therefore they are not instrumented and call no instrumented function.
#define TESTS_NOT_INSTRUMENTED __attribute__((no_sanitize("thread", "address", "undefined")))

constexpr std::size_t THREAD_CALLS = static_cast<std::size_t>(tests::ThreadCall::COND_BROADCAST) + 1;
constexpr std::size_t RECORDED_CALLS = 64;

std::uintptr_t watchedBegin = 0;
std::uintptr_t watchedEnd = 0;
int threadErrors[THREAD_CALLS];
int unlocksNotDone = 0;
unsigned char threadCalls[RECORDED_CALLS];
std::size_t threadCallCount = 0;

template <typename Type>
TESTS_NOT_INSTRUMENTED Type load(const Type& variable) {
    return __atomic_load_n(&variable, __ATOMIC_SEQ_CST);
}

template <typename Type>
TESTS_NOT_INSTRUMENTED void store(Type& variable, Type value) {
    __atomic_store_n(&variable, value, __ATOMIC_SEQ_CST);
}

TESTS_NOT_INSTRUMENTED bool isWatched(const void* object) {
    const auto address = reinterpret_cast<std::uintptr_t>(object);
    return address >= load(watchedBegin) && address < load(watchedEnd);
}

// Records a call. Returns the error with which the call must fail, or 0.
TESTS_NOT_INSTRUMENTED int errorOf(tests::ThreadCall call, const void* object) {
    if (!isWatched(object)) return 0;
    const std::size_t index = __atomic_fetch_add(&threadCallCount, 1, __ATOMIC_SEQ_CST);
    if (index < RECORDED_CALLS) store(threadCalls[index], static_cast<unsigned char>(call));
    return __atomic_exchange_n(&threadErrors[static_cast<std::size_t>(call)], 0, __ATOMIC_SEQ_CST);
}

// Like systemFunction(), but looks the function up only once.
template <typename Function>
TESTS_NOT_INSTRUMENTED Function* cachedFunction(void*& cache, const char* name) {
    void* function = load(cache);
    if (function == nullptr) {
        function = dlsym(RTLD_NEXT, name);
        store(cache, function);
    }
    return reinterpret_cast<Function*>(function);
}

void* realMutexInit = nullptr;
void* realMutexDestroy = nullptr;
void* realMutexLock = nullptr;
void* realMutexUnlock = nullptr;
void* realCondInit = nullptr;
void* realCondDestroy = nullptr;
void* realCondWait = nullptr;
void* realCondBroadcast = nullptr;

void watch(std::uintptr_t begin, std::uintptr_t end) {
    store(watchedEnd, std::uintptr_t{0});
    for (int& error : threadErrors) store(error, 0);
    store(unlocksNotDone, 0);
    store(threadCallCount, std::size_t{0});
    store(watchedBegin, begin);
    store(watchedEnd, end);
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

void failNextThreadAttributes(int error) { threadAttributesError = error; }

WatchedMemory::WatchedMemory(const void* begin, std::size_t size) {
    const auto address = reinterpret_cast<std::uintptr_t>(begin);
    watch(address, address + size);
}

WatchedMemory::~WatchedMemory() { watch(0, 0); }

void WatchedMemory::failNext(ThreadCall call, int error) {
    store(threadErrors[static_cast<std::size_t>(call)], error);
}

std::vector<ThreadCall> WatchedMemory::calls() const {
    std::vector<ThreadCall> recorded;
    for (std::size_t i = 0; i < load(threadCallCount) && i < RECORDED_CALLS; ++i)
        recorded.push_back(static_cast<ThreadCall>(load(threadCalls[i])));
    return recorded;
}

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

extern "C" int _cspOsalPOSIX_pthread_attr_init(pthread_attr_t* attributes) {
    if (const int error = threadAttributesError.exchange(0); error != 0) return error;
    return systemFunction<decltype(_cspOsalPOSIX_pthread_attr_init)>("_cspOsalPOSIX_pthread_attr_init")(
        attributes);
}

extern "C" TESTS_NOT_INSTRUMENTED int pthread_mutex_init(pthread_mutex_t* mutex,
                                                         const pthread_mutexattr_t* attributes) noexcept {
    if (const int error = errorOf(tests::ThreadCall::MUTEX_INIT, mutex); error != 0) return error;
    return cachedFunction<decltype(pthread_mutex_init)>(realMutexInit, "pthread_mutex_init")(mutex,
                                                                                             attributes);
}

extern "C" TESTS_NOT_INSTRUMENTED int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept {
    if (const int error = errorOf(tests::ThreadCall::MUTEX_DESTROY, mutex); error != 0) return error;
    return cachedFunction<decltype(pthread_mutex_destroy)>(realMutexDestroy, "pthread_mutex_destroy")(mutex);
}

extern "C" TESTS_NOT_INSTRUMENTED int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    if (const int error = errorOf(tests::ThreadCall::MUTEX_LOCK, mutex); error != 0) {
        store(unlocksNotDone, 1);
        return error;
    }
    return cachedFunction<decltype(pthread_mutex_lock)>(realMutexLock, "pthread_mutex_lock")(mutex);
}

extern "C" TESTS_NOT_INSTRUMENTED int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    const int error = errorOf(tests::ThreadCall::MUTEX_UNLOCK, mutex);
    if (isWatched(mutex) && __atomic_exchange_n(&unlocksNotDone, 0, __ATOMIC_SEQ_CST) != 0) return error;
    const int status =
        cachedFunction<decltype(pthread_mutex_unlock)>(realMutexUnlock, "pthread_mutex_unlock")(mutex);
    return error != 0 ? error : status;
}

extern "C" TESTS_NOT_INSTRUMENTED int pthread_cond_init(pthread_cond_t* condition,
                                                        const pthread_condattr_t* attributes) noexcept {
    if (const int error = errorOf(tests::ThreadCall::COND_INIT, condition); error != 0) return error;
    return cachedFunction<decltype(pthread_cond_init)>(realCondInit, "pthread_cond_init")(condition,
                                                                                          attributes);
}

extern "C" TESTS_NOT_INSTRUMENTED int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
    if (const int error = errorOf(tests::ThreadCall::COND_DESTROY, condition); error != 0) return error;
    return cachedFunction<decltype(pthread_cond_destroy)>(realCondDestroy, "pthread_cond_destroy")(condition);
}

extern "C" TESTS_NOT_INSTRUMENTED int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    if (const int error = errorOf(tests::ThreadCall::COND_WAIT, condition); error != 0) return error;
    return cachedFunction<decltype(pthread_cond_wait)>(realCondWait, "pthread_cond_wait")(condition, mutex);
}

extern "C" TESTS_NOT_INSTRUMENTED int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    if (const int error = errorOf(tests::ThreadCall::COND_BROADCAST, condition); error != 0) return error;
    return cachedFunction<decltype(pthread_cond_broadcast)>(realCondBroadcast,
                                                            "pthread_cond_broadcast")(condition);
}
