// A line to a bus: the connection and the thread that serves it. Unlike the event loop of sdbus-c++ it
// survives the end of the bus, which is ordinary here: the television may be killed at any time.
#ifndef REMOTE_LINE_H
#define REMOTE_LINE_H

#include <sdbus-c++/sdbus-c++.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace remote {

// Messages are handled on the line's thread, one after the other; while one is handled nobody can send, so a
// handler must not wait for a thread that does.
class Line {
  public:
    // Connects; throws sdbus::Error if nobody listens at this address. Matches, objects and names are to be
    // set up before the thread is started.
    explicit Line(const std::string& address);
    // Stops.
    ~Line();
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    sdbus::IConnection& connection() { return *m_connection; }

    // Starts the thread. `onLost` is called on it, once, if the bus goes away.
    void start(std::function<void()> onLost);

    // Ends the thread; not to be called on it. Nothing is handled any more.
    void stop();

    // From now on every call fails, those that wait included.
    void giveUp();

    // Calls a method of PLATFORM_INTERFACE and waits for its answer, without a time limit; nothing if the
    // line or the television is lost. Any thread but the line's own.
    template <typename... Out, typename... In>
    std::optional<std::tuple<Out...>> call(const char* method, const In&... arguments) {
        struct Answer {
            bool there = false;
            std::optional<std::tuple<Out...>> value;
        };
        const auto answer = std::make_shared<Answer>();
        const auto take = [this, answer](sdbus::MethodReply& reply, const sdbus::Error* error) {
            std::optional<std::tuple<Out...>> value;
            if (error == nullptr) {
                try {
                    value.emplace();
                    std::apply([&](auto&... elements) { ((reply >> elements), ...); }, *value);
                } catch (const sdbus::Error&) {
                    value.reset();  // an answer of another form than this version's
                }
            }
            const std::lock_guard lock(m_mutex);
            answer->value = std::move(value);
            answer->there = true;
            m_answered.notify_all();
        };
        sdbus::PendingAsyncCall pending;
        try {
            sdbus::MethodCall message = createCall(method);
            ((message << arguments), ...);
            pending = m_proxy->callMethod(message, take, NO_LIMIT);
        } catch (const sdbus::Error&) {
            return std::nullopt;
        }
        wake();
        std::unique_lock lock(m_mutex);
        m_answered.wait(lock, [&] { return answer->there || m_lost; });
        m_ended.push_back(std::move(pending));
        return std::move(answer->value);
    }

    // Calls it without an answer.
    template <typename... In>
    void post(const char* method, const In&... arguments) {
        try {
            sdbus::MethodCall message = createCall(method);
            ((message << arguments), ...);
            message.dontExpectReply();
            m_proxy->callMethod(message);
        } catch (const sdbus::Error&) {
            return;
        }
        wake();
    }

    // Whose platform is called.
    void setPeer(const std::string& busName);

    // Makes the thread look for what is to be sent.
    void wake();

  private:
    static constexpr std::uint64_t NO_LIMIT = ~std::uint64_t{0};

    sdbus::MethodCall createCall(const char* method);
    void serve();
    void forgetEndedCalls();

    std::unique_ptr<sdbus::IConnection> m_connection;
    std::unique_ptr<sdbus::IProxy> m_proxy;
    int m_wakeUp;
    std::function<void()> m_onLost;
    std::atomic<bool> m_ending{false};

    std::mutex m_mutex;
    std::condition_variable m_answered;
    bool m_lost = false;
    // Calls that have ended. The thread that frees them in the library lets go of them here as well: on any
    // other, that is a race to ThreadSanitizer, which does not see how the library prevents one.
    std::vector<sdbus::PendingAsyncCall> m_ended;

    std::thread m_thread;
};

}  // namespace remote

#endif
