// Tells an application news of its life.
#ifndef SIMULATED_DELIVER_H
#define SIMULATED_DELIVER_H

#include <string>

#include "simulated/television.h"
#include "zt/appmanager/app_interface.h"

namespace simulated {

// What the application answered.
int deliver(zt::appmanager::AppInterface& app, Lifecycle news, const std::string& url,
            const std::string& text, int number);

}  // namespace simulated

#endif
