#ifndef SIMULATED_CURRENT_CALL_H
#define SIMULATED_CURRENT_CALL_H

#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace simulated {

// The call that a thread makes now. The thread calls one receiver at a time, with its mutex unlocked. Other
// threads can wait until the call of a receiver has ended. The mutex guards this object, too.
template <typename Receiver>
class CurrentCall {
  public:
    // Notifies `changed` when a call has ended.
    explicit CurrentCall(std::condition_variable& changed) : m_changed(changed) {}

    // Runs `call`, which calls `receiver`, with `lock` unlocked.
    template <typename Call>
    void run(Receiver receiver, std::unique_lock<std::mutex>& lock, Call call) {
        m_receiver = std::move(receiver);
        m_thread = std::this_thread::get_id();
        lock.unlock();
        call();
        lock.lock();
        m_receiver.reset();
        m_changed.notify_all();
    }

    bool isRunning() const { return m_receiver.has_value(); }

    // Waits until `receiver` is not being called. Does not wait on the thread that calls `receiver`.
    void waitUntilLeft(const Receiver& receiver, std::unique_lock<std::mutex>& lock) {
        m_changed.wait(lock,
                       [&] { return m_receiver != receiver || m_thread == std::this_thread::get_id(); });
    }

  private:
    std::condition_variable& m_changed;
    std::optional<Receiver> m_receiver;
    std::thread::id m_thread;
};

}  // namespace simulated

#endif
