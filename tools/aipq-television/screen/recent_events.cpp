#include "recent_events.h"

#include <algorithm>
#include <utility>

namespace television {

using nlohmann::json;

namespace {

constexpr std::size_t ITEMS_KEPT = 500;

}  // namespace

std::string asText(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

void RecentEvents::add(json line) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    line["time"] = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const std::lock_guard lock(m_mutex);
    line["number"] = ++m_last;
    m_items.push_back({m_last, asText(line)});
    if (m_items.size() > ITEMS_KEPT) m_items.pop_front();
    m_changed.notify_all();
}

unsigned long RecentEvents::last() const {
    const std::lock_guard lock(m_mutex);
    return m_last;
}

RecentEvents::Since RecentEvents::since(unsigned long number) const {
    const std::lock_guard lock(m_mutex);
    const auto first =
        std::find_if(m_items.begin(), m_items.end(), [&](const Item& item) { return item.number > number; });
    // A number greater than m_last belongs to an earlier run of the television.
    const bool missed = number > m_last || (!m_items.empty() && m_items.front().number > number + 1);
    return {{first, m_items.end()}, missed};
}

void RecentEvents::waitFor(unsigned long number, std::chrono::milliseconds limit) const {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, limit, [&] { return m_ended || m_last > number; });
}

void RecentEvents::end() {
    const std::lock_guard lock(m_mutex);
    m_ended = true;
    m_changed.notify_all();
}

bool RecentEvents::ended() const {
    const std::lock_guard lock(m_mutex);
    return m_ended;
}

}  // namespace television
