#include "simulated/lifecycle.h"

#include <algorithm>
#include <array>

namespace simulated {

namespace {

// In the order of the enumeration.
constexpr std::array<std::string_view, 17> NAMES{
    "running",        "suspend",          "suspend_ex",   "resume",        "resume_ex", "str_suspending",
    "str_suspend",    "str_resume",       "str_resuming", "destroy",       "get_focus", "lost_focus",
    "resource_ready", "release_resource", "ui_status",    "event_message", "key_event"};
static_assert(NAMES.size() == static_cast<std::size_t>(Lifecycle::KEY_EVENT) + 1);

}  // namespace

std::string lifecycleName(Lifecycle notification) {
    return std::string(NAMES.at(static_cast<std::size_t>(notification)));
}

std::optional<Lifecycle> findLifecycle(std::string_view name) {
    const auto found = std::find(NAMES.begin(), NAMES.end(), name);
    if (found == NAMES.end()) return std::nullopt;
    return static_cast<Lifecycle>(found - NAMES.begin());
}

std::vector<std::string> lifecycleNames() { return {NAMES.begin(), NAMES.end()}; }

}  // namespace simulated
