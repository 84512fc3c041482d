// Internal: members of SourceSwitchAccessImpl. The library does not export these classes; do not use them.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_SYNCHRONIZATION_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_SYNCHRONIZATION_H

#include <pthread.h>

// A failed operation throws std::runtime_error; its text names the operation and errno in decimal.
class Mutex {
  public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    void unlock();

  private:
    friend class ConditionVariable;
    pthread_mutex_t m_mutex;
};

// Holds a mutex during its lifetime. Does not throw: a failed lock is logged, and its caller continues
// without the lock; the destructor unlocks all the same.
class UniqueLock {
  public:
    explicit UniqueLock(Mutex& mutex);
    ~UniqueLock();
    UniqueLock(const UniqueLock&) = delete;
    UniqueLock& operator=(const UniqueLock&) = delete;

    bool ownsLock() const { return m_owns; }

  private:
    friend class ConditionVariable;
    Mutex& m_mutex;
    bool m_owns;
};

class ConditionVariable {
  public:
    ConditionVariable();
    ~ConditionVariable();
    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    // Releases the lock, waits for a notification, and locks again; may also return without a notification.
    // Throws if `lock` does not hold its mutex.
    void wait(UniqueLock& lock);
    void notifyAll();

  private:
    pthread_cond_t m_condition;
};

#endif
