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
    // The client of this process, which lives as long as it does; null if the application manager cannot be
    // reached. Any thread.
    static AppManagerClient* getInstance();

    // From now on `app` is told about the life of the application `name`. 0 on success.
    virtual int registerApp(const std::string& name,
                            const boost::shared_ptr<appmanager::AppInterface>& app) = 0;

    // The application is told nothing any more once this has returned, unless this is called by one of its
    // own operations; the reference to it is given up. 0 on success.
    virtual int unregisterApp(const std::string& name) = 0;

    // The application reports how far it is with a change of its life. 0 on success.
    virtual int reportStatus(const std::string& name, int status) = 0;

  protected:
    ~AppManagerClient() = default;
};

}  // namespace apmclient
}  // namespace zt

#endif
