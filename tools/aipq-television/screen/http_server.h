// The HTTP library's server, with limits: no client, however slow, keeps it from answering the others.
#ifndef TELEVISION_HTTP_SERVER_H
#define TELEVISION_HTTP_SERVER_H

// Defines what the library was built with; from here on, its classes have the library's layout.
#include <httplib.h>

#include <mutex>
#include <set>

namespace television {

// Each connection has a thread. A connection is closed if its request takes longer than REQUEST_LIMIT to
// arrive, if its client reads nothing of an answer for WRITE_LIMIT, or if it is idle for IDLE_LIMIT.
class HttpServer : public httplib::Server {
  public:
    HttpServer();

  private:
    class Workers;

    // The library calls this for each connection that it accepts, on a thread of Workers.
    bool process_and_close_socket(socket_t socket) override;

    // False if there are too many, or if the server ends.
    bool admit(socket_t socket);
    void close(socket_t socket);
    void endConnections();

    std::mutex m_mutex;
    std::set<socket_t> m_open;
    bool m_ending = false;
};

}  // namespace television

#endif
