// The application manager's client for a television in another process.
#ifndef REMOTE_CLIENT_APPLICATIONS_H
#define REMOTE_CLIENT_APPLICATIONS_H

#include <boost/shared_ptr.hpp>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "current_connection.h"
#include "notification_thread.h"
#include "zt/apmclient/app_manager_client.h"

namespace remote {

class ClientApplications final : public zt::apmclient::AppManagerClient {
  public:
    explicit ClientApplications(CurrentConnection& connection) : m_connection(connection) {}

    int registerApp(const std::string& name,
                    const boost::shared_ptr<zt::appmanager::AppInterface>& app) override;

    int unregisterApp(const std::string& name) override;

    int reportStatus(const std::string& name, int status) override;

    // Returns the names of the applications that were registered again.
    std::vector<std::string> restore(BusConnection& connection);

    // Like ClientModel::confirm().
    void confirm(BusConnection& connection, std::vector<std::string> restored);

    void handle(sdbus::Message& message);

  private:
    boost::shared_ptr<zt::appmanager::AppInterface> exchangeApp(
        const std::string& name, boost::shared_ptr<zt::appmanager::AppInterface> app);

    CurrentConnection& m_connection;
    std::mutex m_mutex;
    std::map<std::string, boost::shared_ptr<zt::appmanager::AppInterface>> m_apps;
    NotificationThread m_thread;  // the application manager's client thread
};

}  // namespace remote

#endif
