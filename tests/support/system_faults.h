// Failures of system calls that the simulated television cannot cause. These functions replace those of the C
// library in a test program, and forward every call that must not fail.
#ifndef TESTS_SYSTEM_FAULTS_H
#define TESTS_SYSTEM_FAULTS_H

#include <cstddef>
#include <vector>

namespace tests {

// The next shmat fails with this errno; with 0, it does not fail.
void failNextShmat(int error);

// After `skip` more calls, one mq_open fails with this errno.
void failMqOpen(int error, int skip = 0);

// The number of calls of mq_open since the last failMqOpen.
int mqOpenCalls();

// The platform's next initialisation of thread attributes fails with this error; with 0, it does not fail.
void failNextThreadAttributes(int error);

enum class ThreadCall : unsigned char {
    MUTEX_INIT,
    MUTEX_DESTROY,
    MUTEX_LOCK,
    MUTEX_UNLOCK,
    COND_INIT,
    COND_DESTROY,
    COND_WAIT,
    COND_BROADCAST,
};

// While an object of this class exists, it records the calls on mutexes and condition variables inside the
// given memory, and makes them fail on request. Only one object may exist at a time. The mutexes and
// condition variables may be created after it.
class WatchedMemory {
  public:
    WatchedMemory(const void* begin, std::size_t size);
    ~WatchedMemory();
    WatchedMemory(const WatchedMemory&) = delete;
    WatchedMemory& operator=(const WatchedMemory&) = delete;

    // The next call of this kind returns this error and has no effect, except that an unlock still unlocks.
    // The unlock that follows a failed lock is recorded but has no effect.
    void failNext(ThreadCall call, int error);

    // The first 64 recorded calls, in order.
    std::vector<ThreadCall> calls() const;
};

}  // namespace tests

#endif
