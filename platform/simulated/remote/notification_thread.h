// A thread that delivers notifications to receivers, one after the other, in order.
#ifndef REMOTE_NOTIFICATION_THREAD_H
#define REMOTE_NOTIFICATION_THREAD_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "current_call.h"

namespace remote {

class NotificationThread {
  public:
    NotificationThread();
    // Drops the notifications that have not been delivered.
    ~NotificationThread();
    NotificationThread(const NotificationThread&) = delete;
    NotificationThread& operator=(const NotificationThread&) = delete;

    void post(const void* receiver, std::function<void()> deliver);

    // Drops the receiver's notifications, and waits until none is being delivered to it. Does not wait if it
    // is called on this thread.
    void forget(const void* receiver);

  private:
    struct Notification {
        const void* receiver;
        std::function<void()> deliver;
    };

    void run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Notification> m_waiting;
    simulated::CurrentCall<const void*> m_call{m_changed};
    bool m_ending = false;
    std::thread m_thread;  // last: it uses all of the above
};

}  // namespace remote

#endif
