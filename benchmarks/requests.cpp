// Requests that a thread of the model answers, with 1, 8 and 64 callers. All threads run on one processor, so
// that the scheduler's placement does not affect the result.
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <initializer_list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "asleep.h"
#include "measure.h"
#include "one_processor.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "still_model.h"

namespace benchmarks {

namespace {

// A thread that answers the pushed items, one after the other.
template <typename Item>
class AnsweringThread {
  public:
    explicit AnsweringThread(std::function<void(Item)> answer) : m_answer(std::move(answer)) {
        std::thread(&AnsweringThread::run, this).detach();
    }
    void push(Item item) {
        {
            const std::lock_guard lock(m_mutex);
            m_items.push_back(item);
        }
        m_more.notify_one();
    }

  private:
    void run() {
        const OneProcessor pinned;
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_more.wait(lock, [this] { return !m_items.empty(); });
            const Item item = m_items.front();
            m_items.pop_front();
            lock.unlock();
            m_answer(item);
            lock.lock();
        }
    }

    std::function<void(Item)> m_answer;
    std::mutex m_mutex;
    std::condition_variable m_more;
    std::deque<Item> m_items;
};

// In each of these classes, request() makes one request. Any number of threads may call it.

class Library {
  public:
    void request() {
        const unsigned id = ++m_last;
        m_model.push(id);
        m_access.waitForResult(id);
    }

  private:
    SourceSwitchAccessImpl m_access;
    const ValueObject m_result;
    std::atomic<unsigned> m_last{0};
    AnsweringThread<unsigned> m_model{
        [this](unsigned id) { m_access.onActionResult(static_cast<int>(id), m_result); }};
};

// The minimal implementation of the same behaviour: an answer is kept until its caller takes it, and wakes
// all waiting threads.
class Floor {
  public:
    void request() {
        const unsigned id = ++m_last;
        m_model.push(id);
        std::unique_lock lock(m_mutex);
        for (;;) {
            if (const auto answer = m_answers.find(id); answer != m_answers.end()) {
                m_answers.erase(answer);
                return;
            }
            m_answered.wait(lock);
        }
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_answered;
    std::map<unsigned, int> m_answers;
    std::atomic<unsigned> m_last{0};
    AnsweringThread<unsigned> m_model{[this](unsigned id) {
        const std::lock_guard lock(m_mutex);
        m_answers.emplace(id, 0);
        m_answered.notify_all();
    }};
};

class Promise {
  public:
    void request() {
        std::promise<int> promise;
        std::future<int> answer = promise.get_future();
        m_model.push(&promise);
        answer.get();
    }

  private:
    // Moved, because the request destroys its promise as soon as the value is set.
    AnsweringThread<std::promise<int>*> m_model{[](std::promise<int>* promise) {
        std::promise<int> own = std::move(*promise);
        own.set_value(0);
    }};
};

// Two threads that wake each other, after they release the lock or while they hold it.
enum class Wake { AFTER_UNLOCKING, UNDER_LOCK };

template <Wake WAKE>
class PingPong {
  public:
    PingPong() { std::thread(&PingPong::run, this).detach(); }
    void request() {
        std::unique_lock lock(m_mutex);
        m_asked = true;
        wake(m_changed, lock);
        m_answered.wait(lock, [this] { return !m_asked; });
    }

  private:
    static void wake(std::condition_variable& condition, std::unique_lock<std::mutex>& lock) {
        if (WAKE == Wake::UNDER_LOCK) {
            condition.notify_one();
        } else {
            lock.unlock();
            condition.notify_one();
            lock.lock();
        }
    }
    void run() {
        const OneProcessor pinned;
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_asked; });
            m_asked = false;
            wake(m_answered, lock);
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::condition_variable m_answered;
    bool m_asked = false;
};

template <typename Kind>
void addKind(const char* peer, std::initializer_list<int> callerNumbers) {
    for (const int callers : callerNumbers) {
        Kind* const kind = new Kind;  // never deleted: its thread uses it
        const std::string name = "request_" + std::to_string(callers) + '/' + peer;
        benchmark::RegisterBenchmark(name.c_str(),
                                     [kind](benchmark::State& state) {
                                         const OneProcessor pinned;
                                         quiet();
                                         const unsigned long before = allocations();
                                         for ([[maybe_unused]] auto unused : state) kind->request();
                                         // Only the caller's allocations: the counter is per thread.
                                         state.counters["allocations"] =
                                             benchmark::Counter(static_cast<double>(allocations() - before),
                                                                benchmark::Counter::kAvgIterations);
                                     })
            ->Threads(callers)
            ->UseRealTime()
            ->Unit(benchmark::kMicrosecond);
    }
}

// Heap memory of a request while it waits for its answer, per caller.
void addMemory() {
    benchmark::RegisterBenchmark("request_memory/library",
                                 [](benchmark::State& state) {
                                     constexpr int callers = 64;
                                     quiet();
                                     static SourceSwitchAccessImpl& access = *new SourceSwitchAccessImpl;
                                     std::mutex mutex;
                                     std::condition_variable changed;
                                     std::vector<unsigned> ids;
                                     std::vector<pid_t> waiting;
                                     onInvocation([&](unsigned id) {
                                         const std::lock_guard lock(mutex);
                                         ids.push_back(id);
                                         waiting.push_back(gettid());
                                         changed.notify_one();
                                     });
                                     long held = 0;
                                     for ([[maybe_unused]] auto once : state) {
                                         std::vector<std::thread> threads;
                                         std::vector<const long*> meters(callers);
                                         std::vector<long> before(callers);
                                         for (std::size_t i = 0; i < callers; ++i) {
                                             threads.emplace_back([&, i] {
                                                 std::string uri =
                                                     "dvb://233a.1004.1044;the.name.of.a.channel";
                                                 const long* const meter = heldBytesMeter();
                                                 {
                                                     const std::lock_guard lock(mutex);
                                                     meters[i] = meter;
                                                     before[i] = *meter;
                                                 }
                                                 access.setChannelByURI(std::move(uri), true);
                                             });
                                         }
                                         {
                                             std::unique_lock lock(mutex);
                                             changed.wait(lock, [&] { return ids.size() == callers; });
                                         }
                                         for (const pid_t thread : waiting) tests::waitUntilAsleep(thread);
                                         for (std::size_t i = 0; i < callers; ++i)
                                             held += *meters[i] - before[i];
                                         for (const unsigned id : ids)
                                             access.onActionResult(static_cast<int>(id), ValueObject());
                                         for (std::thread& thread : threads) thread.join();
                                     }
                                     state.counters["bytes"] = static_cast<double>(held) / callers;
                                 })
        ->Iterations(1)
        ->Repetitions(1);
}

}  // namespace

void addRequests() {
    addKind<Library>("library", {1, 8, 64});
    addKind<Floor>("floor", {8, 64});
    addKind<Promise>("std::promise", {1, 8, 64});
    addKind<PingPong<Wake::AFTER_UNLOCKING>>("ping-pong", {1});
    addKind<PingPong<Wake::UNDER_LOCK>>("ping-pong under the lock", {1});
    addMemory();
}

}  // namespace benchmarks
