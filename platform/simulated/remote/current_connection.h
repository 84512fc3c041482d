#ifndef REMOTE_CURRENT_CONNECTION_H
#define REMOTE_CURRENT_CONNECTION_H

#include <memory>
#include <mutex>
#include <optional>
#include <tuple>

#include "line.h"
#include "simulated/model.h"

namespace remote {

// The connection to the television while there is one; its users share it.
class CurrentConnection {
  public:
    // The line before ends without the lock: its thread may be waiting for one who holds it.
    void set(std::shared_ptr<Line> line) {
        const std::lock_guard lock(m_mutex);
        m_line.swap(line);
    }

    template <typename... Out, typename... In>
    std::optional<std::tuple<Out...>> call(const char* method, const In&... arguments) {
        const std::shared_ptr<Line> line = get();
        return line ? line->call<Out...>(method, arguments...) : std::nullopt;
    }

    // An operation whose only answer is its status.
    template <typename... In>
    int status(const char* method, const In&... arguments) {
        const auto answer = call<std::int32_t>(method, arguments...);
        return answer ? std::get<0>(*answer) : simulated::STATUS_UNAVAILABLE;
    }

    std::shared_ptr<Line> get() {
        const std::lock_guard lock(m_mutex);
        return m_line;
    }

  private:
    std::mutex m_mutex;
    std::shared_ptr<Line> m_line;
};

}  // namespace remote

#endif
