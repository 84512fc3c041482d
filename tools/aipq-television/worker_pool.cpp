#include "worker_pool.h"

#include <utility>

namespace television {

WorkerPool::~WorkerPool() { stop(); }

void WorkerPool::stop() {
    std::vector<std::thread> threads;
    std::deque<std::function<void()>> dropped;
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
        dropped.swap(m_waiting);
        threads.swap(m_threads);
    }
    m_changed.notify_all();
    for (std::thread& thread : threads) thread.join();
}

void WorkerPool::run(std::function<void()> work) {
    const std::lock_guard lock(m_mutex);
    if (m_ending) return;
    m_waiting.push_back(std::move(work));
    if (m_idle < m_waiting.size()) m_threads.emplace_back([this] { serve(); });
    m_changed.notify_one();
}

void WorkerPool::serve() {
    std::unique_lock lock(m_mutex);
    while (!m_ending) {
        if (m_waiting.empty()) {
            ++m_idle;
            m_changed.wait(lock);
            --m_idle;
            continue;
        }
        std::function<void()> work = std::move(m_waiting.front());
        m_waiting.pop_front();
        lock.unlock();
        work();
        // Destroy `work` unlocked: its destructor may lock the bus, whose holder may wait for m_mutex.
        work = nullptr;
        lock.lock();
    }
}

}  // namespace television
