// Serves the platform library of other processes: the television's model, framework and application manager
// over the bus, call by call as remote/protocol.h lists them.
#ifndef AIPQ_TELEVISION_PLATFORM_SERVER_H
#define AIPQ_TELEVISION_PLATFORM_SERVER_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "client_session.h"
#include "line.h"
#include "simulated/television.h"
#include "worker_pool.h"

namespace television {

class PlatformServer {
  public:
    // To be made before the line's thread is started. All of them must outlive it.
    PlatformServer(simulated::Television& television, remote::Line& line, WorkerPool& workers);
    ~PlatformServer();
    PlatformServer(const PlatformServer&) = delete;
    PlatformServer& operator=(const PlatformServer&) = delete;

  private:
    // Registers a method whose `handler(session, in...)` runs on a worker and returns a tuple of the answers.
    template <typename... In, typename Handler>
    void serve(const char* name, Handler handler);
    void serveModel();
    void serveValues();
    void serveTables();
    void serveApplications();

    std::shared_ptr<ClientSession> sessionOf(const std::string& client);
    void clientLeft(const std::string& client);

    simulated::Television& m_television;
    remote::Line& m_line;
    WorkerPool& m_workers;
    std::unique_ptr<sdbus::IObject> m_object;

    std::mutex m_mutex;
    std::map<std::string, std::shared_ptr<ClientSession>> m_sessions;

    // Apart from m_mutex, for which the line's thread waits: this one is held while the application manager
    // waits for an application.
    std::mutex m_registrationMutex;
    // The session that receives the notifications of an application: the last one that registered it.
    std::map<std::string, const ClientSession*> m_registrations;
};

}  // namespace television

#endif
