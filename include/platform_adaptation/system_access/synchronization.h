// A mutex and a condition variable that report what goes wrong.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_SYNCHRONIZATION_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_SYNCHRONIZATION_H

#include <pthread.h>

#include "platform_adaptation/export.h"

// All failures are std::runtime_error with what failed and errno in decimal.
class PLATFORM_ADAPTATION_API Mutex {
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

// Holds a mutex while it lives. Does not throw: a lock that fails is logged, and the owner goes on without
// it; the unlock is tried all the same.
class PLATFORM_ADAPTATION_API UniqueLock {
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

class PLATFORM_ADAPTATION_API ConditionVariable {
  public:
    ConditionVariable();
    ~ConditionVariable();
    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    // Waits for a notification, without the lock meanwhile; may also return without one. Throws if `lock`
    // does not hold its mutex.
    void wait(UniqueLock& lock);
    void notifyAll();

  private:
    pthread_cond_t m_condition;
};

#endif
