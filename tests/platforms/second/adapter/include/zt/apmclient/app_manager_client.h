#ifndef ZT_APMCLIENT_APP_MANAGER_CLIENT_H
#define ZT_APMCLIENT_APP_MANAGER_CLIENT_H

#include <boost/shared_ptr.hpp>
#include <string>

#include "zt/appmanager/app_interface.h"

namespace zt {
namespace apmclient {

class AppManagerClient {
  public:
    static AppManagerClient* getInstance();

    int registerApp(const std::string& name, const boost::shared_ptr<appmanager::AppInterface>& app);
    int unregisterApp(const std::string& name);
    int reportStatus(const std::string& name, int status);
};

}  // namespace apmclient
}  // namespace zt

#endif
