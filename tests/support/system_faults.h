// Failures of the system's own calls, which no simulated television can bring about. The functions stand
// before the C library's in a test program and pass on what is not to fail.
#ifndef TESTS_SYSTEM_FAULTS_H
#define TESTS_SYSTEM_FAULTS_H

#include <cstddef>
#include <vector>

namespace tests {

// The next shmat fails with this errno; 0 for none.
void failNextShmat(int error);

// After `skip` more calls, one mq_open fails with this errno.
void failMqOpen(int error, int skip = 0);

// Calls of mq_open since the last failMqOpen.
int mqOpenCalls();

// The next initialisation of a thread's attributes by the platform fails with this error; 0 for none.
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

// Calls about the mutexes and condition variables that lie in this memory are recorded while this lives, and
// can be made to fail. One at a time; the memory need not hold them yet.
class WatchedMemory {
  public:
    WatchedMemory(const void* begin, std::size_t size);
    ~WatchedMemory();
    WatchedMemory(const WatchedMemory&) = delete;
    WatchedMemory& operator=(const WatchedMemory&) = delete;

    // The next such call answers with this error. It does nothing else, but for an unlock: that is done all
    // the same. An unlock after a lock that failed so is recorded and not done.
    void failNext(ThreadCall call, int error);

    // The first 64, in order.
    std::vector<ThreadCall> calls() const;
};

}  // namespace tests

#endif
