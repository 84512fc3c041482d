// A D-Bus connection and the thread that serves it. Unlike the event loop of sdbus-c++, the thread survives
// the end of the bus. This end is normal, because the television may be killed at any time.
#ifndef REMOTE_BUS_CONNECTION_H
#define REMOTE_BUS_CONNECTION_H

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

// Messages are handled on the connection's thread, one after the other. No thread can send while a message is
// handled: a handler must not wait for a thread that sends.
class BusConnection {
  public:
    // Connects. Throws sdbus::Error if no bus listens at this address. Set up matches, objects and names
    // before start().
    explicit BusConnection(const std::string& address);
    // Calls stop().
    ~BusConnection();
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    sdbus::IConnection& bus() { return *m_connection; }

    // Starts the thread. If the bus goes away, the thread calls `onLost` once.
    void start(std::function<void()> onLost);

    // Ends the thread, after which no message is handled. Do not call it on this thread.
    void stop();

    // After this, every call fails, including calls that wait.
    void giveUp();

    // Calls a method of PLATFORM_INTERFACE and waits for its answer, without a time limit. Returns nothing if
    // the connection or the television is lost. Any thread except the connection's own.
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
                    value.reset();  // the answer has the form of another version
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

    // Calls a method without waiting for its reply.
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

    // Sets the bus name of the process whose platform is called.
    void setPeer(const std::string& busName);

    // Wakes the thread so that it sends waiting messages.
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
    // Calls that have ended. The thread that frees a call inside sdbus-c++ also releases it here. On another
    // thread, ThreadSanitizer would report a race, because it does not see how sdbus-c++ prevents it.
    std::vector<sdbus::PendingAsyncCall> m_ended;

    std::thread m_thread;
};

}  // namespace remote

#endif
