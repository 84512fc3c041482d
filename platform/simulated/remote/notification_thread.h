// A thread that brings news to receivers, one after the other, in order.
#ifndef REMOTE_NOTIFICATION_THREAD_H
#define REMOTE_NOTIFICATION_THREAD_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace remote {

class NotificationThread {
  public:
    NotificationThread();
    // What has not been brought is dropped.
    ~NotificationThread();
    NotificationThread(const NotificationThread&) = delete;
    NotificationThread& operator=(const NotificationThread&) = delete;

    void post(const void* receiver, std::function<void()> news);

    // Drops what waits for the receiver, and waits until it is not being told anything any more, unless this
    // is called by what it is being told.
    void forget(const void* receiver);

  private:
    struct News {
        const void* receiver;
        std::function<void()> tell;
    };

    void run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<News> m_waiting;
    const void* m_told = nullptr;
    bool m_ending = false;
    std::thread m_thread;  // last: it uses all of the above
};

}  // namespace remote

#endif
