#include "platform_adaptation/system_access/synchronization.h"

#include <cerrno>
#include <stdexcept>
#include <string>

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

namespace {

void check(int error, const char* what) {
    if (error != 0) throw std::runtime_error(what + std::to_string(error));
}

}  // namespace

Mutex::Mutex() { check(pthread_mutex_init(&m_mutex, nullptr), "Mutex init error: "); }
Mutex::~Mutex() { pthread_mutex_destroy(&m_mutex); }
void Mutex::lock() { check(pthread_mutex_lock(&m_mutex), "Mutex lock error: "); }
void Mutex::unlock() { check(pthread_mutex_unlock(&m_mutex), "Mutex unlock error: "); }

UniqueLock::UniqueLock(Mutex& mutex) : m_mutex(mutex), m_owns(false) {
    try {
        m_mutex.lock();
        m_owns = true;
    } catch (const std::runtime_error& error) {
        LOG_ERROR("An runtime_error has been caught:%s.\n", error.what());
    }
}

UniqueLock::~UniqueLock() {
    try {
        m_mutex.unlock();
    } catch (const std::runtime_error& error) {
        LOG_ERROR("An runtime_error has been caught:%s\n", error.what());
    }
}

ConditionVariable::ConditionVariable() {
    check(pthread_cond_init(&m_condition, nullptr), "ConditionVariable init error: ");
}
ConditionVariable::~ConditionVariable() { pthread_cond_destroy(&m_condition); }

void ConditionVariable::wait(UniqueLock& lock) {
    if (!lock.m_owns) check(EPERM, "ConditionVariable wait error: ");
    check(pthread_cond_wait(&m_condition, &lock.m_mutex.m_mutex), "ConditionVariable cond_wait error: ");
}

void ConditionVariable::notifyAll() {
    check(pthread_cond_broadcast(&m_condition), "ConditionVariable notify_all error: ");
}
