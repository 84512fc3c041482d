#include <memory>

#include "catalogue/keys.h"
#include "command.h"
#include "event_stream.h"
#include "failure.h"
#include "key_access.h"
#include "platform_adaptation/system_state.h"
#include "television_presence.h"
#include "watch.h"
#include "zt/apmclient/app_manager_client.h"

namespace aipqctl {

namespace {

constexpr char APPLICATION[] = "aipqctl";

const char* stateName(TVPowerState state) {
    switch (state) {
        case TV_POWER_STATE_RUNNING:
            return "running";
        case TV_POWER_STATE_SUSPEND:
            return "suspend";
        case TV_POWER_STATE_SUSPEND_EX:
            return "suspend-ex";
        case TV_POWER_STATE_RESUME:
            return "resume";
        case TV_POWER_STATE_RESUME_EX:
            return "resume-ex";
        case TV_POWER_STATE_STR_SUSPENDING:
            return "str-suspending";
        case TV_POWER_STATE_STR_SUSPEND:
            return "str-suspend";
        case TV_POWER_STATE_STR_RESUME:
            return "str-resume";
        case TV_POWER_STATE_STR_RESUMING:
            return "str-resuming";
    }
    return "unknown";
}

void onPowerState(TVPowerState state, void* userData) {  // on the application manager's thread
    static_cast<EventStream*>(userData)->push(
        {{"event", stateName(state)}, {"state", static_cast<int>(state)}});
}

// Observes a key, because the application manager does not notify the end of the television. Null if this
// television does not have the key.
std::unique_ptr<KeyAccess> observeAvailability(EventStream& events) {
    try {
        return std::make_unique<KeyAccess>(catalogue::keys::SOURCE, lomodelapi::OBJECT_TYPE_STRING,
                                           KeyAccess::OnChange(), [&events](bool available) {
                                               events.push({{"available", available}});
                                           });
    } catch (const Failure& failure) {
        if (failure.exitCode() == EXIT_NO_TELEVISION) throw;
        return nullptr;
    }
}

void power(const StreamLimits& limits, bool json) {
    requireTelevision();
    if (zt::apmclient::AppManagerClient::getInstance() == nullptr)
        throw Failure(EXIT_NO_TELEVISION,
                      "no application manager answers: is this process allowed to reach it?");
    Presence presence;
    EventStream events;
    SystemState television(APPLICATION);
    television.registerCallBackTVPowerState(onPowerState, &events);
    const std::unique_ptr<KeyAccess> observed = observeAvailability(events);
    events.run(limits, [&](Event event) {
        const bool isMessage = event.content.contains("event");
        if (!isMessage) {
            event.content = presence.change("", "", event.content["available"]);
            if (!event.content.contains("television")) return false;
        }
        printEvent(event,
                   isMessage ? event.content["event"].get<std::string>()
                             : "the television " + event.content["television"].get<std::string>(),
                   json);
        return isMessage;
    });
}

}  // namespace

void addPowerCommand(CLI::App& app, Context& context) {
    CLI::App& command =
        *app.add_subcommand("power", "Print the application manager's lifecycle and power notifications");
    const auto limits = std::make_shared<StreamLimits>();
    addStreamOptions(command, *limits, "messages");
    command.callback([limits, &context] { power(*limits, context.json); });
}

}  // namespace aipqctl
