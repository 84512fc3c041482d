// Serves the platform library of other processes: provides the television's model, framework and application
// manager over the bus. remote/protocol.h lists the calls.
#ifndef AIPQ_TELEVISION_PLATFORM_SERVER_H
#define AIPQ_TELEVISION_PLATFORM_SERVER_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bus_connection.h"
#include "client_session.h"
#include "simulated/television.h"
#include "worker_pool.h"

namespace television {

class PlatformServer {
  public:
    // Create it before starting the connection's thread. All arguments must outlive it.
    PlatformServer(simulated::Television& television, remote::BusConnection& connection, WorkerPool& workers);
    ~PlatformServer();
    PlatformServer(const PlatformServer&) = delete;
    PlatformServer& operator=(const PlatformServer&) = delete;

  private:
    // Registers a method. Its `handler(session, in...)` runs on a worker and returns a tuple of the results.
    template <typename... In, typename Handler>
    void serve(const char* name, Handler handler);
    void serveModel();
    void serveValues();
    void serveTables();
    void serveApplications();

    std::shared_ptr<ClientSession> sessionOf(const std::string& client);
    void clientLeft(const std::string& client);

    simulated::Television& m_television;
    remote::BusConnection& m_connection;
    WorkerPool& m_workers;
    std::unique_ptr<sdbus::IObject> m_object;

    std::mutex m_mutex;
    std::map<std::string, std::shared_ptr<ClientSession>> m_sessions;

    // Not m_mutex, for which the connection's thread waits: this mutex stays locked while the application
    // manager waits for an application.
    std::mutex m_registrationMutex;
    // For each application, the session that receives its notifications: the last session that registered it.
    std::map<std::string, const ClientSession*> m_registrations;
};

}  // namespace television

#endif
