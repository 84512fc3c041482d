#include "notification_thread.h"

#include <utility>

namespace remote {

NotificationThread::NotificationThread() : m_thread([this] { run(); }) {}

NotificationThread::~NotificationThread() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void NotificationThread::post(const void* receiver, std::function<void()> deliver) {
    const std::lock_guard lock(m_mutex);
    m_waiting.push_back({receiver, std::move(deliver)});
    m_changed.notify_all();
}

void NotificationThread::forget(const void* receiver) {
    std::unique_lock lock(m_mutex);
    std::erase_if(m_waiting, [&](const Notification& waiting) { return waiting.receiver == receiver; });
    m_call.waitUntilLeft(receiver, lock);
}

void NotificationThread::run() {
    std::unique_lock lock(m_mutex);
    while (!m_ending) {
        if (m_waiting.empty()) {
            m_changed.wait(lock);
            continue;
        }
        Notification notification = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_call.run(notification.receiver, lock, [&notification] {
            notification.deliver();
            // The destructor of the function may lock the bus. The thread that holds that lock may wait for
            // the lock that run() takes.
            notification.deliver = nullptr;
        });
    }
}

}  // namespace remote
