#ifndef SIMULATED_LIFECYCLE_H
#define SIMULATED_LIFECYCLE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

// What becomes of an application, as its manager tells it.
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

// What it is called in scenarios and tools: "suspend", "str_suspending" ...
std::string lifecycleName(Lifecycle news);
std::optional<Lifecycle> findLifecycle(std::string_view name);
// All of them, in their order.
std::vector<std::string> lifecycleNames();

}  // namespace simulated

#endif
