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

void NotificationThread::post(const void* receiver, std::function<void()> news) {
    const std::lock_guard lock(m_mutex);
    m_waiting.push_back({receiver, std::move(news)});
    m_changed.notify_all();
}

void NotificationThread::forget(const void* receiver) {
    std::unique_lock lock(m_mutex);
    std::erase_if(m_waiting, [&](const News& news) { return news.receiver == receiver; });
    if (std::this_thread::get_id() != m_thread.get_id())
        m_changed.wait(lock, [&] { return m_told != receiver; });
}

void NotificationThread::run() {
    std::unique_lock lock(m_mutex);
    while (!m_ending) {
        if (m_waiting.empty()) {
            m_changed.wait(lock);
            continue;
        }
        News news = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_told = news.receiver;
        lock.unlock();
        news.tell();
        // Its end may take a lock of the bus, whose holder may be waiting for this one.
        news.tell = nullptr;
        lock.lock();
        m_told = nullptr;
        m_changed.notify_all();
    }
}

}  // namespace remote
