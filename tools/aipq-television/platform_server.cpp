#include "platform_server.h"

#include <algorithm>
#include <atomic>
#include <boost/make_shared.hpp>
#include <chrono>
#include <condition_variable>
#include <iostream>
#include <utility>

#include "bus_method.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "protocol.h"
#include "wire_value.h"
#include "zt/apmclient/app_manager_client.h"
#include "zt/appmanager/app_interface.h"

using namespace lomodelapi;
using namespace remote;
using simulated::STATUS_UNAVAILABLE;

namespace {

// How long the application manager waits for an application of another process before it goes on to the next.
constexpr auto ANSWER_LIMIT = std::chrono::seconds(5);

using WireSelection = sdbus::Struct<std::int32_t, Bytes>;
using WireOrder = sdbus::Struct<std::int32_t, bool>;
using WireRows = std::vector<std::vector<Bytes>>;

// The way to one client.
class Post {
  public:
    Post(Line& line, sdbus::IObject& object, std::string client)
        : m_line(line), m_object(object), m_client(std::move(client)) {}

    template <typename... T>
    void send(const char* news, const T&... arguments) {
        try {
            sdbus::Signal signal = m_object.createSignal(PLATFORM_INTERFACE, news);
            signal.setDestination(m_client);
            ((signal << arguments), ...);
            signal.send();
        } catch (const sdbus::Error&) {
            return;  // the bus is gone, which its line tells whom it concerns
        }
        m_line.wake();
    }

  private:
    Line& m_line;
    sdbus::IObject& m_object;
    const std::string m_client;
};

// Passes on what a subscription hears: of every kind, since the client decides what it understands.
class Subscriber final : public ObserverNumericInteger,
                         public ObserverNumericInt64,
                         public ObserverString,
                         public ObserverVectorNumericInteger,
                         public ObserverVectorString,
                         public ObserverAction,
                         public ObserverTable {
  public:
    Subscriber(Post& post, std::uint32_t number) : m_post(post), m_number(number) {}

    Observer* asObserver() { return static_cast<ObserverNumericInteger*>(this); }

    void notifyAvailability(bool available) override { m_post.send("Available", m_number, available); }
    void notifyNewValue(int value) override { sendValue(value); }
    void notifyNewValue(long long value) override { sendValue(value); }
    void notifyNewValue(const std::string& value) override { sendValue(value); }
    void notifyIntegerVector(const std::vector<int>& value) override { sendValue(value); }
    void notifyStringVector(const std::vector<std::string>& value) override { sendValue(value); }
    void notifyExecutionError(unsigned id, int error) override {
        m_post.send("Failed", m_number, std::uint32_t{id}, std::int32_t{error});
    }
    void notifyResult(unsigned id, const std::vector<Argument>& result) override {
        m_post.send("Result", m_number, std::uint32_t{id}, toWire(result));
    }
    void notifyUpdate(int kind) override { m_post.send("Updated", m_number, std::int32_t{kind}); }

  private:
    void sendValue(const simulated::Value& value) { m_post.send("Value", m_number, toVariant(value)); }

    Post& m_post;
    const std::uint32_t m_number;
};

class IteratorSubscriber final : public ObserverTableIterator {
  public:
    IteratorSubscriber(Post& post, std::uint32_t number) : m_post(post), m_number(number) {}

    void notifyCommit(int status) override { send(iteration::COMMIT, status); }
    void notifyTotalCount(int count) override { send(iteration::TOTAL_COUNT, count); }
    void notifySeekToRow(int row) override { send(iteration::SEEK_TO_ROW, row); }
    void notifySeekToContent(int row) override { send(iteration::SEEK_TO_CONTENT, row); }
    void notifyCursorPosition(int row) override { send(iteration::CURSOR_POSITION, row); }
    void notifyIteratorReady(int count) override { send(iteration::READY, count); }
    void notifyUpdate(int kind) override { send(iteration::UPDATE, kind); }
    void notifyReadRow(const std::vector<std::string>& row) override {
        send(iteration::READ_ROW, 0, {toWire(row)});
    }
    void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        WireRows wire;
        for (const auto* const row : rows) wire.push_back(toWire(*row));
        send(iteration::READ_ROW_CHUNK, 0, wire);
    }

  private:
    void send(const char* operation, int number, const WireRows& rows = {}) {
        m_post.send("IteratorNews", m_number, std::string(operation), std::int32_t{number}, rows);
    }

    Post& m_post;
    const std::uint32_t m_number;
};

struct Subscription {
    Subscription(Post& post, std::uint32_t number, std::string subscribedKey)
        : key(std::move(subscribedKey)), subscriber(post, number) {}

    const std::string key;
    Subscriber subscriber;
    BizValue* value = nullptr;
};

struct OpenIterator {
    OpenIterator(Post& post, std::uint32_t number) : subscriber(post, number) {}

    IteratorSubscriber subscriber;
    BizValue* table = nullptr;
    std::uint32_t subscription = 0;
    TableIterator* iterator = nullptr;
};

int iterate(TableIterator& iterator, const std::string& operation, int number, const std::string& text) {
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

// An application of another process.
class PlatformServer::Application final : public zt::appmanager::AppInterface {
  public:
    Application(std::shared_ptr<Post> post, std::string name)
        : m_post(std::move(post)), m_name(std::move(name)) {}

    // It is not waited for any more.
    void leave() {
        const std::lock_guard lock(m_mutex);
        m_left = true;
        m_changed.notify_all();
    }

    void answer(std::uint32_t ticket, int answer) {
        const std::lock_guard lock(m_mutex);
        if (ticket != m_ticket) return;
        m_answer = answer;
        m_changed.notify_all();
    }

    using News = simulated::Lifecycle;
    int onRunning(const std::string& url, const std::string& param) override {
        return tell(News::RUNNING, url, param);
    }
    int onDestroy(const std::string& url) override { return tell(News::DESTROY, url); }
    int onSuspend(const std::string& url, const std::string& param) override {
        return tell(News::SUSPEND, url, param);
    }
    int onSuspendEx(const std::string& url, const std::string& param) override {
        return tell(News::SUSPEND_EX, url, param);
    }
    int onResume(const std::string& url, const std::string& param) override {
        return tell(News::RESUME, url, param);
    }
    int onResumeEx(const std::string& url, const std::string& param) override {
        return tell(News::RESUME_EX, url, param);
    }
    int onSTRSuspending(const std::string& url, int reason) override {
        return tell(News::STR_SUSPENDING, url, "", reason);
    }
    int onSTRSuspend(const std::string& url, int reason) override {
        return tell(News::STR_SUSPEND, url, "", reason);
    }
    int onSTRResume(const std::string& url, int reason) override {
        return tell(News::STR_RESUME, url, "", reason);
    }
    int onSTRResuming(const std::string& url, int reason) override {
        return tell(News::STR_RESUMING, url, "", reason);
    }
    int onGetFocus(const std::string& url) override { return tell(News::GET_FOCUS, url); }
    int onLostFocus(const std::string& url) override { return tell(News::LOST_FOCUS, url); }
    int onResourceReady(const std::string& url, int resource) override {
        return tell(News::RESOURCE_READY, url, "", resource);
    }
    int onReleaseResource(const std::string& url, int resource) override {
        return tell(News::RELEASE_RESOURCE, url, "", resource);
    }
    int onUIAppStatusNotify(const std::string& url, int status) override {
        return tell(News::UI_STATUS, url, "", status);
    }
    int notifyAppEventMessage(const std::string& message) override {
        return tell(News::EVENT_MESSAGE, "", message);
    }
    int onKeyEvent(int key, int) override { return tell(News::KEY_EVENT, "", "", key); }
    std::string getName() override { return m_name; }

  private:
    int tell(News news, const std::string& url, const std::string& text = std::string(), int number = 0) {
        std::unique_lock lock(m_mutex);
        m_answer.reset();
        static std::atomic<std::uint32_t> lastTicket{0};
        const std::uint32_t ticket = m_ticket = ++lastTicket;
        m_post->send("Lifecycle", m_name, ticket, static_cast<std::uint32_t>(news), url, text,
                     std::int32_t{number});
        m_changed.wait_for(lock, ANSWER_LIMIT, [this] { return m_left || m_answer; });
        return m_answer.value_or(-1);
    }

    const std::shared_ptr<Post> m_post;  // it may outlive its session by the news that it is being told
    const std::string m_name;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::uint32_t m_ticket = 0;
    std::optional<int> m_answer;
    bool m_left = false;
};

// What one client has: its subscriptions, iterators and applications.
class PlatformServer::Session {
  public:
    Session(simulated::Television& television, Line& line, sdbus::IObject& object, const std::string& client)
        : m_television(television), m_post(std::make_shared<Post>(line, object, client)) {}

    std::tuple<std::int32_t, bool, sdbus::Variant> connect(const std::string& key, std::uint32_t number) {
        const sdbus::Variant nothing = toVariant({});
        std::shared_ptr<Subscription> subscription = this->subscription(number);
        if (!subscription) subscription = std::make_shared<Subscription>(*m_post, number, key);
        BizValue* value = nullptr;
        const int status =
            m_television.model().root()->connectValue(key, subscription->subscriber.asObserver(), value);
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

    std::tuple<std::int32_t> disconnect(std::uint32_t number) {
        std::shared_ptr<Subscription> ended;
        std::vector<std::shared_ptr<OpenIterator>> iterators;
        {
            const std::lock_guard lock(m_mutex);
            const auto found = m_subscriptions.find(number);
            if (found == m_subscriptions.end()) return {STATUS_UNAVAILABLE};
            ended = found->second;
            m_subscriptions.erase(found);
            // The model ends them with the subscription; they must live until then.
            std::erase_if(m_iterators, [&](const auto& entry) {
                if (entry.second->subscription != number) return false;
                iterators.push_back(entry.second);
                return true;
            });
        }
        return {disconnect(*ended)};
    }

    // The object of a subscription; a client's mistake is an error, not a crash.
    BizValue& value(std::uint32_t number) {
        const std::shared_ptr<Subscription> found = subscription(number);
        if (!found) bus::refuse(bus::REFUSED, "there is no such subscription");
        return *found->value;
    }

    std::tuple<bool> createIterator(std::uint32_t subscriptionNumber, std::uint32_t number,
                                    const IteratorType& type, const std::vector<TableSelection>& selections,
                                    const std::vector<int>& columns, const std::vector<TableOrder>& orders) {
        const auto iterator = std::make_shared<OpenIterator>(*m_post, number);
        iterator->table = &value(subscriptionNumber);
        iterator->subscription = subscriptionNumber;
        iterator->iterator =
            iterator->table->createIterator(type, &iterator->subscriber, selections, columns, orders);
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

    std::tuple<std::int32_t> releaseIterator(std::uint32_t number) {
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

    std::tuple<std::int32_t> iterate(std::uint32_t number, const std::string& operation, int argument,
                                     const std::string& text) {
        std::shared_ptr<OpenIterator> open;
        {
            const std::lock_guard lock(m_mutex);
            const auto found = m_iterators.find(number);
            if (found == m_iterators.end()) return {STATUS_UNAVAILABLE};
            open = found->second;
        }
        return {::iterate(*open->iterator, operation, argument, text)};
    }

    // Null if the client is gone.
    boost::shared_ptr<Application> addApplication(const std::string& name) {
        const std::lock_guard lock(m_mutex);
        if (m_ended) return nullptr;
        boost::shared_ptr<Application>& application = m_applications[name];
        if (application) application->leave();
        application = boost::make_shared<Application>(m_post, name);
        return application;
    }

    void removeApplication(const std::string& name) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_applications.find(name);
        if (found == m_applications.end()) return;
        found->second->leave();
        m_applications.erase(found);
    }

    void answer(std::uint32_t ticket, int answer) {
        const std::lock_guard lock(m_mutex);
        for (const auto& [name, application] : m_applications) application->answer(ticket, answer);
    }

    // The client is gone: nothing of it stays. The names of its applications.
    std::vector<std::string> end() {
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

  private:
    std::shared_ptr<Subscription> subscription(std::uint32_t number) {
        const std::lock_guard lock(m_mutex);
        const auto found = m_subscriptions.find(number);
        return found != m_subscriptions.end() ? found->second : nullptr;
    }

    int disconnect(Subscription& subscription) {
        return m_television.model().root()->disconnectValue(
            subscription.key, subscription.subscriber.asObserver(), subscription.value);
    }

    simulated::Television& m_television;
    const std::shared_ptr<Post> m_post;
    std::mutex m_mutex;
    bool m_ended = false;
    std::map<std::uint32_t, std::shared_ptr<Subscription>> m_subscriptions;
    std::map<std::uint32_t, std::shared_ptr<OpenIterator>> m_iterators;
    std::map<std::string, boost::shared_ptr<Application>> m_applications;
};

PlatformServer::PlatformServer(simulated::Television& television, Line& line, WorkerPool& workers)
    : m_television(television),
      m_line(line),
      m_workers(workers),
      m_object(sdbus::createObject(line.connection(), PLATFORM_OBJECT)) {
    serveModel();
    serveValues();
    serveTables();
    serveApplications();
    m_object->finishRegistration();
    line.connection().addMatch(
        "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged'",
        [this](sdbus::Message& message) {
            std::string name;
            std::string before;
            std::string now;
            message >> name >> before >> now;
            if (now.empty() && name == before) m_workers.run([this, name] { clientLeft(name); });
        },
        sdbus::floating_slot);
}

// The television lives on, and must not tell the sessions anything any more.
PlatformServer::~PlatformServer() {
    while (!m_sessions.empty()) clientLeft(std::string(m_sessions.begin()->first));
}

template <typename... In, typename Handler>
void PlatformServer::serve(const char* name, Handler handler) {
    bus::MethodAdder(*m_object, PLATFORM_INTERFACE, m_line, m_workers)
        .addFor<In...>(name, {}, [this, handler](const std::string& client) {
            return
                [session = sessionOf(client), handler](const In&... in) { return handler(*session, in...); };
        });
}

void PlatformServer::serveModel() {
    using Status = std::tuple<std::int32_t>;
    using Wire = std::vector<WireArgument>;
    serve<std::string>("LookUp", [this](Session&, const std::string& interface) {
        return Status(m_television.framework().lookUp(interface));
    });
    serve<>("GivesRoot", [this](Session&) { return std::tuple<bool>(m_television.framework().givesRoot()); });
    serve<std::string, std::uint32_t>("Connect",
                                      [](Session& session, const std::string& key, std::uint32_t number) {
                                          return session.connect(key, number);
                                      });
    serve<std::uint32_t>("Disconnect",
                         [](Session& session, std::uint32_t number) { return session.disconnect(number); });
    serve<std::uint32_t>("Type", [](Session& session, std::uint32_t number) {
        return Status(session.value(number).getType());
    });
    serve<std::uint32_t, Wire>("Invoke", [](Session& session, std::uint32_t number, const Wire& arguments) {
        unsigned id = 0;
        const int status = session.value(number).invoke(id, fromWire(arguments));
        return std::tuple<std::int32_t, std::uint32_t>(status, id);
    });
}

void PlatformServer::serveValues() {
    using Number = std::uint32_t;
    using Status = std::tuple<std::int32_t>;
    serve<Number>("GetInteger", [](Session& session, Number number) {
        return std::tuple<std::int32_t>(session.value(number).getInteger());
    });
    serve<Number>("GetInt64", [](Session& session, Number number) {
        return std::tuple<std::int64_t>(session.value(number).getInt64());
    });
    serve<Number>("GetString", [](Session& session, Number number) {
        std::string value;
        const int status = session.value(number).getString(value);
        return std::tuple<std::int32_t, Bytes>(status, toWire(value));
    });
    serve<Number>("GetIntegers", [](Session& session, Number number) {
        std::vector<int> value;
        const int status = session.value(number).getIntegerVector(value);
        return std::tuple<std::int32_t, std::vector<std::int32_t>>(status, value);
    });
    serve<Number>("GetStrings", [](Session& session, Number number) {
        std::vector<std::string> value;
        const int status = session.value(number).getStringVector(value);
        return std::tuple<std::int32_t, std::vector<Bytes>>(status, toWire(value));
    });

    serve<Number, std::int32_t>("SetInteger", [](Session& session, Number number, std::int32_t value) {
        return Status(session.value(number).setInteger(value));
    });
    serve<Number, std::int64_t>("SetInt64", [](Session& session, Number number, std::int64_t value) {
        return Status(session.value(number).setInt64(value));
    });
    serve<Number, Bytes>("SetString", [](Session& session, Number number, const Bytes& value) {
        return Status(session.value(number).setString(fromWire(value)));
    });
    using Integers = std::map<std::int32_t, std::int32_t>;
    serve<Number, Integers>("SetIntegers", [](Session& session, Number number, const Integers& value) {
        return Status(session.value(number).setIntegerVector(value));
    });
    using Strings = std::map<std::int32_t, Bytes>;
    serve<Number, Strings>("SetStrings", [](Session& session, Number number, const Strings& value) {
        std::map<int, std::string> texts;
        for (const auto& [position, text] : value) texts[position] = fromWire(text);
        return Status(session.value(number).setStringVector(texts));
    });
}

void PlatformServer::serveTables() {
    using Number = std::uint32_t;
    using Integers = std::vector<std::int32_t>;
    using Selections = std::vector<WireSelection>;
    using Orders = std::vector<WireOrder>;
    serve<Number, Number, std::int32_t, std::int32_t, Selections, Integers,
          Orders>("CreateIterator", [](Session& session, Number subscription, Number number,
                                       std::int32_t kind, std::int32_t chunkSize,
                                       const Selections& wireSelections, const Integers& columns,
                                       const Orders& wireOrders) {
        std::vector<TableSelection> selections;
        for (const auto& selection : wireSelections)
            selections.push_back({selection.get<0>(), fromWire(selection.get<1>())});
        std::vector<TableOrder> orders;
        for (const auto& order : wireOrders) orders.push_back({order.get<0>(), order.get<1>()});
        return session.createIterator(subscription, number, {kind, chunkSize}, selections, columns, orders);
    });
    serve<Number>("ReleaseIterator",
                  [](Session& session, Number number) { return session.releaseIterator(number); });
    serve<Number, std::string, std::int32_t, Bytes>(
        "Iterate",
        [](Session& session, Number number, const std::string& operation, std::int32_t argument,
           const Bytes& text) { return session.iterate(number, operation, argument, fromWire(text)); });
}

void PlatformServer::serveApplications() {
    using Status = std::tuple<std::int32_t>;
    serve<>("ApplicationsReachable",
            [this](Session&) { return std::tuple<bool>(m_television.applications().client() != nullptr); });
    serve<std::string>("RegisterApplication", [this](Session& session, const std::string& name) {
        auto* const manager = m_television.applications().client();
        if (manager == nullptr) return Status(STATUS_UNAVAILABLE);
        const std::lock_guard lock(m_registrationMutex);
        const boost::shared_ptr<Application> application = session.addApplication(name);
        if (!application) return Status(STATUS_UNAVAILABLE);
        const int status = manager->registerApp(name, application);
        if (status == 0) m_registrations[name] = &session;
        return Status(status);
    });
    serve<std::string>("UnregisterApplication", [this](Session& session, const std::string& name) {
        auto* const manager = m_television.applications().client();
        if (manager == nullptr) return Status(STATUS_UNAVAILABLE);
        session.removeApplication(name);
        const std::lock_guard lock(m_registrationMutex);
        const auto found = m_registrations.find(name);
        if (found == m_registrations.end() || found->second != &session) return Status(STATUS_UNAVAILABLE);
        m_registrations.erase(found);
        return Status(manager->unregisterApp(name));
    });
    serve<std::string, std::int32_t>(
        "ReportStatus", [this](Session&, const std::string& name, std::int32_t status) {
            auto* const manager = m_television.applications().client();
            return Status(manager != nullptr ? manager->reportStatus(name, status) : STATUS_UNAVAILABLE);
        });
    serve<std::uint32_t, std::int32_t>("Answer", [](Session& session, std::uint32_t ticket, int answer) {
        session.answer(ticket, answer);
        return std::tuple<>();
    });
}

std::shared_ptr<PlatformServer::Session> PlatformServer::sessionOf(const std::string& client) {
    const std::lock_guard lock(m_mutex);
    std::shared_ptr<Session>& session = m_sessions[client];
    if (!session) session = std::make_shared<Session>(m_television, m_line, *m_object, client);
    return session;
}

void PlatformServer::clientLeft(const std::string& client) {
    std::shared_ptr<Session> session;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_sessions.find(client);
        if (found == m_sessions.end()) return;
        session = found->second;
        m_sessions.erase(found);
    }
    const std::vector<std::string> names = session->end();
    auto* const manager = m_television.applications().client();
    const std::lock_guard lock(m_registrationMutex);
    for (const std::string& name : names) {
        const auto found = m_registrations.find(name);
        if (found == m_registrations.end() || found->second != session.get()) continue;
        m_registrations.erase(found);
        if (manager != nullptr) manager->unregisterApp(name);
    }
}
