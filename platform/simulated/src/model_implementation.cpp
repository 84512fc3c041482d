#include "model_implementation.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "notify.h"

using namespace lomodelapi;

namespace simulated {

Model::Implementation::Implementation(std::vector<KeyDefinition> catalogue, Events& events)
    : m_events(events), m_catalogue(std::move(catalogue)) {
    for (const KeyDefinition& definition : m_catalogue)
        m_keys.emplace(std::piecewise_construct, std::forward_as_tuple(definition.name),
                       std::forward_as_tuple(*this, definition));
    m_thread = std::thread([this] { deliver(); });
}

Model::Implementation::~Implementation() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

// Subscriptions

int Model::Implementation::connectValue(const std::string& name, Observer* observer, BizValue*& value) {
    Key* const found = lookUp(name);
    if (found == nullptr) return STATUS_UNKNOWN_KEY;
    Key& key = *found;
    key.takeTime();
    const std::lock_guard lock(m_mutex);
    ++key.connectAttempts;
    if (!key.offered) return STATUS_UNAVAILABLE;
    if (key.faults.connectStatus != 0) return key.faults.connectStatus;
    if (key.faults.connectYieldsNothing) {
        value = nullptr;
        return 0;
    }
    const auto subscribed = std::find(key.observers.begin(), key.observers.end(), observer);
    if (observer != nullptr && subscribed == key.observers.end()) key.observers.push_back(observer);
    value = &key.objectFor(observer);
    m_events.publish(ClientConnected{name});
    return 0;
}

int Model::Implementation::disconnectValue(const std::string& name, Observer* observer, BizValue* value) {
    std::unique_lock lock(m_mutex);
    const auto found = m_keys.find(name);
    if (found == m_keys.end()) return STATUS_UNKNOWN_KEY;
    Key& key = found->second;
    const auto subscribed = std::find(key.observers.begin(), key.observers.end(), observer);
    if (subscribed == key.observers.end() || value != &key.objectFor(observer)) return STATUS_UNAVAILABLE;
    key.observers.erase(subscribed);
    for (ClientObject& access : key.clientObjects)
        if (&access == value) access.close(lock);
    m_call.waitUntilLeft(observer, lock);
    return 0;
}

// The television's side

Model::Implementation::Key& Model::Implementation::at(const std::string& name) {
    const auto found = m_keys.find(name);
    if (found == m_keys.end()) throw std::out_of_range("the model has no key '" + name + "'");
    return found->second;
}

Model::Implementation::Key* Model::Implementation::lookUp(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_keys.find(name);
    return found != m_keys.end() ? &found->second : nullptr;
}

void Model::Implementation::change(Key& key, const Value& value) {
    if (key.value == value) return;
    key.value = value;
    tellListeners(key);
    announce(key);
}

void Model::Implementation::tellListeners(const Key& key) const {
    for (const auto& listener : m_listeners) listener(key.definition.name, key.value);
    m_events.publish(SetKey{key.definition.name, key.value});
}

void Model::Implementation::announceUnchanged(Key& key) {
    m_events.publish(Announce{key.definition.name});
    announce(key);
}

void Model::Implementation::announce(Key& key) {
    enqueue(key, [value = key.value](Observer* observer) { notify(observer, value); });
}

void Model::Implementation::announceAvailability(Key& key) {
    enqueue(key, [offered = key.offered](Observer* observer) { observer->notifyAvailability(offered); });
}

void Model::Implementation::answer(Key& key, unsigned id, const Answer& answer, const Observer* only) {
    for (unsigned i = 0; i <= key.faults.repeatAnswers; ++i)
        enqueue(key, [id, answer, only](Observer* observer) {
            if (only == nullptr || only == observer) notify(observer, id, answer);
        });
}

void Model::Implementation::setRows(Key& key, const Rows& rows) {
    key.definition.rows = rows;
    enqueue(key, [](Observer* observer) { notifyTableUpdate(observer, 0); });
    for (Iterator& iterator : key.iterators) iterator.follow();
}

// Notifications

void Model::Implementation::setHeld(bool held) {
    if (m_held && !held && m_releaseOrder == Order::REVERSED) std::reverse(m_queue.begin(), m_queue.end());
    m_held = held;
    m_changed.notify_all();
}

bool Model::Implementation::settle(std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit,
                              [this] { return (m_held || m_queue.empty()) && !m_call.isRunning(); });
}

void Model::Implementation::enqueue(Key& key, const Notify& notify, const Iterator* iterator, unsigned life) {
    if (key.faults.dropNotifications > 0) {
        --key.faults.dropNotifications;
        return;
    }
    key.lastDue = std::max(key.lastDue, Clock::now() + m_delay + key.faults.notificationDelay);
    const auto later = std::find_if(m_queue.begin(), m_queue.end(), [&](const Notification& notification) {
        return notification.due > key.lastDue;
    });
    m_queue.insert(later, 1 + key.faults.repeatNotifications,
                   Notification{&key, notify, key.lastDue, iterator, life});
    m_changed.notify_all();
}

void Model::Implementation::deliver() {
    std::unique_lock lock(m_mutex);
    while (!m_ending) {
        if (m_held || m_queue.empty()) {
            m_changed.wait(lock);
        } else if (const auto due = m_queue.front().due; Clock::now() < due) {
            m_changed.wait_until(lock, due);
        } else {
            const Notification notification = std::move(m_queue.front());
            m_queue.pop_front();
            deliver(notification, lock);
        }
    }
}

void Model::Implementation::deliver(const Notification& notification, std::unique_lock<std::mutex>& lock) {
    if (notification.iterator != nullptr) {
        Observer* const observer = notification.iterator->observer;
        if (notification.iterator->life == notification.life && observer != nullptr)
            m_call.run(observer, lock, [&] { notification.notify(observer); });
    } else {
        const std::vector<Observer*> observers = notification.key->observers;
        for (Observer* const observer : observers) {
            const std::vector<Observer*>& now = notification.key->observers;
            if (std::find(now.begin(), now.end(), observer) != now.end())
                m_call.run(observer, lock, [&] { notification.notify(observer); });
        }
    }
    m_changed.notify_all();
}

}  // namespace simulated
