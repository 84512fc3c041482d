// The HTTP library's server with limits: a slow client cannot block the others.
#ifndef TELEVISION_HTTP_SERVER_H
#define TELEVISION_HTTP_SERVER_H

// Defines the library's build options: its classes must have the same layout here as in the library.
#include <httplib.h>

#include <mutex>
#include <set>

namespace television {

// Each connection has a thread. The server closes a connection if a request takes longer than REQUEST_LIMIT
// to arrive, if the client reads nothing for WRITE_LIMIT, or if the connection is idle for IDLE_LIMIT.
class HttpServer : public httplib::Server {
  public:
    HttpServer();

  private:
    class Workers;

    // The library calls this for each connection that it accepts, on a thread of Workers.
    bool process_and_close_socket(socket_t socket) override;

    // Returns false if there are too many connections, or if the server is stopping.
    bool admit(socket_t socket);
    void close(socket_t socket);
    void endConnections();

    std::mutex m_mutex;
    std::set<socket_t> m_open;
    bool m_ending = false;
};

}  // namespace television

#endif
