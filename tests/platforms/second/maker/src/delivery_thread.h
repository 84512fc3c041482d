#ifndef ORBIT_DELIVERY_THREAD_H
#define ORBIT_DELIVERY_THREAD_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace orbit {

// Runs posted functions in order. The destructor discards those that have not run.
class DeliveryThread {
  public:
    DeliveryThread() : m_thread([this] { run(); }) {}
    ~DeliveryThread() {
        {
            const std::lock_guard lock(m_mutex);
            m_end = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }
    DeliveryThread(const DeliveryThread&) = delete;
    DeliveryThread& operator=(const DeliveryThread&) = delete;

    void post(std::function<void()> work) {
        {
            const std::lock_guard lock(m_mutex);
            m_work.push_back(std::move(work));
        }
        m_changed.notify_all();
    }

    bool isThis() const { return m_thread.get_id() == std::this_thread::get_id(); }

    // Waits until all functions posted before have run. Must not be called on the delivery thread.
    void settle() {
        bool done = false;
        post([&] {
            const std::lock_guard lock(m_mutex);
            done = true;
            m_changed.notify_all();
        });
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return done; });
    }

  private:
    void run() {
        std::unique_lock lock(m_mutex);
        while (true) {
            m_changed.wait(lock, [this] { return m_end || !m_work.empty(); });
            if (m_end) return;
            const std::function<void()> work = std::move(m_work.front());
            m_work.pop_front();
            lock.unlock();
            work();
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_work;
    bool m_end = false;
    std::thread m_thread;
};

}  // namespace orbit

#endif
