#include "http_server.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "worker_pool.h"

namespace television {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto REQUEST_LIMIT = 10s;
constexpr auto WRITE_LIMIT = 5s;
constexpr auto IDLE_LIMIT = 2s;
constexpr std::size_t MOST_CONNECTIONS = 256;
constexpr std::size_t MOST_REQUESTS = 10'000;  // on one connection

bool waitFor(socket_t socket, short events, Clock::time_point limit) {
    pollfd fd{socket, events, 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
    return ::poll(&fd, 1, static_cast<int>(std::max<Clock::rep>(left, 0))) == 1;
}

// The stream that the HTTP library uses to read requests and to write responses.
class Connection : public httplib::Stream {
  public:
    explicit Connection(socket_t socket) : m_socket(socket) {}

    // Returns true when a request begins to arrive. REQUEST_LIMIT starts then.
    bool waitForRequest() {
        const auto now = Clock::now();
        m_limit = now + REQUEST_LIMIT;
        return m_begin < m_end || waitFor(m_socket, POLLIN, now + IDLE_LIMIT);
    }

    bool is_readable() const override { return m_begin < m_end || waitFor(m_socket, POLLIN, m_limit); }
    bool is_writable() const override { return waitFor(m_socket, POLLOUT, Clock::now() + WRITE_LIMIT); }

    ssize_t read(char* target, size_t size) override {
        if (m_begin == m_end) {
            // The limit holds for the whole request, even if its bytes arrive one by one.
            if (Clock::now() >= m_limit || !is_readable()) return -1;
            const ssize_t count = ::recv(m_socket, m_buffer.data(), m_buffer.size(), MSG_DONTWAIT);
            if (count <= 0) return count;
            m_begin = 0;
            m_end = static_cast<std::size_t>(count);
        }
        const std::size_t count = std::min(size, m_end - m_begin);
        std::copy_n(m_buffer.data() + m_begin, count, target);
        m_begin += count;
        return static_cast<ssize_t>(count);
    }

    ssize_t write(const char* bytes, size_t size) override {
        if (!is_writable()) return -1;
        return ::send(m_socket, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    }

    // Unused: all clients are on this machine.
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return m_socket; }

  private:
    const socket_t m_socket;
    Clock::time_point m_limit;
    std::array<char, 4096> m_buffer{};
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
};

}  // namespace

class HttpServer::Workers : public httplib::TaskQueue {
  public:
    explicit Workers(HttpServer& server) : m_server(server) {}

    void enqueue(std::function<void()> work) override { m_pool.run(std::move(work)); }
    void shutdown() override {
        m_server.endConnections();
        m_pool.stop();
    }

  private:
    HttpServer& m_server;
    WorkerPool m_pool;
};

HttpServer::HttpServer() {
    new_task_queue = [this] { return new Workers(*this); };
    // The HTTP library sends this timeout in its responses.
    set_keep_alive_timeout(IDLE_LIMIT.count());
    set_keep_alive_max_count(MOST_REQUESTS);
}

bool HttpServer::process_and_close_socket(socket_t socket) {
    if (admit(socket)) {
        Connection connection(socket);
        bool closed = false;
        for (std::size_t i = 1; !closed && i <= MOST_REQUESTS && connection.waitForRequest(); ++i)
            if (!process_request(connection, i == MOST_REQUESTS, closed, nullptr)) break;
    }
    close(socket);
    return true;
}

bool HttpServer::admit(socket_t socket) {
    const std::lock_guard lock(m_mutex);
    return !m_ending && m_open.size() < MOST_CONNECTIONS && m_open.insert(socket).second;
}

void HttpServer::close(socket_t socket) {
    ::shutdown(socket, SHUT_RDWR);
    const std::lock_guard lock(m_mutex);
    m_open.erase(socket);
    ::close(socket);
}

void HttpServer::endConnections() {
    const std::lock_guard lock(m_mutex);
    m_ending = true;
    for (const socket_t socket : m_open) ::shutdown(socket, SHUT_RDWR);
}

}  // namespace television
