#include "simulated/events.h"

namespace simulated {

namespace {

thread_local unsigned consequenceDepth = 0;

}  // namespace

Events::Subscription::Subscription(Events& events, Listener listener) : m_events(events) {
    const std::lock_guard lock(events.m_mutex);
    m_position = events.m_listeners.insert(events.m_listeners.end(), std::move(listener));
}

Events::Subscription::~Subscription() {
    const std::lock_guard lock(m_events.m_mutex);
    m_events.m_listeners.erase(m_position);
}

void Events::publish(decltype(Event::what) what) {
    const std::lock_guard lock(m_mutex);
    if (m_listeners.empty()) return;
    const Event event{std::move(what), consequenceDepth > 0};
    for (const Listener& listener : m_listeners) listener(event);
}

Events::Consequences::Consequences() { ++consequenceDepth; }

Events::Consequences::~Consequences() { --consequenceDepth; }

}  // namespace simulated
