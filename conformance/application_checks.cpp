// The application manager.
#include <boost/shared_ptr.hpp>

#include "platform_adaptation/system_state.h"
#include "visit.h"
#include "zt/apmclient/app_manager_client.h"

using zt::apmclient::AppManagerClient;
using zt::appmanager::AppInterface;

namespace conformance {

namespace {

constexpr char APPLICATION[] = "aipqctl-doctor";

void requireAccepted(int status, const char* what) {
    if (status == 0) return;
    throw Failure{std::string(what) + " was refused (status " + std::to_string(status) + ")",
                  std::string("Let the application manager know an application named '") + APPLICATION +
                      "', or see why it refuses the registration."};
}

Passed checkApplicationManager(Visit& visit) {
    AppManagerClient* const client =
        timed("connecting to it", [] { return AppManagerClient::getInstance(); });
    if (client == nullptr)
        throw Failure{"cannot be reached",
                      "Start the application manager, and let this process connect to it."};
    // The library ignores the status of its registration: register once more without the library.
    const auto state = std::make_shared<SystemState>(APPLICATION);
    visit.keep(state);
    state->unRegisterApp();
    const boost::shared_ptr<AppInterface> app(state.get(), [](AppInterface*) {});
    requireAccepted(timed("registering", [&] { return client->registerApp(APPLICATION, app); }),
                    "the registration");
    requireAccepted(timed("unregistering", [&] { return client->unregisterApp(APPLICATION); }),
                    "the end of the registration");
    return {"an application is registered and unregistered"};
}

}  // namespace

std::vector<Check> applicationChecks() {
    return {{"application-manager",
             "",
             "whether it accepts a registration and its end",
             {"framework"},
             checkApplicationManager}};
}

}  // namespace conformance
