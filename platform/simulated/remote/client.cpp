#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "deliver.h"
#include "line.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "notification_thread.h"
#include "notify.h"
#include "other_television.h"
#include "protocol.h"
#include "zt/apmclient/app_manager_client.h"

using namespace lomodelapi;
using simulated::STATUS_UNAVAILABLE;

namespace remote {

namespace {

constexpr auto RETRY_PERIOD = std::chrono::milliseconds(100);

constexpr char BUS[] = "org.freedesktop.DBus";
constexpr char BUS_OBJECT[] = "/org/freedesktop/DBus";

using WireSelection = sdbus::Struct<std::int32_t, Bytes>;
using WireOrder = sdbus::Struct<std::int32_t, bool>;
using Rows = std::vector<std::vector<Bytes>>;

// How an iterator is asked for.
struct IteratorRequest {
    std::uint32_t number;
    std::uint32_t table;
    std::int32_t kind;
    std::int32_t chunkSize;
    std::vector<WireSelection> selections;
    std::vector<std::int32_t> columns;
    std::vector<WireOrder> orders;
};

// The line while the television is there. All who call it share it.
class Exchange {
  public:
    // The line before ends without the lock: its thread may be waiting for one who holds it.
    void set(std::shared_ptr<Line> line) {
        const std::lock_guard lock(m_mutex);
        m_line.swap(line);
    }

    template <typename... Out, typename... In>
    std::optional<std::tuple<Out...>> call(const char* method, const In&... arguments) {
        const std::shared_ptr<Line> line = get();
        return line ? line->call<Out...>(method, arguments...) : std::nullopt;
    }

    // An operation whose only answer is its status.
    template <typename... In>
    int status(const char* method, const In&... arguments) {
        const auto answer = call<std::int32_t>(method, arguments...);
        return answer ? std::get<0>(*answer) : STATUS_UNAVAILABLE;
    }

    std::shared_ptr<Line> get() {
        const std::lock_guard lock(m_mutex);
        return m_line;
    }

  private:
    std::mutex m_mutex;
    std::shared_ptr<Line> m_line;
};

class Model final : public RootInterface {
  public:
    explicit Model(Exchange& exchange) : m_exchange(exchange) {}

    int connectValue(const std::string& name, Observer* observer, BizValue*& value) override {
        const std::shared_ptr<Line> line = m_exchange.get();
        Object& object = objectFor(name, observer);
        auto answer =
            line ? line->call<std::int32_t, bool>("Connect", name, object.number.load()) : std::nullopt;
        const std::lock_guard lock(m_mutex);
        // A television that is gone meanwhile took the subscription with it.
        if (m_exchange.get() != line) answer.reset();
        const auto [status, yields] = answer.value_or(std::tuple(STATUS_UNAVAILABLE, false));
        --object.connecting;
        if (yields && observer != nullptr) object.subscribed = true;
        if (!yields && !object.subscribed && object.connecting == 0) object.name.clear();
        if (status == 0) value = yields ? &object : nullptr;
        return status;
    }

    int disconnectValue(const std::string& name, Observer* observer, BizValue* value) override {
        Object* ended = nullptr;
        std::vector<const Iterator*> iterators;
        {
            const std::lock_guard lock(m_mutex);
            for (Object& object : m_objects)
                if (object.name == name && object.observer == observer && object.subscribed &&
                    &object == value)
                    ended = &object;
            if (ended == nullptr || observer == nullptr) return STATUS_UNAVAILABLE;
            ended->subscribed = false;
            ended->observer = nullptr;  // from here on, news find nobody
            for (Iterator& iterator : m_iterators) {
                if (iterator.access != ended || iterator.observer == nullptr) continue;
                iterator.observer = nullptr;
                iterators.push_back(&iterator);
            }
        }
        m_exchange.call<std::int32_t>("Disconnect", ended->number.load());
        for (const Iterator* const iterator : iterators) m_thread.forget(iterator);
        m_thread.forget(ended);
        const std::lock_guard lock(m_mutex);
        ended->name.clear();
        return 0;
    }

    // For the keeper of the line.

    void lost() {
        const std::lock_guard lock(m_mutex);
        for (Object& object : m_objects) {
            if (!object.subscribed) continue;
            Observer* const observer = object.observer;
            for (const unsigned id : object.pending)
                m_thread.post(&object, [observer, id] {
                    simulated::notify(observer, id, simulated::Answer{STATUS_UNAVAILABLE, {}});
                });
            object.pending.clear();
            object.answered.clear();  // the next one counts its invocations anew
            m_thread.post(&object, [observer] { observer->notifyAvailability(false); });
        }
    }

    // What is restored on a line, by its numbers.
    struct Restored {
        std::vector<std::uint32_t> subscriptions;
        std::vector<std::uint32_t> iterators;
    };

    Restored restore(Line& line) {
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
            line.call<std::int32_t, bool>("Connect", name, number);
            restored.subscriptions.push_back(number);
        }
        for (const IteratorRequest& request : iterators) {
            create(line, request);
            restored.iterators.push_back(request.number);
        }
        return restored;
    }

    // Once the line is everybody's: gives back what its owner gave up while it was being restored, and tells
    // the others.
    void confirm(Line& line, Restored restored) {
        {
            const std::lock_guard lock(m_mutex);
            for (Object& object : m_objects) {
                if (!object.subscribed) continue;
                std::erase(restored.subscriptions, object.number);
                m_thread.post(&object, [observer = object.observer] { observer->notifyAvailability(true); });
            }
            for (const Iterator& iterator : m_iterators)
                if (iterator.observer != nullptr) std::erase(restored.iterators, iterator.request.number);
        }
        for (const std::uint32_t number : restored.iterators)
            line.call<std::int32_t>("ReleaseIterator", number);
        for (const std::uint32_t number : restored.subscriptions)
            line.call<std::int32_t>("Disconnect", number);
    }

    // News from the television, on the line's thread.
    void handle(sdbus::Message& message) {
        const std::string member = message.getMemberName();
        std::uint32_t number = 0;
        message >> number;
        if (member == "IteratorNews") {
            handleIterator(number, message);
            return;
        }
        if (member == "Integer") {
            tellValue<std::int32_t>(number, message, [](std::int32_t v) { return simulated::Value(v); });
        } else if (member == "Int64") {
            tellValue<std::int64_t>(
                number, message, [](std::int64_t v) { return simulated::Value(static_cast<long long>(v)); });
        } else if (member == "String") {
            tellValue<Bytes>(number, message, [](const Bytes& v) { return simulated::Value(fromWire(v)); });
        } else if (member == "Integers") {
            tellValue<std::vector<std::int32_t>>(number, message,
                                                 [](const auto& v) { return simulated::Value(v); });
        } else if (member == "Strings") {
            tellValue<std::vector<Bytes>>(number, message,
                                          [](const auto& v) { return simulated::Value(fromWire(v)); });
        } else if (member == "Available") {
            bool available = false;
            message >> available;
            tell(number, [available](Observer* observer) { observer->notifyAvailability(available); });
        } else if (member == "Updated") {
            std::int32_t kind = 0;
            message >> kind;
            tell(number, [kind](Observer* observer) { simulated::notifyTableUpdate(observer, kind); });
        } else if (member == "Failed" || member == "Result") {
            handleAnswer(number, member == "Failed", message);
        }
    }

  private:
    struct Iterator;

    // What a client gets for a key. It is never freed, only used again, so that one who keeps it too long
    // meets a refusal rather than freed memory.
    struct Object final : public BizValue {
        explicit Object(Model& owner) : model(owner) {}

        ObjectTypeSpec getType() override {
            const auto answer = model.m_exchange.call<std::int32_t>("Type", number.load());
            return answer ? static_cast<ObjectTypeSpec>(std::get<0>(*answer)) : OBJECT_TYPE_NONE;
        }
        int getInteger() override {
            const auto answer = model.m_exchange.call<std::int32_t>("GetInteger", number.load());
            return answer ? std::get<0>(*answer) : 0;
        }
        long long getInt64() override {
            const auto answer = model.m_exchange.call<std::int64_t>("GetInt64", number.load());
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
            return model.m_exchange.status("SetInteger", number.load(), std::int32_t{value});
        }
        int setInt64(long long value) override {
            return model.m_exchange.status("SetInt64", number.load(), static_cast<std::int64_t>(value));
        }
        int setString(const std::string& value) override {
            return model.m_exchange.status("SetString", number.load(), toWire(value));
        }
        int setIntegerVector(const std::map<int, int>& value) override {
            return model.m_exchange.status("SetIntegers", number.load(), value);
        }
        int setStringVector(const std::map<int, std::string>& value) override {
            std::map<std::int32_t, Bytes> wire;
            for (const auto& [position, text] : value) wire[position] = toWire(text);
            return model.m_exchange.status("SetStrings", number.load(), wire);
        }

        int invoke(unsigned int& actionId, const std::vector<Argument>& arguments) override {
            const std::shared_ptr<Line> line = model.m_exchange.get();
            if (!line) return STATUS_UNAVAILABLE;
            const auto answer =
                line->call<std::int32_t, std::uint32_t>("Invoke", number.load(), toWire(arguments));
            if (!answer) return STATUS_UNAVAILABLE;
            const auto [status, id] = *answer;
            if (status != 0) return status;
            // The television may have answered already, or be gone with the answer.
            const std::lock_guard lock(model.m_mutex);
            if (model.m_exchange.get() != line) return STATUS_UNAVAILABLE;
            if (answered.erase(id) == 0) pending.insert(id);
            actionId = id;
            return 0;
        }

        TableIterator* createIterator(const IteratorType& type, ObserverTableIterator* receiver,
                                      const std::vector<TableSelection>& selections,
                                      const std::vector<int>& columns,
                                      const std::vector<TableOrder>& orders) override {
            const std::shared_ptr<Line> line = model.m_exchange.get();
            if (!line || receiver == nullptr) return nullptr;
            IteratorRequest request{0, number, type.kind, type.chunkSize, {}, columns, {}};
            for (const TableSelection& selection : selections)
                request.selections.emplace_back(selection.column, toWire(selection.value));
            for (const TableOrder& order : orders) request.orders.emplace_back(order.column, order.ascending);
            Iterator& iterator = model.open(*this, receiver, request);
            if (create(*line, request)) return &iterator;
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
            model.m_exchange.call<std::int32_t>("ReleaseIterator", iteratorNumber);
            model.m_thread.forget(released);
            return 0;
        }

        template <typename Wire, typename Take>
        int read(const char* method, Take take) {
            const auto answer = model.m_exchange.call<std::int32_t, Wire>(method, number.load());
            if (!answer) return STATUS_UNAVAILABLE;
            if (std::get<0>(*answer) == 0) take(std::get<1>(*answer));
            return std::get<0>(*answer);
        }

        Model& model;
        std::atomic<std::uint32_t> number{0};
        // The model's mutex guards these.
        std::string name;  // empty if it is free for another client
        Observer* observer = nullptr;
        int connecting = 0;  // attempts under way
        bool subscribed = false;
        std::set<unsigned> pending;   // invocations that are not answered
        std::set<unsigned> answered;  // before invoke() learnt of them
    };

    struct Iterator final : public TableIterator {
        explicit Iterator(Model& owner) : model(owner) {}

        int ask(const char* operation, int argument = 0, const std::string& text = std::string()) {
            return model.m_exchange.status("Iterate", number.load(), std::string(operation),
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

        Model& model;
        std::atomic<std::uint32_t> number{0};
        // The model's mutex guards these.
        ObserverTableIterator* observer = nullptr;  // null when it is closed
        Object* access = nullptr;
        IteratorRequest request{};
    };

    static bool create(Line& line, const IteratorRequest& request) {
        const auto answer =
            line.call<bool>("CreateIterator", request.table, request.number, request.kind, request.chunkSize,
                            request.selections, request.columns, request.orders);
        return answer && std::get<0>(*answer);
    }

    Object& objectFor(const std::string& name, Observer* observer) {
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
        // A number is never used again, so that late news of an earlier client find nobody.
        object.number = ++m_lastNumber;
        return object;
    }

    // Gives the request its number.
    Iterator& open(Object& access, ObserverTableIterator* observer, IteratorRequest& request) {
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

    Object* find(std::uint32_t number) {
        for (Object& object : m_objects)
            if (object.number == number && !object.name.empty() && object.observer != nullptr) return &object;
        return nullptr;
    }

    template <typename News>
    void tell(std::uint32_t number, News news) {
        const std::lock_guard lock(m_mutex);
        if (Object* const object = find(number))
            m_thread.post(object, [observer = object->observer, news] { news(observer); });
    }

    template <typename Wire, typename Convert>
    void tellValue(std::uint32_t number, sdbus::Message& message, Convert convert) {
        Wire wire{};
        message >> wire;
        tell(number, [value = convert(wire)](Observer* observer) { simulated::notify(observer, value); });
    }

    void handleAnswer(std::uint32_t number, bool failed, sdbus::Message& message) {
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
        tell(number, [id, answer](Observer* observer) { simulated::notify(observer, id, answer); });
    }

    void handleIterator(std::uint32_t number, sdbus::Message& message) {
        std::string operation;
        std::int32_t argument = 0;
        Rows wireRows;
        message >> operation >> argument >> wireRows;
        std::vector<std::vector<std::string>> rows;
        for (const auto& row : wireRows) rows.push_back(fromWire(row));

        const std::lock_guard lock(m_mutex);
        const auto found =
            std::find_if(m_iterators.begin(), m_iterators.end(), [&](const Iterator& iterator) {
                return iterator.number == number && iterator.observer != nullptr;
            });
        if (found == m_iterators.end()) return;
        m_thread.post(&*found, [observer = found->observer, operation, argument, rows] {
            tellIterator(*observer, operation, argument, rows);
        });
    }

    static void tellIterator(ObserverTableIterator& observer, const std::string& operation, int argument,
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

    Exchange& m_exchange;
    std::mutex m_mutex;
    std::list<Object> m_objects;
    std::list<Iterator> m_iterators;
    std::uint32_t m_lastNumber = 0;
    NotificationThread m_thread;  // the model thread
};

class Applications final : public zt::apmclient::AppManagerClient {
  public:
    explicit Applications(Exchange& exchange) : m_exchange(exchange) {}

    int registerApp(const std::string& name,
                    const boost::shared_ptr<zt::appmanager::AppInterface>& app) override {
        // First here, so that the first news find it.
        const boost::shared_ptr<zt::appmanager::AppInterface> before = exchangeApp(name, app);
        const int status = m_exchange.status("RegisterApplication", name);
        if (status != 0) exchangeApp(name, before);
        return status;
    }

    int unregisterApp(const std::string& name) override {
        const boost::shared_ptr<zt::appmanager::AppInterface> app = exchangeApp(name, nullptr);
        const int status = m_exchange.status("UnregisterApplication", name);
        if (app) m_thread.forget(app.get());
        return status;
    }

    int reportStatus(const std::string& name, int status) override {
        return m_exchange.status("ReportStatus", name, std::int32_t{status});
    }

    // The names of those that are registered again.
    std::vector<std::string> restore(Line& line) {
        std::vector<std::string> names;
        {
            const std::lock_guard lock(m_mutex);
            for (const auto& [name, app] : m_apps) names.push_back(name);
        }
        for (const std::string& name : names) line.call<std::int32_t>("RegisterApplication", name);
        return names;
    }

    // As of the model.
    void confirm(Line& line, std::vector<std::string> restored) {
        {
            const std::lock_guard lock(m_mutex);
            std::erase_if(restored, [this](const std::string& name) { return m_apps.count(name) != 0; });
        }
        for (const std::string& name : restored) line.call<std::int32_t>("UnregisterApplication", name);
    }

    void handle(sdbus::Message& message) {
        std::string name;
        std::uint32_t ticket = 0;
        std::uint32_t news = 0;
        std::string url;
        std::string text;
        std::int32_t number = 0;
        message >> name >> ticket >> news >> url >> text >> number;
        const std::lock_guard lock(m_mutex);
        const auto found = m_apps.find(name);
        if (found == m_apps.end()) return;
        m_thread.post(found->second.get(), [this, app = found->second, ticket, news, url, text, number] {
            const int answer =
                simulated::deliver(*app, static_cast<simulated::Lifecycle>(news), url, text, number);
            if (const std::shared_ptr<Line> line = m_exchange.get())
                line->post("Answer", ticket, std::int32_t{answer});
        });
    }

  private:
    boost::shared_ptr<zt::appmanager::AppInterface> exchangeApp(
        const std::string& name, boost::shared_ptr<zt::appmanager::AppInterface> app) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_apps.find(name);
        if (found == m_apps.end()) {
            if (app) m_apps.emplace(name, app);
            return nullptr;
        }
        found->second.swap(app);
        if (!found->second) m_apps.erase(found);
        return app;
    }

    Exchange& m_exchange;
    std::mutex m_mutex;
    std::map<std::string, boost::shared_ptr<zt::appmanager::AppInterface>> m_apps;
    NotificationThread m_thread;  // the application manager's client thread
};

// The unique name of who has this name on the bus; empty if nobody has.
std::string ownerOf(sdbus::IConnection& connection, const std::string& busName) {
    const auto bus = sdbus::createProxy(connection, BUS, BUS_OBJECT);
    std::string owner;
    try {
        bus->callMethod("GetNameOwner").onInterface(BUS).withArguments(busName).storeResultsTo(owner);
    } catch (const sdbus::Error&) {
        owner.clear();
    }
    return owner;
}

// It keeps the line to the television.
class Client final : public simulated::OtherTelevision {
  public:
    explicit Client(Place place)
        : m_place(std::move(place)), m_model(m_exchange), m_applications(m_exchange) {}

    // Takes up the line if the television is there.
    bool open() {
        try {
            const auto line = std::make_shared<Line>(m_place.address);
            const std::string owner = ownerOf(line->connection(), m_place.busName());
            if (owner.empty()) return false;
            const std::string news =
                "type='signal',interface='" + std::string(PLATFORM_INTERFACE) + "',sender='" + owner + "'";
            line->connection().addMatch(
                news, [this](sdbus::Message& message) { handle(message); }, sdbus::floating_slot);
            const std::string end = "type='signal',sender='" + std::string(BUS) +
                                    "',member='NameOwnerChanged',arg0='" + m_place.busName() + "'";
            line->connection().addMatch(
                end, [this, raw = line.get()](sdbus::Message&) { lost(*raw); }, sdbus::floating_slot);
            line->setPeer(owner);
            {
                const std::lock_guard lock(m_mutex);
                m_lost = false;
            }
            line->start([this, raw = line.get()] { lost(*raw); });
            const auto restored = m_model.restore(*line);
            const auto names = m_applications.restore(*line);
            m_exchange.set(line);
            m_model.confirm(*line, restored);
            m_applications.confirm(*line, names);
            return true;
        } catch (const sdbus::Error&) {
            return false;
        }
    }

    // Keeps the line from now on.
    void keep(bool isOpen) {
        std::thread([this, isOpen] {
            for (bool open = isOpen;; open = this->open()) {
                if (open) {
                    std::unique_lock lock(m_mutex);
                    m_changed.wait(lock, [this] { return m_lost; });
                    lock.unlock();
                    m_exchange.set(nullptr);
                    m_model.lost();
                }
                std::this_thread::sleep_for(RETRY_PERIOD);
            }
        }).detach();
    }

    int lookUp(const std::string& interface) override {
        // While the television is away, the framework is there all the same; the model refuses.
        const auto answer = m_exchange.call<std::int32_t>("LookUp", interface);
        return answer ? std::get<0>(*answer) : 0;
    }
    bool givesRoot() override {
        const auto answer = m_exchange.call<bool>("GivesRoot");
        return !answer || std::get<0>(*answer);
    }
    RootInterface* root() override { return &m_model; }
    zt::apmclient::AppManagerClient* applications() override {
        const auto answer = m_exchange.call<bool>("ApplicationsReachable");
        return answer && std::get<0>(*answer) ? &m_applications : nullptr;
    }

  private:
    void handle(sdbus::Message& message) {
        try {
            if (message.getMemberName() == "Lifecycle") {
                m_applications.handle(message);
            } else {
                m_model.handle(message);
            }
        } catch (const sdbus::Error& error) {
            // A television of another version.
            std::cerr << "simulated television: news that cannot be understood: " << error.getMessage()
                      << '\n';
        }
    }

    // On the line's thread.
    void lost(Line& line) {
        line.giveUp();
        const std::lock_guard lock(m_mutex);
        m_lost = true;
        m_changed.notify_all();
    }

    const Place m_place;
    Exchange m_exchange;
    Model m_model;
    Applications m_applications;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_lost = false;
};

}  // namespace

}  // namespace remote

namespace simulated {

OtherTelevision* otherTelevision() {
    static OtherTelevision* const other = []() -> OtherTelevision* {
        const char* const text = std::getenv("AIPQ_TV");
        const bool named = text != nullptr && *text != '\0';
        if (named && std::strcmp(text, remote::EMBEDDED) == 0) return nullptr;
        try {
            auto client =
                std::make_unique<remote::Client>(remote::placeFrom(named ? text : remote::DEFAULT_NAME));
            const bool isOpen = client->open();
            if (!isOpen && !named) return nullptr;
            client->keep(isOpen);
            return client.release();
        } catch (const std::invalid_argument& error) {
            // There is no caller to report to, and another television is not what was asked for.
            std::cerr << "AIPQ_TV: " << error.what() << '\n';
            std::exit(EXIT_FAILURE);
        }
    }();
    return other;
}

}  // namespace simulated
