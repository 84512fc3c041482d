#ifndef SIMULATED_LIFECYCLE_H
#define SIMULATED_LIFECYCLE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

// The notifications of the application manager to an application.
enum class Lifecycle {
    RUNNING,
    SUSPEND,
    SUSPEND_EX,
    RESUME,
    RESUME_EX,
    STR_SUSPENDING,
    STR_SUSPEND,
    STR_RESUME,
    STR_RESUMING,
    DESTROY,
    GET_FOCUS,
    LOST_FOCUS,
    RESOURCE_READY,
    RELEASE_RESOURCE,
    UI_STATUS,
    EVENT_MESSAGE,
    KEY_EVENT,
};

// The name of a notification in scenarios and tools, for example "suspend" or "str_suspending".
std::string lifecycleName(Lifecycle notification);
std::optional<Lifecycle> findLifecycle(std::string_view name);
// All names, in the order of the enumeration.
std::vector<std::string> lifecycleNames();

}  // namespace simulated

#endif
