// The application manager's client in this process. A television's own header must offer these operations.
#ifndef ZT_APMCLIENT_APP_MANAGER_CLIENT_H
#define ZT_APMCLIENT_APP_MANAGER_CLIENT_H

#include <boost/shared_ptr.hpp>
#include <string>

#include "zt/appmanager/app_interface.h"

namespace zt {
namespace apmclient {

class AppManagerClient {
  public:
    // Returns the client of this process, which lives as long as the process; null if the application manager
    // cannot be reached. Any thread.
    static AppManagerClient* getInstance();

    // From now on, `app` is notified of the life of the application `name`. Returns 0 on success.
    virtual int registerApp(const std::string& name,
                            const boost::shared_ptr<appmanager::AppInterface>& app) = 0;

    // Ends the notifications and releases the reference to the application. No notification arrives after
    // this has returned, unless one of the application's own operations calls it. Returns 0 on success.
    virtual int unregisterApp(const std::string& name) = 0;

    // The application reports its progress with a change of its life. Returns 0 on success.
    virtual int reportStatus(const std::string& name, int status) = 0;

  protected:
    ~AppManagerClient() = default;
};

}  // namespace apmclient
}  // namespace zt

#endif
