#include "orbit/lifecycle.h"

#include <algorithm>
#include <list>
#include <mutex>
#include <string>
#include <vector>

#include "delivery_thread.h"

struct orbit_app {
    std::string name;
    orbit_app_handler handler;
    void* context;
    std::vector<int> stages;
};

namespace {

struct Launcher {
    std::mutex mutex;
    std::list<orbit_app> apps;
    orbit::DeliveryThread thread;

    std::list<orbit_app>::iterator find(const std::string& name) {
        return std::find_if(apps.begin(), apps.end(), [&](const orbit_app& app) { return app.name == name; });
    }
};

Launcher& launcher() {
    static Launcher the;
    return the;
}

}  // namespace

orbit_app* orbit_app_attach(orbit_app_handler handler, void* context, const char* name) {
    Launcher& the = launcher();
    const std::lock_guard lock(the.mutex);
    if (handler == nullptr || the.find(name) != the.apps.end()) return nullptr;
    return &the.apps.emplace_back(orbit_app{name, handler, context, {}});
}

void orbit_app_detach(orbit_app* app) {
    Launcher& the = launcher();
    {
        const std::lock_guard lock(the.mutex);
        the.apps.remove_if([app](const orbit_app& other) { return &other == app; });
    }
    if (!the.thread.isThis()) the.thread.settle();
}

void orbit_app_progress(orbit_app* app, int stage) {
    Launcher& the = launcher();
    const std::lock_guard lock(the.mutex);
    app->stages.push_back(stage);
}

int orbit_launcher_tell(const char* name, enum orbit_event event, const char* url, const char* detail,
                        int reason) {
    Launcher& the = launcher();
    const std::lock_guard lock(the.mutex);
    if (the.find(name) == the.apps.end()) return -1;
    the.thread.post([&the, name = std::string(name), event, url = std::string(url),
                     detail = std::string(detail), reason] {
        orbit_app_handler handler = nullptr;
        void* context = nullptr;
        {
            const std::lock_guard inner(the.mutex);
            const auto app = the.find(name);
            if (app == the.apps.end()) return;
            handler = app->handler;
            context = app->context;
        }
        handler(context, event, url.c_str(), detail.c_str(), reason);
    });
    return 0;
}

int orbit_launcher_progress(const char* name, int* stages, int limit) {
    Launcher& the = launcher();
    const std::lock_guard lock(the.mutex);
    const auto app = the.find(name);
    if (app == the.apps.end()) return -1;
    const auto count = std::min<std::ptrdiff_t>(limit, static_cast<std::ptrdiff_t>(app->stages.size()));
    std::copy_n(app->stages.begin(), count, stages);
    return static_cast<int>(app->stages.size());
}
