// Implements the application manager's interface with the second platform's launcher.
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "orbit/lifecycle.h"
#include "status.h"
#include "zt/apmclient/app_manager_client.h"

namespace {

using AppPointer = boost::shared_ptr<zt::appmanager::AppInterface>;

struct Registration {
    AppPointer app;
    orbit_app* handle = nullptr;
};

struct Registrations {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<Registration>> all;
};

Registrations& registrations() {
    static Registrations the;
    return the;
}

void onEvent(void* context, orbit_event event, const char* url, const char* detail, int reason) {
    // Copied, because the application may unregister itself in the call, which destroys the registration.
    const AppPointer app = static_cast<const Registration*>(context)->app;
    switch (event) {
        case ORBIT_STARTED:
            app->onRunning(url, detail);
            break;
        case ORBIT_ENDED:
            app->onDestroy(url);
            break;
        case ORBIT_TO_BACKGROUND:
            app->onSuspend(url, detail);
            break;
        case ORBIT_TO_FOREGROUND:
            app->onResume(url, detail);
            break;
        case ORBIT_FALLING_ASLEEP:
            app->onSTRSuspending(url, reason);
            break;
        case ORBIT_ASLEEP:
            app->onSTRSuspend(url, reason);
            break;
        case ORBIT_AWAKE:
            app->onSTRResume(url, reason);
            break;
        case ORBIT_WAKING_UP:
            app->onSTRResuming(url, reason);
            break;
    }
}

}  // namespace

namespace zt {
namespace apmclient {

AppManagerClient* AppManagerClient::getInstance() {
    static AppManagerClient client;
    return &client;
}

int AppManagerClient::registerApp(const std::string& name, const AppPointer& app) {
    const std::lock_guard lock(registrations().mutex);
    auto registration = std::make_unique<Registration>(Registration{app});
    registration->handle = orbit_app_attach(onEvent, registration.get(), name.c_str());
    if (registration->handle == nullptr) return adapter::REFUSED;
    registrations().all[name] = std::move(registration);
    return 0;
}

int AppManagerClient::unregisterApp(const std::string& name) {
    std::unique_ptr<Registration> registration;
    {
        const std::lock_guard lock(registrations().mutex);
        const auto found = registrations().all.find(name);
        if (found == registrations().all.end()) return adapter::REFUSED;
        registration = std::move(found->second);
        registrations().all.erase(found);
    }
    orbit_app_detach(registration->handle);
    return 0;
}

int AppManagerClient::reportStatus(const std::string& name, int status) {
    const std::lock_guard lock(registrations().mutex);
    const auto found = registrations().all.find(name);
    if (found == registrations().all.end()) return adapter::REFUSED;
    orbit_app_progress(found->second->handle, status);
    return 0;
}

}  // namespace apmclient
}  // namespace zt
