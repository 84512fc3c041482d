#include "client_session.h"

#include <boost/make_shared.hpp>
#include <utility>

#include "bus_method.h"
#include "forwarding_observers.h"
#include "lomodelapi/root_interface.h"
#include "protocol.h"
#include "wire_value.h"

using namespace lomodelapi;
using remote::toVariant;
using simulated::STATUS_UNAVAILABLE;

namespace iteration = remote::iteration;

namespace television {

struct ClientSession::Subscription {
    Subscription(SignalSender& sender, std::uint32_t number, std::string subscribedKey)
        : key(std::move(subscribedKey)), observer(sender, number) {}

    const std::string key;
    ForwardingObserver observer;
    BizValue* value = nullptr;
};

struct ClientSession::OpenIterator {
    OpenIterator(SignalSender& sender, std::uint32_t number) : observer(sender, number) {}

    ForwardingIteratorObserver observer;
    BizValue* table = nullptr;
    std::uint32_t subscription = 0;
    TableIterator* iterator = nullptr;
};

namespace {

int request(TableIterator& iterator, const std::string& operation, int number, const std::string& text) {
    if (operation == iteration::TOTAL_COUNT) return iterator.requestTotalCount();
    if (operation == iteration::CURSOR_POSITION) return iterator.requestCursorPosition();
    if (operation == iteration::SEEK_TO_ROW) return iterator.seekToRow(number);
    if (operation == iteration::SEEK_TO_CONTENT) return iterator.seekToContent(number, text);
    if (operation == iteration::READ_ROW) return iterator.readRow();
    if (operation == iteration::READ_ROW_CHUNK) return iterator.readRowChunk(number);
    if (operation == iteration::COMMIT) return iterator.commit();
    return STATUS_UNAVAILABLE;
}

}  // namespace

ClientSession::ClientSession(simulated::Television& television, remote::BusConnection& connection,
                             sdbus::IObject& object, const std::string& client)
    : m_television(television), m_sender(std::make_shared<SignalSender>(connection, object, client)) {}

std::tuple<std::int32_t, bool, sdbus::Variant> ClientSession::connect(const std::string& key,
                                                                      std::uint32_t number) {
    const sdbus::Variant nothing = toVariant({});
    std::shared_ptr<Subscription> subscription = this->subscription(number);
    if (!subscription) subscription = std::make_shared<Subscription>(*m_sender, number, key);
    BizValue* value = nullptr;
    const int status =
        m_television.model().root()->connectValue(key, subscription->observer.asObserver(), value);
    if (status != 0 || value == nullptr) return {status, false, nothing};
    subscription->value = value;
    std::unique_lock lock(m_mutex);
    if (!m_ended) {
        m_subscriptions[number] = subscription;
        return {0, true, toVariant(m_television.model().value(key))};
    }
    lock.unlock();
    disconnect(*subscription);
    return {STATUS_UNAVAILABLE, false, nothing};
}

std::tuple<std::int32_t> ClientSession::disconnect(std::uint32_t number) {
    std::shared_ptr<Subscription> ended;
    std::vector<std::shared_ptr<OpenIterator>> iterators;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_subscriptions.find(number);
        if (found == m_subscriptions.end()) return {STATUS_UNAVAILABLE};
        ended = found->second;
        m_subscriptions.erase(found);
        // The model closes the iterators when their subscription ends; their observers must live until then.
        std::erase_if(m_iterators, [&](const auto& entry) {
            if (entry.second->subscription != number) return false;
            iterators.push_back(entry.second);
            return true;
        });
    }
    return {disconnect(*ended)};
}

BizValue& ClientSession::value(std::uint32_t number) {
    const std::shared_ptr<Subscription> found = subscription(number);
    if (!found) bus::refuse(bus::REFUSED, "there is no such subscription");
    return *found->value;
}

std::tuple<bool> ClientSession::createIterator(std::uint32_t subscriptionNumber, std::uint32_t number,
                                               const IteratorType& type,
                                               const std::vector<TableSelection>& selections,
                                               const std::vector<int>& columns,
                                               const std::vector<TableOrder>& orders) {
    const auto iterator = std::make_shared<OpenIterator>(*m_sender, number);
    iterator->table = &value(subscriptionNumber);
    iterator->subscription = subscriptionNumber;
    iterator->iterator =
        iterator->table->createIterator(type, &iterator->observer, selections, columns, orders);
    if (iterator->iterator == nullptr) return {false};
    std::unique_lock lock(m_mutex);
    if (m_subscriptions.count(subscriptionNumber) != 0) {
        m_iterators[number] = iterator;
        return {true};
    }
    lock.unlock();
    iterator->table->releaseIterator(iterator->iterator);
    return {false};
}

std::tuple<std::int32_t> ClientSession::releaseIterator(std::uint32_t number) {
    std::shared_ptr<OpenIterator> released;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_iterators.find(number);
        if (found == m_iterators.end()) return {STATUS_UNAVAILABLE};
        released = found->second;
        m_iterators.erase(found);
    }
    return {released->table->releaseIterator(released->iterator)};
}

std::tuple<std::int32_t> ClientSession::iterate(std::uint32_t number, const std::string& operation,
                                                int argument, const std::string& text) {
    std::shared_ptr<OpenIterator> open;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_iterators.find(number);
        if (found == m_iterators.end()) return {STATUS_UNAVAILABLE};
        open = found->second;
    }
    return {request(*open->iterator, operation, argument, text)};
}

boost::shared_ptr<RemoteApplication> ClientSession::addApplication(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    if (m_ended) return nullptr;
    boost::shared_ptr<RemoteApplication>& application = m_applications[name];
    if (application) application->leave();
    application = boost::make_shared<RemoteApplication>(m_sender, name);
    return application;
}

void ClientSession::removeApplication(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_applications.find(name);
    if (found == m_applications.end()) return;
    found->second->leave();
    m_applications.erase(found);
}

void ClientSession::answer(std::uint32_t ticket, int answer) {
    const std::lock_guard lock(m_mutex);
    for (const auto& [name, application] : m_applications) application->answer(ticket, answer);
}

std::vector<std::string> ClientSession::end() {
    std::vector<std::uint32_t> numbers;
    std::vector<std::string> names;
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        for (const auto& [number, subscription] : m_subscriptions) numbers.push_back(number);
        for (const auto& [name, application] : m_applications) {
            application->leave();
            names.push_back(name);
        }
    }
    for (const std::uint32_t number : numbers) disconnect(number);
    return names;
}

std::shared_ptr<ClientSession::Subscription> ClientSession::subscription(std::uint32_t number) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_subscriptions.find(number);
    return found != m_subscriptions.end() ? found->second : nullptr;
}

int ClientSession::disconnect(Subscription& subscription) {
    return m_television.model().root()->disconnectValue(subscription.key, subscription.observer.asObserver(),
                                                        subscription.value);
}

}  // namespace television
