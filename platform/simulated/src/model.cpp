#include "simulated/model.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "current_call.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "lomodelapi/table.h"
#include "notify.h"
#include "record.h"
#include "catalogue/catalogue.h"
#include "simulated/events.h"

using namespace lomodelapi;

namespace simulated {

namespace {

using Clock = std::chrono::steady_clock;

// The kind of iterator that goes with its table's changes.
constexpr int FOLLOWING = 1;

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

template <typename T>
std::vector<T> inOrder(const std::map<int, T>& map) {
    std::vector<T> list;
    for (const auto& [position, element] : map) list.push_back(element);
    return list;
}

// What an event does with an observer.
using Notice = std::function<void(Observer*)>;

// The rows that an iterator goes over.
Rows select(const Rows& table, const std::vector<TableSelection>& selections, const std::vector<int>& columns,
            const std::vector<TableOrder>& orders) {
    static const std::string nothing;
    const auto cell = [](const std::vector<std::string>& row, int column) -> const std::string& {
        return column >= 0 && static_cast<std::size_t>(column) < row.size()
                   ? row[static_cast<std::size_t>(column)]
                   : nothing;
    };
    Rows rows;
    for (const auto& row : table) {
        const auto holds = [&](const TableSelection& selection) {
            return cell(row, selection.column) == selection.value;
        };
        if (std::all_of(selections.begin(), selections.end(), holds)) rows.push_back(row);
    }
    std::stable_sort(rows.begin(), rows.end(), [&](const auto& a, const auto& b) {
        for (const TableOrder& order : orders) {
            const int difference = cell(a, order.column).compare(cell(b, order.column));
            if (difference != 0) return order.ascending ? difference < 0 : difference > 0;
        }
        return false;
    });
    for (auto& row : rows) {
        std::vector<std::string> wanted;
        for (const int column : columns) wanted.push_back(cell(row, column));
        row = std::move(wanted);
    }
    return rows;
}

}  // namespace

class Model::Implementation final : public RootInterface {
  public:
    struct Key;

    // What one client gets for an action or a table, so that its invocations and iterators are known from
    // those of others. Its observer is null when it is given back; it is then used again for the next client.
    struct ClientObject final : public BizValue {
        ClientObject(Implementation& owner, Key& clientKey) : model(owner), key(clientKey) {}

        ObjectTypeSpec getType() override { return key.getType(); }

        int invoke(unsigned int& actionId, const std::vector<Argument>& arguments) override {
            return model.invoke(key, actionId, arguments, this);
        }

        TableIterator* createIterator(const IteratorType& type, ObserverTableIterator* receiver,
                                      const std::vector<TableSelection>& selections,
                                      const std::vector<int>& columns,
                                      const std::vector<TableOrder>& orders) override {
            model.takeTime(key);
            const std::lock_guard lock(model.m_mutex);
            if (key.definition.type != OBJECT_TYPE_TABLE) return nullptr;
            if (observer == nullptr || !key.offered || receiver == nullptr) return nullptr;
            Iterator& iterator = unused(key.iterators, model, key);
            iterator.open(this, type, receiver, selections, columns, orders);
            return &iterator;
        }

        int releaseIterator(TableIterator* released) override {
            std::unique_lock lock(model.m_mutex);
            for (Iterator& iterator : key.iterators) {
                if (&iterator != released || iterator.observer == nullptr || iterator.access != this)
                    continue;
                iterator.close(lock);
                return 0;
            }
            return STATUS_UNAVAILABLE;
        }

        void close(std::unique_lock<std::mutex>& lock) {
            observer = nullptr;
            for (Iterator& iterator : key.iterators)
                if (iterator.observer != nullptr && iterator.access == this) iterator.close(lock);
        }

        Implementation& model;
        Key& key;
        Observer* observer = nullptr;
    };

    // An element whose observer is null, or a new one.
    template <typename T>
    static T& unused(std::list<T>& elements, Implementation& model, Key& key) {
        for (T& element : elements)
            if (element.observer == nullptr) return element;
        return elements.emplace_back(model, key);
    }

    // An iterator of a table. Its observer is null when it is closed; it is then used again for the next
    // client, so that one who keeps it too long never touches freed memory.
    struct Iterator final : public TableIterator {
        Iterator(Implementation& owner, Key& table) : model(owner), key(table) {}

        void open(const ClientObject* newAccess, const IteratorType& newType,
                  ObserverTableIterator* newObserver, const std::vector<TableSelection>& newSelections,
                  const std::vector<int>& newColumns, const std::vector<TableOrder>& newOrders) {
            access = newAccess;
            type = newType;
            observer = newObserver;
            selections = newSelections;
            columns = newColumns;
            orders = newOrders;
            cursor = 0;
            refresh();
            tell([count = count()](ObserverTableIterator& receiver) { receiver.notifyIteratorReady(count); });
        }

        void close(std::unique_lock<std::mutex>& lock) {
            const Observer* const closed = observer;
            observer = nullptr;
            ++life;
            model.m_call.waitUntilLeft(closed, lock);
        }

        void refresh() {
            rows = select(key.definition.rows, selections, columns, orders);
            cursor = std::min(cursor, count());
        }

        int count() const { return static_cast<int>(rows.size()); }
        bool isRow(int row) const { return row >= 0 && row < count(); }

        template <typename News>
        void tell(News news) {
            model.enqueue(
                key, [news](Observer* receiver) { news(*static_cast<ObserverTableIterator*>(receiver)); },
                this, life);
        }

        // Asks for something: `ask` runs with the model locked and returns the news for the observer.
        template <typename Ask>
        int request(Ask ask) {
            model.takeTime(key);
            const std::lock_guard lock(model.m_mutex);
            if (observer == nullptr || !key.offered) return STATUS_UNAVAILABLE;
            if (key.faults.readStatus != 0) return key.faults.readStatus;
            tell(ask());
            return 0;
        }

        int requestTotalCount() override {
            return request([this] {
                return
                    [total = count()](ObserverTableIterator& receiver) { receiver.notifyTotalCount(total); };
            });
        }
        int requestCursorPosition() override {
            return request([this] {
                return [row = isRow(cursor) ? cursor : -1](ObserverTableIterator& receiver) {
                    receiver.notifyCursorPosition(row);
                };
            });
        }
        int seekToRow(int wanted) override {
            return request([this, wanted] {
                if (isRow(wanted)) cursor = wanted;
                return [row = isRow(wanted) ? wanted : -1](ObserverTableIterator& receiver) {
                    receiver.notifySeekToRow(row);
                };
            });
        }
        // `column` counts among those that the iterator reads.
        int seekToContent(int column, const std::string& value) override {
            return request([&] {
                int found = -1;
                for (int row = 0; row < count() && found < 0; ++row) {
                    const std::vector<std::string>& texts = rows[static_cast<std::size_t>(row)];
                    if (column >= 0 && static_cast<std::size_t>(column) < texts.size() &&
                        texts[static_cast<std::size_t>(column)] == value)
                        found = row;
                }
                if (found >= 0) cursor = found;
                return [found](ObserverTableIterator& receiver) { receiver.notifySeekToContent(found); };
            });
        }
        int readRow() override {
            return request([this] {
                std::vector<std::string> row;
                if (isRow(cursor)) row = rows[static_cast<std::size_t>(cursor++)];
                return [row](ObserverTableIterator& receiver) { receiver.notifyReadRow(row); };
            });
        }
        int readRowChunk(int wanted) override {
            return request([this, wanted] {
                Rows chunk;
                for (int i = 0; i < std::min(wanted, type.chunkSize) && isRow(cursor); ++i)
                    chunk.push_back(rows[static_cast<std::size_t>(cursor++)]);
                return [chunk](ObserverTableIterator& receiver) {
                    std::vector<const std::vector<std::string>*> pointers;
                    for (const auto& row : chunk) pointers.push_back(&row);
                    receiver.notifyReadRowChunk(pointers);
                };
            });
        }
        int commit() override {
            return request([] { return [](ObserverTableIterator& receiver) { receiver.notifyCommit(0); }; });
        }

        Implementation& model;
        Key& key;
        const ClientObject* access = nullptr;
        IteratorType type{};
        ObserverTableIterator* observer = nullptr;
        unsigned life = 0;
        std::vector<TableSelection> selections;
        std::vector<int> columns;
        std::vector<TableOrder> orders;
        Rows rows;
        int cursor = 0;
    };

    // One key, and the object that clients get for it. It lives as long as the model, so that a client that
    // keeps the object too long reads an old value rather than freed memory.
    struct Key final : public BizValue {
        Key(Implementation& owner, KeyDefinition keyDefinition)
            : model(owner), definition(std::move(keyDefinition)), value(definition.initial) {}

        ObjectTypeSpec getType() override {
            model.takeTime(*this);
            const std::lock_guard lock(model.m_mutex);
            return definition.type;
        }

        int getInteger() override {
            int out = 0;
            model.read(*this, out);
            return out;
        }
        long long getInt64() override {
            long long out = 0;
            model.read(*this, out);
            return out;
        }
        int getString(std::string& out) override { return model.read(*this, out); }
        int getIntegerVector(std::vector<int>& out) override { return model.read(*this, out); }
        int getStringVector(std::vector<std::string>& out) override { return model.read(*this, out); }

        int setInteger(int written) override { return model.write(*this, written, written); }
        int setInt64(long long written) override { return model.write(*this, written, written); }
        int setString(const std::string& written) override { return model.write(*this, written, written); }
        int setIntegerVector(const std::map<int, int>& written) override {
            return model.write(*this, written, inOrder(written));
        }
        int setStringVector(const std::map<int, std::string>& written) override {
            return model.write(*this, written, inOrder(written));
        }

        int invoke(unsigned int& actionId, const std::vector<Argument>& arguments) override {
            return model.invoke(*this, actionId, arguments);
        }

        Implementation& model;
        KeyDefinition definition;
        Value value;
        std::function<Answer(const std::vector<Argument>&)> action;
        std::deque<Invocation> invocations;
        std::list<ClientObject> clientObjects;
        std::list<Iterator> iterators;
        bool offered = true;
        KeyFaults faults;
        unsigned connectAttempts = 0;
        std::deque<Written> writes;
        std::vector<Observer*> observers;
        Clock::time_point lastDue{};
    };

    Implementation(std::vector<KeyDefinition> catalogue, Events& events)
        : m_events(events), m_catalogue(std::move(catalogue)) {
        for (const KeyDefinition& definition : m_catalogue)
            m_keys.emplace(std::piecewise_construct, std::forward_as_tuple(definition.name),
                           std::forward_as_tuple(*this, definition));
        m_thread = std::thread([this] { deliver(); });
    }

    ~Implementation() {
        {
            const std::lock_guard lock(m_mutex);
            m_ending = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }

    int connectValue(const std::string& name, Observer* observer, BizValue*& value) override {
        Key* const found = lookUp(name);
        if (found == nullptr) return STATUS_UNKNOWN_KEY;
        Key& key = *found;
        takeTime(key);
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
        value = &objectFor(key, observer);
        m_events.tell(ClientConnected{name});
        return 0;
    }

    int disconnectValue(const std::string& name, Observer* observer, BizValue* value) override {
        std::unique_lock lock(m_mutex);
        const auto found = m_keys.find(name);
        if (found == m_keys.end()) return STATUS_UNKNOWN_KEY;
        std::vector<Observer*>& observers = found->second.observers;
        const auto subscribed = std::find(observers.begin(), observers.end(), observer);
        if (subscribed == observers.end() || value != &objectFor(found->second, observer))
            return STATUS_UNAVAILABLE;
        observers.erase(subscribed);
        for (ClientObject& access : found->second.clientObjects)
            if (&access == value) access.close(lock);
        m_call.waitUntilLeft(observer, lock);
        return 0;
    }

    // The television's side

    Key& at(const std::string& name) {
        const auto found = m_keys.find(name);
        if (found == m_keys.end()) throw std::out_of_range("the model has no key '" + name + "'");
        return found->second;
    }

    void change(Key& key, const Value& value) {
        if (key.value == value) return;
        key.value = value;
        tellListeners(key);
        announce(key);
    }

    void tellListeners(const Key& key) const {
        for (const auto& listener : m_listeners) listener(key.definition.name, key.value);
        m_events.tell(SetKey{key.definition.name, key.value});
    }

    void announceUnchanged(Key& key) {
        m_events.tell(Announce{key.definition.name});
        announce(key);
    }

    void announce(Key& key) {
        enqueue(key, [value = key.value](Observer* observer) { notify(observer, value); });
    }

    void announceAvailability(Key& key) {
        enqueue(key, [offered = key.offered](Observer* observer) { observer->notifyAvailability(offered); });
    }

    // `only` hears it, or, if it is null, every client.
    void answer(Key& key, unsigned id, const Answer& answer, const Observer* only = nullptr) {
        for (unsigned i = 0; i <= key.faults.repeatAnswers; ++i)
            enqueue(key, [id, answer, only](Observer* observer) {
                if (only == nullptr || only == observer) notify(observer, id, answer);
            });
    }

    void setRows(Key& key, const Rows& rows) {
        key.definition.rows = rows;
        enqueue(key, [](Observer* observer) { notifyTableUpdate(observer, 0); });
        for (Iterator& iterator : key.iterators) {
            if (iterator.observer == nullptr || iterator.type.kind != FOLLOWING) continue;
            iterator.refresh();
            iterator.tell([](ObserverTableIterator& observer) { observer.notifyUpdate(0); });
        }
    }

    Events& m_events;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    const std::vector<KeyDefinition> m_catalogue;
    std::map<std::string, Key> m_keys;
    std::vector<std::function<void(const std::string&, const Value&)>> m_listeners;
    std::chrono::milliseconds m_delay = NOTIFICATION_DELAY;

    bool m_held = false;
    Order m_releaseOrder = Order::AS_THEY_CAME;

    void setHeld(bool held) {
        if (m_held && !held && m_releaseOrder == Order::REVERSED)
            std::reverse(m_queue.begin(), m_queue.end());
        m_held = held;
        m_changed.notify_all();
    }

    void forgetEvents() { m_queue.clear(); }

    bool settle(std::chrono::milliseconds limit) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit,
                                  [this] { return (m_held || m_queue.empty()) && !m_call.isRunning(); });
    }

  private:
    struct Notification {
        Key* key;
        Notice tell;
        Clock::time_point due;
        // The iterator that it is about, and which of its lives; null if it is about the key.
        const Iterator* iterator;
        unsigned life;
    };

    // An action and a table give each client an object of its own.
    BizValue& objectFor(Key& key, Observer* observer) {
        const bool ofItsOwn =
            key.definition.type == OBJECT_TYPE_ACTION || key.definition.type == OBJECT_TYPE_TABLE;
        if (!ofItsOwn || observer == nullptr) return key;
        for (ClientObject& access : key.clientObjects)
            if (access.observer == observer) return access;
        ClientObject& access = unused(key.clientObjects, *this, key);
        access.observer = observer;
        return access;
    }

    Key* lookUp(const std::string& name) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_keys.find(name);
        return found != m_keys.end() ? &found->second : nullptr;
    }

    void takeTime(const Key& key) {
        std::chrono::milliseconds delay;
        {
            const std::lock_guard lock(m_mutex);
            delay = key.faults.answerDelay;
        }
        if (delay.count() > 0) std::this_thread::sleep_for(delay);
    }

    template <typename T>
    int read(const Key& key, T& out) {
        takeTime(key);
        const std::lock_guard lock(m_mutex);
        const T* const value = std::get_if<T>(&key.value);
        if (value == nullptr) return BizValue::WRONG_TYPE;
        if (!key.offered) return STATUS_UNAVAILABLE;
        if (key.faults.readStatus != 0) return key.faults.readStatus;
        out = *value;
        return 0;
    }

    int write(Key& key, const Written& written, const Value& value) {
        takeTime(key);
        const std::lock_guard lock(m_mutex);
        if (!fits(key.definition.type, value)) return BizValue::WRONG_TYPE;
        if (!key.offered) return STATUS_UNAVAILABLE;
        record(key.writes, written);
        if (key.faults.refuseWrites) return STATUS_UNAVAILABLE;
        if (!refusal(key.definition, value).empty()) return STATUS_OUT_OF_RANGE;
        if (key.faults.keepValue) {
            announceUnchanged(key);
        } else {
            change(key, value);
        }
        return 0;
    }

    // Behind every event that is due earlier or at the same time, and behind every event of the same key.
    void enqueue(Key& key, const Notice& tell, const Iterator* iterator = nullptr, unsigned life = 0) {
        if (key.faults.dropNotifications > 0) {
            --key.faults.dropNotifications;
            return;
        }
        key.lastDue = std::max(key.lastDue, Clock::now() + m_delay + key.faults.notificationDelay);
        const auto later = std::find_if(m_queue.begin(), m_queue.end(),
                                        [&](const Notification& event) { return event.due > key.lastDue; });
        m_queue.insert(later, 1 + key.faults.repeatNotifications,
                       Notification{&key, tell, key.lastDue, iterator, life});
        m_changed.notify_all();
    }

    // For a client, or, without one, for the television itself.
    int invoke(Key& key, unsigned& actionId, const std::vector<Argument>& arguments,
               const ClientObject* client = nullptr) {
        takeTime(key);
        const Observer* invoker = nullptr;
        std::function<Answer(const std::vector<Argument>&)> action;
        unsigned id = 0;
        {
            const std::lock_guard lock(m_mutex);
            if (key.definition.type != OBJECT_TYPE_ACTION) return BizValue::WRONG_TYPE;
            if (client != nullptr) invoker = client->observer;
            if (!key.offered) return STATUS_UNAVAILABLE;
            if (key.faults.invokeStatus != 0) return key.faults.invokeStatus;
            id = ++m_lastActionId;
            record(key.invocations, Invocation{id, arguments});
            m_events.tell(Invoke{key.definition.name, arguments});
            if (key.faults.neverAnswer) {
                actionId = id;
                return 0;
            }
            action = key.action;
        }
        const Answer result = perform(action, arguments);
        actionId = id;
        bool waitForDelivery = false;
        {
            const std::lock_guard lock(m_mutex);
            answer(key, id, result, invoker);
            waitForDelivery = key.faults.answerBeforeReturning;
        }
        if (waitForDelivery) settle(std::chrono::seconds(30));
        return 0;
    }

    static Answer perform(const std::function<Answer(const std::vector<Argument>&)>& action,
                          const std::vector<Argument>& arguments) {
        const Events::Consequences scope;
        return action ? action(arguments) : Answer();
    }

    // The model thread.
    void deliver() {
        std::unique_lock lock(m_mutex);
        while (!m_ending) {
            if (m_held || m_queue.empty()) {
                m_changed.wait(lock);
            } else if (const auto due = m_queue.front().due; Clock::now() < due) {
                m_changed.wait_until(lock, due);
            } else {
                const Notification event = std::move(m_queue.front());
                m_queue.pop_front();
                deliver(event, lock);
            }
        }
    }

    void deliver(const Notification& event, std::unique_lock<std::mutex>& lock) {
        if (event.iterator != nullptr) {
            Observer* const observer = event.iterator->observer;
            if (event.iterator->life == event.life && observer != nullptr)
                m_call.run(observer, lock, [&] { event.tell(observer); });
        } else {
            const std::vector<Observer*> observers = event.key->observers;
            for (Observer* const observer : observers) {
                const std::vector<Observer*>& now = event.key->observers;
                if (std::find(now.begin(), now.end(), observer) != now.end())
                    m_call.run(observer, lock, [&] { event.tell(observer); });
            }
        }
        m_changed.notify_all();
    }

    unsigned m_lastActionId = 0;
    std::deque<Notification> m_queue;
    CurrentCall<const Observer*> m_call{m_changed};
    bool m_ending = false;
    std::thread m_thread;
};

Model::Model(std::vector<KeyDefinition> catalogue, Events& events)
    : m_implementation(std::make_unique<Implementation>(std::move(catalogue), events)) {}

Model::~Model() = default;

void Model::reset() {
    Implementation& model = *m_implementation;
    const std::lock_guard lock(model.m_mutex);
    model.forgetEvents();
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
