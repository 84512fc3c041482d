#ifndef REMOTE_CURRENT_CONNECTION_H
#define REMOTE_CURRENT_CONNECTION_H

#include <memory>
#include <mutex>
#include <optional>
#include <tuple>

#include "bus_connection.h"
#include "simulated/model.h"

namespace remote {

// The current connection to the television, if there is one. Its users share it.
class CurrentConnection {
  public:
    // The previous connection is destroyed without the lock: its thread may wait for a thread that holds the
    // lock.
    void set(std::shared_ptr<BusConnection> connection) {
        const std::lock_guard lock(m_mutex);
        m_current.swap(connection);
    }

    template <typename... Out, typename... In>
    std::optional<std::tuple<Out...>> call(const char* method, const In&... arguments) {
        const std::shared_ptr<BusConnection> connection = get();
        return connection ? connection->call<Out...>(method, arguments...) : std::nullopt;
    }

    // Calls a method that returns only a status.
    template <typename... In>
    int status(const char* method, const In&... arguments) {
        const auto answer = call<std::int32_t>(method, arguments...);
        return answer ? std::get<0>(*answer) : simulated::STATUS_UNAVAILABLE;
    }

    std::shared_ptr<BusConnection> get() {
        const std::lock_guard lock(m_mutex);
        return m_current;
    }

  private:
    std::mutex m_mutex;
    std::shared_ptr<BusConnection> m_current;
};

}  // namespace remote

#endif
