// Delivers a notification of the application manager to an application.
#ifndef SIMULATED_DELIVER_H
#define SIMULATED_DELIVER_H

#include <string>

#include "simulated/lifecycle.h"
#include "zt/appmanager/app_interface.h"

namespace simulated {

// Returns the application's answer.
int deliver(zt::appmanager::AppInterface& app, Lifecycle notification, const std::string& url,
            const std::string& text, int number);

}  // namespace simulated

#endif
