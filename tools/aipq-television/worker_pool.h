// Threads that do what may take long: as many as there is work at the same time, kept for the next.
#ifndef AIPQ_TELEVISION_WORKER_POOL_H
#define AIPQ_TELEVISION_WORKER_POOL_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace television {

class WorkerPool {
  public:
    WorkerPool() = default;
    // Stops.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // Any thread; never waits. What `work` throws ends the program.
    void run(std::function<void()> work);

    // Waits for the work that has begun; what has not is dropped, and what comes is, too.
    void stop();

  private:
    void serve();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_waiting;
    std::size_t m_idle = 0;
    bool m_ending = false;
    std::vector<std::thread> m_threads;
};

}  // namespace television

#endif
