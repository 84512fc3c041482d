// Implements the model's interface with the second platform's store.
#include <algorithm>
#include <atomic>
#include <boost/make_shared.hpp>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "frame/process.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "orbit/store.hpp"
#include "status.h"

using namespace lomodelapi;
using orbit::Outcome;

namespace adapter {

namespace {

int status(Outcome outcome) {
    switch (outcome) {
        case Outcome::Fine:
            return 0;
        case Outcome::WrongKind:
            return WRONG_TYPE;
        default:
            return REFUSED;
    }
}

// Returns null if the store cannot be opened. The next call tries again.
orbit::Store* store() {
    static std::mutex mutex;
    static std::unique_ptr<orbit::Store> opened;
    const std::lock_guard lock(mutex);
    Outcome outcome = Outcome::Fine;
    if (opened == nullptr) opened = orbit::Store::open("orbit://television", outcome);
    return opened.get();
}

// Ends a receiver of notifications. The store may still deliver notifications after a receiver's end; they
// are dropped. After settle() has returned, no notification is being delivered. On the delivery thread,
// settle() cannot wait, but then no other thread delivers one.
class Ending {
  public:
    bool ended() const { return m_ended; }
    void end() {
        m_ended = true;
        store()->settle();
    }

  private:
    std::atomic<bool> m_ended{false};
};

using Rows = std::vector<std::vector<std::string>>;

std::string cell(const orbit::Row& row, int column) {
    const auto index = static_cast<std::size_t>(column);
    return column >= 0 && index < row.size() ? row[index] : std::string();
}

// Iterates over a copy of the rows, because the tables of this platform do not change. Only the delivery
// thread uses the cursor.
class Iterator final : public TableIterator, public std::enable_shared_from_this<Iterator> {
  public:
    Iterator(ObserverTableIterator& observer, Rows rows, std::vector<int> columns, int chunkSize)
        : m_observer(observer),
          m_rows(std::move(rows)),
          m_columns(std::move(columns)),
          m_chunkSize(chunkSize) {}

    void open() {
        later([this] { m_observer.notifyIteratorReady(count()); });
    }
    void end() { m_ending.end(); }

    int requestTotalCount() override {
        return later([this] { m_observer.notifyTotalCount(count()); });
    }
    int requestCursorPosition() override {
        return later([this] { m_observer.notifyCursorPosition(isRow(m_cursor) ? m_cursor : -1); });
    }
    int seekToRow(int row) override {
        return later([this, row] {
            if (isRow(row)) m_cursor = row;
            m_observer.notifySeekToRow(isRow(row) ? row : -1);
        });
    }
    int seekToContent(int column, const std::string& value) override {
        return later([this, column, value] {
            const auto found = std::find_if(m_rows.begin(), m_rows.end(), [&](const orbit::Row& row) {
                return cell(row, column) == value;
            });
            const int row = found != m_rows.end() ? static_cast<int>(found - m_rows.begin()) : -1;
            if (row >= 0) m_cursor = row;
            m_observer.notifySeekToContent(row);
        });
    }
    int readRow() override {
        return later(
            [this] { m_observer.notifyReadRow(isRow(m_cursor) ? next() : std::vector<std::string>()); });
    }
    int readRowChunk(int wanted) override {
        return later([this, wanted] {
            Rows rows;
            for (int i = 0; i < std::min(wanted, m_chunkSize) && isRow(m_cursor); ++i) rows.push_back(next());
            std::vector<const std::vector<std::string>*> pointers;
            for (const auto& row : rows) pointers.push_back(&row);
            m_observer.notifyReadRowChunk(pointers);
        });
    }
    int commit() override {
        return later([this] { m_observer.notifyCommit(0); });
    }

  private:
    int later(std::function<void()> answer) {
        store()->post([self = shared_from_this(), answer = std::move(answer)] {
            if (!self->m_ending.ended()) answer();
        });
        return 0;
    }
    int count() const { return static_cast<int>(m_rows.size()); }
    bool isRow(int row) const { return row >= 0 && row < count(); }
    std::vector<std::string> next() {
        const orbit::Row& row = m_rows[static_cast<std::size_t>(m_cursor++)];
        std::vector<std::string> wanted;
        for (const int column : m_columns) wanted.push_back(cell(row, column));
        return wanted;
    }

    ObserverTableIterator& m_observer;
    const Rows m_rows;
    const std::vector<int> m_columns;
    const int m_chunkSize;
    int m_cursor = 0;
    Ending m_ending;
};

Rows select(Rows rows, const std::vector<TableSelection>& selections, const std::vector<TableOrder>& orders) {
    for (const TableSelection& selection : selections)
        rows.erase(std::remove_if(
                       rows.begin(), rows.end(),
                       [&](const orbit::Row& row) { return cell(row, selection.column) != selection.value; }),
                   rows.end());
    // The sort is stable, so the most significant column is sorted last.
    for (auto order = orders.rbegin(); order != orders.rend(); ++order)
        std::stable_sort(rows.begin(), rows.end(), [&](const orbit::Row& a, const orbit::Row& b) {
            const int difference = cell(a, order->column).compare(cell(b, order->column));
            return order->ascending ? difference < 0 : difference > 0;
        });
    return rows;
}

// Notifies an observer of a value of its own type; values of other types are dropped.

void tell(Observer& observer, std::int32_t value) {
    if (auto* const it = dynamic_cast<ObserverNumericInteger*>(&observer)) it->notifyNewValue(value);
}
void tell(Observer& observer, std::int64_t value) {
    if (auto* const it = dynamic_cast<ObserverNumericInt64*>(&observer))
        it->notifyNewValue(static_cast<long long>(value));
}
void tell(Observer& observer, const std::string& value) {
    if (auto* const it = dynamic_cast<ObserverString*>(&observer)) it->notifyNewValue(value);
}
void tell(Observer& observer, const std::vector<std::int32_t>& value) {
    if (auto* const it = dynamic_cast<ObserverVectorNumericInteger*>(&observer))
        it->notifyIntegerVector(value);
}
void tell(Observer& observer, const std::vector<std::string>& value) {
    if (auto* const it = dynamic_cast<ObserverVectorString*>(&observer)) it->notifyStringVector(value);
}
void tell(Observer&, std::monostate) {}

}  // namespace

// A client's subscription. It contains the BizValue that the client receives as the model's object.
class Subscription final : public orbit::Watcher, public std::enable_shared_from_this<Subscription> {
  public:
    Subscription(std::string name, Observer& observer, orbit::Node& node)
        : m_value(*this), m_name(std::move(name)), m_observer(observer), m_node(node) {}

    BizValue* value() { return &m_value; }
    orbit::Node& node() { return m_node; }
    bool is(const std::string& name, const Observer* observer) const {
        return m_name == name && &m_observer == observer;
    }

    void changed(const std::string&, const orbit::Datum& datum) override {
        if (!m_ending.ended()) std::visit([this](const auto& content) { tell(m_observer, content); }, datum);
    }

    int invoke(unsigned id, const std::vector<Argument>& arguments) {
        auto* const listener = dynamic_cast<ObserverAction*>(&m_observer);
        if (listener == nullptr) return WRONG_TYPE;
        orbit::Inputs inputs;
        for (const Argument& argument : arguments) inputs.emplace_back(argument.position, argument.value);
        return status(m_node.call(std::move(inputs), [self = shared_from_this(), listener, id](
                                                         int code, const std::vector<std::string>& outputs) {
            if (self->m_ending.ended()) return;
            std::vector<Argument> result;
            for (const std::string& output : outputs)
                result.push_back({0, static_cast<std::uint16_t>(result.size()), output});
            code == 0 ? listener->notifyResult(id, result) : listener->notifyExecutionError(id, code);
        }));
    }

    TableIterator* createIterator(std::shared_ptr<Iterator> iterator) {
        const std::lock_guard lock(m_mutex);
        m_iterators.push_back(iterator);
        iterator->open();
        return iterator.get();
    }

    int releaseIterator(const TableIterator* wanted) {
        std::shared_ptr<Iterator> released;
        {
            const std::lock_guard lock(m_mutex);
            const auto found = std::find_if(m_iterators.begin(), m_iterators.end(),
                                            [&](const auto& iterator) { return iterator.get() == wanted; });
            if (found == m_iterators.end()) return REFUSED;
            released = *found;
            m_iterators.erase(found);
        }
        released->end();
        return 0;
    }

    int start() { return status(store()->watch(m_ticket, shared_from_this(), m_name)); }

    void end() {
        store()->unwatch(m_ticket);
        std::vector<std::shared_ptr<Iterator>> iterators;
        {
            const std::lock_guard lock(m_mutex);
            iterators.swap(m_iterators);
        }
        for (const auto& iterator : iterators) iterator->end();
        m_ending.end();
    }

  private:
    BizValue m_value;
    const std::string m_name;
    Observer& m_observer;
    orbit::Node& m_node;
    Ending m_ending;
    orbit::Ticket m_ticket = 0;
    std::mutex m_mutex;  // guards the iterators
    std::vector<std::shared_ptr<Iterator>> m_iterators;
};

namespace {

struct Subscriptions {
    std::mutex mutex;
    std::map<const BizValue*, std::shared_ptr<Subscription>> all;
};

Subscriptions& subscriptions() {
    static Subscriptions the;
    return the;
}

template <typename T>
int read(const orbit::Node& node, T& out) {
    orbit::Datum datum;
    if (const Outcome outcome = node.get(datum); outcome != Outcome::Fine) return status(outcome);
    const T* const content = std::get_if<T>(&datum);
    if (content == nullptr) return WRONG_TYPE;
    out = *content;
    return 0;
}

template <typename T>
int write(orbit::Node& node, const std::map<int, T>& elements) {
    std::vector<T> list;
    for (const auto& [position, element] : elements) list.push_back(element);
    return status(node.set(std::move(list)));
}

}  // namespace

}  // namespace adapter

using adapter::status;
using adapter::Subscription;
using adapter::subscriptions;

int frame::Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, const std::string& name) {
    if (name != "dovra.lm.interfaces.tvapi.RootInterface" || adapter::store() == nullptr)
        return adapter::REFUSED;
    reference = boost::make_shared<Interface>();
    return 0;
}

RootInterface* frame::Interface::getRootInterface() {
    static RootInterface root;
    return &root;
}

int RootInterface::connectValue(const std::string& name, Observer* observer, BizValue*& value) {
    orbit::Node* const node = adapter::store()->find(name);
    if (node == nullptr || observer == nullptr) return adapter::REFUSED;
    const auto subscription = std::make_shared<Subscription>(name, *observer, *node);
    if (const int refusal = subscription->start(); refusal != 0) return refusal;
    value = subscription->value();
    const std::lock_guard lock(subscriptions().mutex);
    subscriptions().all.emplace(value, subscription);
    return 0;
}

int RootInterface::disconnectValue(const std::string& name, Observer* observer, BizValue* value) {
    std::shared_ptr<Subscription> subscription;
    {
        const std::lock_guard lock(subscriptions().mutex);
        const auto found = subscriptions().all.find(value);
        if (found == subscriptions().all.end() || !found->second->is(name, observer)) return adapter::REFUSED;
        subscription = std::move(found->second);
        subscriptions().all.erase(found);
    }
    subscription->end();
    return 0;
}

ObjectTypeSpec BizValue::getType() {
    switch (m_subscription.node().kind()) {
        case orbit::Kind::Number:
            return OBJECT_TYPE_NUMERIC_INTEGER;
        case orbit::Kind::LongNumber:
            return OBJECT_TYPE_NUMERIC_INT64;
        case orbit::Kind::Text:
            return OBJECT_TYPE_STRING;
        case orbit::Kind::Numbers:
            return OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
        case orbit::Kind::Texts:
            return OBJECT_TYPE_VECTOR_STRING;
        case orbit::Kind::Command:
            return OBJECT_TYPE_ACTION;
        case orbit::Kind::Grid:
            return OBJECT_TYPE_TABLE;
    }
    return OBJECT_TYPE_NONE;
}

int BizValue::getInteger() {
    std::int32_t value = 0;
    adapter::read(m_subscription.node(), value);
    return value;
}
long long BizValue::getInt64() {
    std::int64_t value = 0;
    adapter::read(m_subscription.node(), value);
    return value;
}
int BizValue::getString(std::string& out) { return adapter::read(m_subscription.node(), out); }
int BizValue::getIntegerVector(std::vector<int>& out) { return adapter::read(m_subscription.node(), out); }
int BizValue::getStringVector(std::vector<std::string>& out) {
    return adapter::read(m_subscription.node(), out);
}

int BizValue::setInteger(int value) { return status(m_subscription.node().set(value)); }
int BizValue::setInt64(long long value) { return status(m_subscription.node().set(std::int64_t{value})); }
int BizValue::setString(const std::string& value) { return status(m_subscription.node().set(value)); }
int BizValue::setIntegerVector(const std::map<int, int>& elements) {
    return adapter::write(m_subscription.node(), elements);
}
int BizValue::setStringVector(const std::map<int, std::string>& elements) {
    return adapter::write(m_subscription.node(), elements);
}

int BizValue::invoke(unsigned int& actionId, const std::vector<Argument>& arguments) {
    static std::atomic<unsigned> lastId{0};
    actionId = ++lastId;
    return m_subscription.invoke(actionId, arguments);
}

TableIterator* BizValue::createIterator(const IteratorType& type, ObserverTableIterator* observer,
                                        const std::vector<TableSelection>& selections,
                                        const std::vector<int>& columns,
                                        const std::vector<TableOrder>& orders) {
    adapter::Rows rows;
    if (observer == nullptr || m_subscription.node().rows(rows) != Outcome::Fine) return nullptr;
    return m_subscription.createIterator(std::make_shared<adapter::Iterator>(
        *observer, adapter::select(std::move(rows), selections, orders), columns, type.chunkSize));
}

int BizValue::releaseIterator(TableIterator* iterator) { return m_subscription.releaseIterator(iterator); }
