#include "client_model.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <utility>

#include "lomodelapi/biz_value.h"
#include "lomodelapi/table.h"
#include "notify.h"
#include "protocol.h"
#include "wire_value.h"

using namespace lomodelapi;
using simulated::STATUS_UNAVAILABLE;

namespace remote {

namespace {

void tellIterator(ObserverTableIterator& observer, const std::string& operation, int argument,
                  const std::vector<std::vector<std::string>>& rows) {
    using Simple = void (ObserverTableIterator::*)(int);
    static const std::map<std::string, Simple> simple{
        {iteration::COMMIT, &ObserverTableIterator::notifyCommit},
        {iteration::TOTAL_COUNT, &ObserverTableIterator::notifyTotalCount},
        {iteration::CURSOR_POSITION, &ObserverTableIterator::notifyCursorPosition},
        {iteration::SEEK_TO_ROW, &ObserverTableIterator::notifySeekToRow},
        {iteration::SEEK_TO_CONTENT, &ObserverTableIterator::notifySeekToContent},
        {iteration::READY, &ObserverTableIterator::notifyIteratorReady},
        {iteration::UPDATE, &ObserverTableIterator::notifyUpdate},
    };
    if (const auto found = simple.find(operation); found != simple.end()) {
        (observer.*found->second)(argument);
    } else if (operation == iteration::READ_ROW) {
        observer.notifyReadRow(rows.empty() ? std::vector<std::string>() : rows.front());
    } else if (operation == iteration::READ_ROW_CHUNK) {
        std::vector<const std::vector<std::string>*> pointers;
        for (const auto& row : rows) pointers.push_back(&row);
        observer.notifyReadRowChunk(pointers);
    }
}

}  // namespace

// The parameters of a request for an iterator.
struct ClientModel::IteratorRequest {
    std::uint32_t number;
    std::uint32_t table;
    std::int32_t kind;
    std::int32_t chunkSize;
    std::vector<WireSelection> selections;
    std::vector<std::int32_t> columns;
    std::vector<WireOrder> orders;
};

struct ClientModel::Iterator final : public TableIterator {
    explicit Iterator(ClientModel& owner) : model(owner) {}

    int ask(const char* operation, int argument = 0, const std::string& text = std::string()) {
        return model.m_connection.status("Iterate", number.load(), std::string(operation),
                                         std::int32_t{argument}, toWire(text));
    }
    int requestTotalCount() override { return ask(iteration::TOTAL_COUNT); }
    int requestCursorPosition() override { return ask(iteration::CURSOR_POSITION); }
    int seekToRow(int row) override { return ask(iteration::SEEK_TO_ROW, row); }
    int seekToContent(int column, const std::string& value) override {
        return ask(iteration::SEEK_TO_CONTENT, column, value);
    }
    int readRow() override { return ask(iteration::READ_ROW); }
    int readRowChunk(int count) override { return ask(iteration::READ_ROW_CHUNK, count); }
    int commit() override { return ask(iteration::COMMIT); }

    ClientModel& model;
    std::atomic<std::uint32_t> number{0};
    // Guarded by the model's mutex.
    ObserverTableIterator* observer = nullptr;  // null when the iterator is closed
    Object* access = nullptr;
    IteratorRequest request{};
};

// A client's object for a key. It is reused, never freed: a client that keeps it too long gets a refusal
// instead of reading freed memory.
struct ClientModel::Object final : public BizValue {
    explicit Object(ClientModel& owner) : model(owner) {}

    ObjectTypeSpec getType() override {
        const auto answer = model.m_connection.call<std::int32_t>("Type", number.load());
        return answer ? static_cast<ObjectTypeSpec>(std::get<0>(*answer)) : OBJECT_TYPE_NONE;
    }
    int getInteger() override {
        const auto answer = model.m_connection.call<std::int32_t>("GetInteger", number.load());
        return answer ? std::get<0>(*answer) : 0;
    }
    long long getInt64() override {
        const auto answer = model.m_connection.call<std::int64_t>("GetInt64", number.load());
        return answer ? std::get<0>(*answer) : 0;
    }
    int getString(std::string& out) override {
        return read<Bytes>("GetString", [&](const Bytes& value) { out = fromWire(value); });
    }
    int getIntegerVector(std::vector<int>& out) override {
        return read<std::vector<std::int32_t>>("GetIntegers", [&](const auto& value) { out = value; });
    }
    int getStringVector(std::vector<std::string>& out) override {
        return read<std::vector<Bytes>>("GetStrings", [&](const auto& value) { out = fromWire(value); });
    }

    int setInteger(int value) override {
        return model.m_connection.status("SetInteger", number.load(), std::int32_t{value});
    }
    int setInt64(long long value) override {
        return model.m_connection.status("SetInt64", number.load(), static_cast<std::int64_t>(value));
    }
    int setString(const std::string& value) override {
        return model.m_connection.status("SetString", number.load(), toWire(value));
    }
    int setIntegerVector(const std::map<int, int>& value) override {
        return model.m_connection.status("SetIntegers", number.load(), value);
    }
    int setStringVector(const std::map<int, std::string>& value) override {
        std::map<std::int32_t, Bytes> wire;
        for (const auto& [position, text] : value) wire[position] = toWire(text);
        return model.m_connection.status("SetStrings", number.load(), wire);
    }

    int invoke(unsigned int& actionId, const std::vector<Argument>& arguments) override {
        const std::shared_ptr<BusConnection> connection = model.m_connection.get();
        if (!connection) return STATUS_UNAVAILABLE;
        const auto answer =
            connection->call<std::int32_t, std::uint32_t>("Invoke", number.load(), toWire(arguments));
        if (!answer) return STATUS_UNAVAILABLE;
        const auto [status, id] = *answer;
        if (status != 0) return status;
        // The action may have been answered already, or the television may have gone away since.
        const std::lock_guard lock(model.m_mutex);
        if (model.m_connection.get() != connection) return STATUS_UNAVAILABLE;
        if (answered.erase(id) == 0) pending.insert(id);
        actionId = id;
        return 0;
    }

    TableIterator* createIterator(const IteratorType& type, ObserverTableIterator* receiver,
                                  const std::vector<TableSelection>& selections,
                                  const std::vector<int>& columns,
                                  const std::vector<TableOrder>& orders) override {
        const std::shared_ptr<BusConnection> connection = model.m_connection.get();
        if (!connection || receiver == nullptr) return nullptr;
        IteratorRequest request{0, number, type.kind, type.chunkSize, {}, columns, {}};
        for (const TableSelection& selection : selections)
            request.selections.emplace_back(selection.column, toWire(selection.value));
        for (const TableOrder& order : orders) request.orders.emplace_back(order.column, order.ascending);
        Iterator& iterator = model.open(*this, receiver, request);
        if (create(*connection, request)) return &iterator;
        const std::lock_guard lock(model.m_mutex);
        iterator.observer = nullptr;
        return nullptr;
    }

    int releaseIterator(TableIterator* released) override {
        std::uint32_t iteratorNumber = 0;
        {
            const std::lock_guard lock(model.m_mutex);
            for (Iterator& iterator : model.m_iterators) {
                if (&iterator != released || iterator.observer == nullptr || iterator.access != this)
                    continue;
                iterator.observer = nullptr;
                iteratorNumber = iterator.number;
            }
        }
        if (iteratorNumber == 0) return STATUS_UNAVAILABLE;
        model.m_connection.call<std::int32_t>("ReleaseIterator", iteratorNumber);
        model.m_thread.forget(released);
        return 0;
    }

    template <typename Wire, typename Take>
    int read(const char* method, Take take) {
        const auto answer = model.m_connection.call<std::int32_t, Wire>(method, number.load());
        if (!answer) return STATUS_UNAVAILABLE;
        if (std::get<0>(*answer) == 0) take(std::get<1>(*answer));
        return std::get<0>(*answer);
    }

    ClientModel& model;
    std::atomic<std::uint32_t> number{0};
    // Guarded by the model's mutex.
    std::string name;  // empty if the object is free for another client
    Observer* observer = nullptr;
    int connecting = 0;  // attempts under way
    bool subscribed = false;
    // The last value that the observer knows: from its subscription or its last notification.
    std::optional<simulated::Value> known;
    bool outdated = false;        // true if the observer has received nothing since the television was lost
    std::set<unsigned> pending;   // invocations that are not answered
    std::set<unsigned> answered;  // ids that were answered before invoke() returned them
};

ClientModel::ClientModel(CurrentConnection& connection) : m_connection(connection) {}

ClientModel::~ClientModel() = default;

int ClientModel::connectValue(const std::string& name, Observer* observer, BizValue*& value) {
    const std::shared_ptr<BusConnection> connection = m_connection.get();
    Object& object = objectFor(name, observer);
    auto answer = connection ? connection->call<std::int32_t, bool, sdbus::Variant>("Connect", name,
                                                                                    object.number.load())
                             : std::nullopt;
    const std::lock_guard lock(m_mutex);
    // If the television went away meanwhile, it has lost the subscription.
    if (m_connection.get() != connection) answer.reset();
    const auto [status, yields, wire] =
        answer.value_or(std::tuple(STATUS_UNAVAILABLE, false, sdbus::Variant()));
    --object.connecting;
    if (yields && observer != nullptr) {
        object.subscribed = true;
        // A notification may have arrived before the answer.
        if (!object.known) object.known = fromVariant(wire);
    }
    if (!yields && !object.subscribed && object.connecting == 0) object.name.clear();
    if (status == 0) value = yields ? &object : nullptr;
    return status;
}

int ClientModel::disconnectValue(const std::string& name, Observer* observer, BizValue* value) {
    Object* ended = nullptr;
    std::vector<const Iterator*> iterators;
    {
        const std::lock_guard lock(m_mutex);
        for (Object& object : m_objects)
            if (object.name == name && object.observer == observer && object.subscribed && &object == value)
                ended = &object;
        if (ended == nullptr || observer == nullptr) return STATUS_UNAVAILABLE;
        ended->subscribed = false;
        ended->observer = nullptr;  // from here on, notifications find no observer
        for (Iterator& iterator : m_iterators) {
            if (iterator.access != ended || iterator.observer == nullptr) continue;
            iterator.observer = nullptr;
            iterators.push_back(&iterator);
        }
    }
    m_connection.call<std::int32_t>("Disconnect", ended->number.load());
    for (const Iterator* const iterator : iterators) m_thread.forget(iterator);
    m_thread.forget(ended);
    const std::lock_guard lock(m_mutex);
    ended->name.clear();
    return 0;
}

void ClientModel::lost() {
    const std::lock_guard lock(m_mutex);
    for (Object& object : m_objects) {
        if (!object.subscribed) continue;
        Observer* const observer = object.observer;
        for (const unsigned id : object.pending)
            m_thread.post(&object, [observer, id] {
                simulated::notify(observer, id, simulated::Answer{STATUS_UNAVAILABLE, {}});
            });
        object.pending.clear();
        object.answered.clear();  // the next connection counts invocations from the start
        m_thread.post(&object, [observer] { observer->notifyAvailability(false); });
        object.outdated = true;
    }
}

ClientModel::Restored ClientModel::restore(BusConnection& connection) {
    std::vector<std::pair<std::string, std::uint32_t>> subscriptions;
    std::vector<IteratorRequest> iterators;
    {
        const std::lock_guard lock(m_mutex);
        for (const Object& object : m_objects)
            if (object.subscribed) subscriptions.emplace_back(object.name, object.number);
        for (const Iterator& iterator : m_iterators)
            if (iterator.observer != nullptr) iterators.push_back(iterator.request);
    }
    Restored restored;
    for (const auto& [name, number] : subscriptions) {
        const auto answer = connection.call<std::int32_t, bool, sdbus::Variant>("Connect", name, number);
        const bool connected = answer && std::get<1>(*answer);
        restored.subscriptions[number] =
            connected ? std::optional(fromVariant(std::get<2>(*answer))) : std::nullopt;
    }
    for (const IteratorRequest& request : iterators) {
        create(connection, request);
        restored.iterators.push_back(request.number);
    }
    return restored;
}

void ClientModel::confirm(BusConnection& connection, Restored restored) {
    {
        const std::lock_guard lock(m_mutex);
        for (Object& object : m_objects) {
            if (!object.subscribed) continue;
            const auto subscription = restored.subscriptions.extract(object.number);
            if (subscription && subscription.mapped()) confirm(object, *subscription.mapped());
        }
        for (const Iterator& iterator : m_iterators)
            if (iterator.observer != nullptr) std::erase(restored.iterators, iterator.request.number);
    }
    for (const std::uint32_t number : restored.iterators)
        connection.call<std::int32_t>("ReleaseIterator", number);
    for (const auto& [number, value] : restored.subscriptions)
        connection.call<std::int32_t>("Disconnect", number);
}

void ClientModel::confirm(Object& object, const simulated::Value& value) {
    m_thread.post(&object, [observer = object.observer] { observer->notifyAvailability(true); });
    if (object.outdated && object.known != value) {
        object.known = value;
        m_thread.post(&object, [observer = object.observer, value] { simulated::notify(observer, value); });
    }
    object.outdated = false;
}

void ClientModel::handle(sdbus::Message& message) {
    const std::string member = message.getMemberName();
    std::uint32_t number = 0;
    message >> number;
    if (member == "IteratorNews") {
        handleIterator(number, message);
        return;
    }
    if (member == "Value") {
        tellValue(number, readValue(message));
    } else if (member == "Available") {
        bool available = false;
        message >> available;
        notify(number, [available](Observer* observer) { observer->notifyAvailability(available); });
    } else if (member == "Updated") {
        std::int32_t kind = 0;
        message >> kind;
        notify(number, [kind](Observer* observer) { simulated::notifyTableUpdate(observer, kind); });
    } else if (member == "Failed" || member == "Result") {
        handleAnswer(number, member == "Failed", message);
    }
}

bool ClientModel::create(BusConnection& connection, const IteratorRequest& request) {
    const auto answer =
        connection.call<bool>("CreateIterator", request.table, request.number, request.kind,
                              request.chunkSize, request.selections, request.columns, request.orders);
    return answer && std::get<0>(*answer);
}

ClientModel::Object& ClientModel::objectFor(const std::string& name, Observer* observer) {
    const std::lock_guard lock(m_mutex);
    Object* unused = nullptr;
    for (Object& object : m_objects) {
        if (object.name == name && object.observer == observer) {
            ++object.connecting;
            return object;
        }
        if (object.name.empty()) unused = &object;
    }
    Object& object = unused != nullptr ? *unused : m_objects.emplace_back(*this);
    object.name = name;
    object.observer = observer;
    object.connecting = 1;
    object.pending.clear();
    object.answered.clear();
    object.known.reset();
    object.outdated = false;
    // Numbers are never reused: late notifications of an earlier client find no object.
    object.number = ++m_lastNumber;
    return object;
}

ClientModel::Iterator& ClientModel::open(Object& access, ObserverTableIterator* observer,
                                         IteratorRequest& request) {
    const std::lock_guard lock(m_mutex);
    Iterator* iterator = nullptr;
    for (Iterator& candidate : m_iterators)
        if (candidate.observer == nullptr) iterator = &candidate;
    if (iterator == nullptr) iterator = &m_iterators.emplace_back(*this);
    request.number = ++m_lastNumber;
    iterator->number = request.number;
    iterator->access = &access;
    iterator->request = request;
    iterator->observer = observer;
    return *iterator;
}

ClientModel::Object* ClientModel::find(std::uint32_t number) {
    for (Object& object : m_objects)
        if (object.number == number && !object.name.empty() && object.observer != nullptr) return &object;
    return nullptr;
}

void ClientModel::notify(std::uint32_t number, std::function<void(Observer*)> notification) {
    const std::lock_guard lock(m_mutex);
    if (Object* const object = find(number))
        m_thread.post(object, [observer = object->observer, notification = std::move(notification)] {
            notification(observer);
        });
}

void ClientModel::tellValue(std::uint32_t number, const simulated::Value& value) {
    const std::lock_guard lock(m_mutex);
    Object* const object = find(number);
    if (object == nullptr) return;
    object->known = value;
    object->outdated = false;
    m_thread.post(object, [observer = object->observer, value] { simulated::notify(observer, value); });
}

void ClientModel::handleAnswer(std::uint32_t number, bool failed, sdbus::Message& message) {
    std::uint32_t id = 0;
    simulated::Answer answer;
    message >> id;
    if (failed) {
        message >> answer.error;
    } else {
        std::vector<WireArgument> result;
        message >> result;
        answer.result = fromWire(result);
    }
    {
        const std::lock_guard lock(m_mutex);
        Object* const object = find(number);
        if (object != nullptr && object->pending.erase(id) == 0) object->answered.insert(id);
    }
    notify(number, [id, answer](Observer* observer) { simulated::notify(observer, id, answer); });
}

void ClientModel::handleIterator(std::uint32_t number, sdbus::Message& message) {
    std::string operation;
    std::int32_t argument = 0;
    WireRows wireRows;
    message >> operation >> argument >> wireRows;
    std::vector<std::vector<std::string>> rows;
    for (const auto& row : wireRows) rows.push_back(fromWire(row));

    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_iterators.begin(), m_iterators.end(), [&](const Iterator& iterator) {
        return iterator.number == number && iterator.observer != nullptr;
    });
    if (found == m_iterators.end()) return;
    m_thread.post(&*found, [observer = found->observer, operation, argument, rows] {
        tellIterator(*observer, operation, argument, rows);
    });
}

}  // namespace remote
