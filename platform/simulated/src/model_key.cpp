#include <thread>

#include "catalogue/catalogue.h"
#include "model_implementation.h"
#include "record.h"

using namespace lomodelapi;

namespace simulated {

namespace {

template <typename T>
std::vector<T> inOrder(const std::map<int, T>& map) {
    std::vector<T> list;
    for (const auto& [position, element] : map) list.push_back(element);
    return list;
}

}  // namespace

bool fits(ObjectTypeSpec type, const Value& value) {
    switch (type) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            return std::holds_alternative<int>(value);
        case OBJECT_TYPE_NUMERIC_INT64:
            return std::holds_alternative<long long>(value);
        case OBJECT_TYPE_STRING:
            return std::holds_alternative<std::string>(value);
        case OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return std::holds_alternative<std::vector<int>>(value);
        case OBJECT_TYPE_VECTOR_STRING:
            return std::holds_alternative<std::vector<std::string>>(value);
        default:
            return std::holds_alternative<std::monostate>(value);
    }
}

ObjectTypeSpec Model::Implementation::Key::getType() {
    takeTime();
    const std::lock_guard lock(model.m_mutex);
    return definition.type;
}

template <typename T>
int Model::Implementation::Key::read(T& out) const {
    takeTime();
    const std::lock_guard lock(model.m_mutex);
    const T* const content = std::get_if<T>(&value);
    if (content == nullptr) return WRONG_TYPE;
    if (!offered) return STATUS_UNAVAILABLE;
    if (faults.readStatus != 0) return faults.readStatus;
    out = *content;
    return 0;
}

int Model::Implementation::Key::getInteger() {
    int out = 0;
    read(out);
    return out;
}
long long Model::Implementation::Key::getInt64() {
    long long out = 0;
    read(out);
    return out;
}
int Model::Implementation::Key::getString(std::string& out) { return read(out); }
int Model::Implementation::Key::getIntegerVector(std::vector<int>& out) { return read(out); }
int Model::Implementation::Key::getStringVector(std::vector<std::string>& out) { return read(out); }

int Model::Implementation::Key::write(const Written& written, const Value& newValue) {
    takeTime();
    const std::lock_guard lock(model.m_mutex);
    if (!fits(definition.type, newValue)) return WRONG_TYPE;
    if (!offered) return STATUS_UNAVAILABLE;
    record(writes, written);
    if (faults.refuseWrites) return STATUS_UNAVAILABLE;
    if (!refusal(definition, newValue).empty()) return STATUS_OUT_OF_RANGE;
    if (faults.keepValue) {
        model.announceUnchanged(*this);
    } else {
        model.change(*this, newValue);
    }
    return 0;
}

int Model::Implementation::Key::setInteger(int written) { return write(written, written); }
int Model::Implementation::Key::setInt64(long long written) { return write(written, written); }
int Model::Implementation::Key::setString(const std::string& written) { return write(written, written); }
int Model::Implementation::Key::setIntegerVector(const std::map<int, int>& written) {
    return write(written, inOrder(written));
}
int Model::Implementation::Key::setStringVector(const std::map<int, std::string>& written) {
    return write(written, inOrder(written));
}

int Model::Implementation::Key::invoke(unsigned int& actionId, const std::vector<Argument>& arguments) {
    return invokeFor(nullptr, actionId, arguments);
}

int Model::Implementation::Key::invokeFor(const ClientObject* client, unsigned& actionId,
                                          const std::vector<Argument>& arguments) {
    takeTime();
    const Observer* invoker = nullptr;
    std::function<Answer(const std::vector<Argument>&)> perform;
    unsigned id = 0;
    {
        const std::lock_guard lock(model.m_mutex);
        if (definition.type != OBJECT_TYPE_ACTION) return WRONG_TYPE;
        if (client != nullptr) invoker = client->observer;
        if (!offered) return STATUS_UNAVAILABLE;
        if (faults.invokeStatus != 0) return faults.invokeStatus;
        id = ++model.m_lastActionId;
        record(invocations, Invocation{id, arguments});
        model.m_events.publish(Invoke{definition.name, arguments});
        if (faults.neverAnswer) {
            actionId = id;
            return 0;
        }
        perform = action;
    }
    Answer result;
    if (perform) {
        const Events::Consequences scope;
        result = perform(arguments);
    }
    actionId = id;
    bool waitForDelivery = false;
    {
        const std::lock_guard lock(model.m_mutex);
        model.answer(*this, id, result, invoker);
        waitForDelivery = faults.answerBeforeReturning;
    }
    if (waitForDelivery) model.settle(std::chrono::seconds(30));
    return 0;
}

void Model::Implementation::Key::takeTime() const {
    std::chrono::milliseconds delay;
    {
        const std::lock_guard lock(model.m_mutex);
        delay = faults.answerDelay;
    }
    if (delay.count() > 0) std::this_thread::sleep_for(delay);
}

BizValue& Model::Implementation::Key::objectFor(Observer* observer) {
    const bool ofItsOwn = definition.type == OBJECT_TYPE_ACTION || definition.type == OBJECT_TYPE_TABLE;
    if (!ofItsOwn || observer == nullptr) return *this;
    for (ClientObject& access : clientObjects)
        if (access.observer == observer) return access;
    ClientObject& access = unused(clientObjects);
    access.observer = observer;
    return access;
}

ObjectTypeSpec Model::Implementation::ClientObject::getType() { return key.getType(); }

int Model::Implementation::ClientObject::invoke(unsigned int& actionId,
                                                const std::vector<Argument>& arguments) {
    return key.invokeFor(this, actionId, arguments);
}

TableIterator* Model::Implementation::ClientObject::createIterator(
    const IteratorType& type, ObserverTableIterator* receiver, const std::vector<TableSelection>& selections,
    const std::vector<int>& columns, const std::vector<TableOrder>& orders) {
    key.takeTime();
    const std::lock_guard lock(model.m_mutex);
    if (key.definition.type != OBJECT_TYPE_TABLE) return nullptr;
    if (observer == nullptr || !key.offered || receiver == nullptr) return nullptr;
    Iterator& iterator = key.unused(key.iterators);
    iterator.open(this, type, receiver, selections, columns, orders);
    return &iterator;
}

int Model::Implementation::ClientObject::releaseIterator(TableIterator* released) {
    std::unique_lock lock(model.m_mutex);
    for (Iterator& iterator : key.iterators) {
        if (&iterator != released || iterator.observer == nullptr || iterator.access != this) continue;
        iterator.close(lock);
        return 0;
    }
    return STATUS_UNAVAILABLE;
}

void Model::Implementation::ClientObject::close(std::unique_lock<std::mutex>& lock) {
    observer = nullptr;
    for (Iterator& iterator : key.iterators)
        if (iterator.observer != nullptr && iterator.access == this) iterator.close(lock);
}

}  // namespace simulated
