#include "simulated/model.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "model_implementation.h"

using lomodelapi::Argument;

namespace simulated {

Model::Model(std::vector<KeyDefinition> catalogue, Events& events)
    : m_implementation(std::make_unique<Implementation>(std::move(catalogue), events)) {}

Model::~Model() = default;

void Model::reset() {
    Implementation& model = *m_implementation;
    const std::lock_guard lock(model.m_mutex);
    model.forgetNotifications();
    model.setHeld(false);
    model.m_releaseOrder = Order::AS_THEY_CAME;
    model.m_delay = NOTIFICATION_DELAY;
    for (auto& [name, key] : model.m_keys) {
        key.faults = KeyFaults();
        key.offered = true;
        key.connectAttempts = 0;
        key.writes.clear();
        key.invocations.clear();
        key.lastDue = {};
    }
    for (const KeyDefinition& definition : model.m_catalogue) {
        Implementation::Key& key = model.at(definition.name);
        key.definition = definition;
        if (key.value == definition.initial) continue;
        key.value = definition.initial;
        model.tellListeners(key);
    }
}

std::vector<KeyDefinition> Model::keys() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    std::vector<KeyDefinition> definitions;
    for (const auto& [name, key] : m_implementation->m_keys) definitions.push_back(key.definition);
    return definitions;
}

void Model::define(const KeyDefinition& definition) {
    if (!fits(definition.type, definition.initial))
        throw std::invalid_argument("the initial value of '" + definition.name + "' is of another type");
    const std::lock_guard lock(m_implementation->m_mutex);
    const auto [position, added] =
        m_implementation->m_keys.try_emplace(definition.name, *m_implementation, definition);
    if (added) return;
    position->second.definition = definition;
    position->second.value = definition.initial;
}

Value Model::value(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->at(key).value;
}

void Model::set(const std::string& key, const Value& value) {
    const std::lock_guard lock(m_implementation->m_mutex);
    Implementation::Key& changed = m_implementation->at(key);
    if (!fits(changed.definition.type, value))
        throw std::invalid_argument("a value of another type than '" + key + "' has");
    m_implementation->change(changed, value);
}

void Model::announce(const std::string& key) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->announceUnchanged(m_implementation->at(key));
}

void Model::withdraw(const std::string& key) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->at(key).offered = false;
    m_implementation->announceAvailability(m_implementation->at(key));
}

void Model::offer(const std::string& key) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->at(key).offered = true;
    m_implementation->announceAvailability(m_implementation->at(key));
}

bool Model::isOffered(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->at(key).offered;
}

void Model::setFaults(const std::string& key, const KeyFaults& faults) {
    changeFaults(key, [&](KeyFaults& changed) { changed = faults; });
}

void Model::changeFaults(const std::string& key, const std::function<void(KeyFaults&)>& change) {
    const std::lock_guard lock(m_implementation->m_mutex);
    change(m_implementation->at(key).faults);
}

KeyFaults Model::faults(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->at(key).faults;
}

void Model::setNotificationDelay(std::chrono::milliseconds delay) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->m_delay = delay;
}

std::chrono::milliseconds Model::notificationDelay() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->m_delay;
}

void Model::holdNotifications() {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->setHeld(true);
}

void Model::releaseNotifications() {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->setHeld(false);
}

void Model::setReleaseOrder(Order order) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->m_releaseOrder = order;
}

void Model::releaseNotifications(Order order) {
    setReleaseOrder(order);
    releaseNotifications();
}

bool Model::holdsNotifications() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->m_held;
}

Order Model::releaseOrder() const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->m_releaseOrder;
}

bool Model::settle(std::chrono::milliseconds limit) { return m_implementation->settle(limit); }

unsigned Model::connectAttempts(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->at(key).connectAttempts;
}

std::vector<Written> Model::writes(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    const auto& writes = m_implementation->at(key).writes;
    return {writes.begin(), writes.end()};
}

unsigned Model::subscribers(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return static_cast<unsigned>(m_implementation->at(key).observers.size());
}

void Model::setAction(const std::string& key, std::function<Answer(const std::vector<Argument>&)> action) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->at(key).action = std::move(action);
}

int Model::invoke(const std::string& key, const std::vector<Argument>& arguments) {
    Implementation::Key* action = nullptr;
    {
        const std::lock_guard lock(m_implementation->m_mutex);
        action = &m_implementation->at(key);
    }
    unsigned id = 0;
    return action->invoke(id, arguments);
}

std::vector<Invocation> Model::invocations(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    const auto& invocations = m_implementation->at(key).invocations;
    return {invocations.begin(), invocations.end()};
}

void Model::answer(const std::string& key, unsigned id, const Answer& answer) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->answer(m_implementation->at(key), id, answer);
}

Rows Model::rows(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    return m_implementation->at(key).definition.rows;
}

void Model::setRows(const std::string& key, const Rows& rows) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->setRows(m_implementation->at(key), rows);
}

unsigned Model::iterators(const std::string& key) const {
    const std::lock_guard lock(m_implementation->m_mutex);
    const auto& all = m_implementation->at(key).iterators;
    return static_cast<unsigned>(std::count_if(
        all.begin(), all.end(), [](const auto& iterator) { return iterator.observer != nullptr; }));
}

void Model::onChange(std::function<void(const std::string&, const Value&)> listener) {
    const std::lock_guard lock(m_implementation->m_mutex);
    m_implementation->m_listeners.push_back(std::move(listener));
}

RootInterface* Model::root() { return m_implementation.get(); }

}  // namespace simulated
