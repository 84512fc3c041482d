#include "simulated/thread_creation.h"

#include <cerrno>

#include "csp/thread.h"
#include "other_television.h"
#include "record.h"
#include "simulated/television.h"

namespace simulated {

void ThreadCreation::fail(unsigned count, unsigned skip) {
    const std::lock_guard lock(m_mutex);
    m_failures = count;
    m_skip = skip;
}

unsigned ThreadCreation::failures() const {
    const std::lock_guard lock(m_mutex);
    return m_failures;
}

unsigned ThreadCreation::skips() const {
    const std::lock_guard lock(m_mutex);
    return m_skip;
}

std::vector<ThreadCreation::Record> ThreadCreation::created() const {
    const std::lock_guard lock(m_mutex);
    return {m_created.begin(), m_created.end()};
}

int ThreadCreation::attributesInUse() const {
    const std::lock_guard lock(m_mutex);
    return m_attributesInUse;
}

void ThreadCreation::reset() {
    const std::lock_guard lock(m_mutex);
    m_skip = 0;
    m_failures = 0;
    m_attributesInUse = 0;
    m_created.clear();
}

bool ThreadCreation::mayCreate(void* (*routine)(void*), const char* file, int line) {
    const std::lock_guard lock(m_mutex);
    if (m_skip > 0) {
        --m_skip;
    } else if (m_failures > 0) {
        --m_failures;
        return false;
    }
    record(m_created, Record{routine, file != nullptr ? file : "", line});
    return true;
}

void ThreadCreation::attributesChanged(int difference) {
    const std::lock_guard lock(m_mutex);
    m_attributesInUse += difference;
}

}  // namespace simulated

using simulated::Television;

int _cspOsalPOSIX_pthread_attr_init(pthread_attr_t* attributes) {
    const int status = pthread_attr_init(attributes);
    if (status == 0) Television::instance().threads().attributesChanged(1);
    return status;
}

int _cspOsalPOSIX_pthread_attr_destroy(pthread_attr_t* attributes) {
    Television::instance().threads().attributesChanged(-1);
    return pthread_attr_destroy(attributes);
}

int _cspOsalPOSIX_pthread_create_line(pthread_t* thread, const pthread_attr_t* attributes,
                                      void* (*routine)(void*), void* argument, const char* file, int line) {
    Television& television = Television::instance();
    if (simulated::otherTelevision() == nullptr) television.powerOn();
    if (!television.threads().mayCreate(routine, file, line)) return EAGAIN;
    return pthread_create(thread, attributes, routine, argument);
}
