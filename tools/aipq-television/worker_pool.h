// Threads for operations that may block. The pool grows as needed and reuses its threads.
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

    // Callable from any thread; never blocks. An exception from `work` terminates the program.
    void run(std::function<void()> work);

    // Waits for running work. Drops queued work and all later work.
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
