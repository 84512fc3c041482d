#include "platform_server.h"

#include <utility>

#include "bus_method.h"
#include "lomodelapi/biz_value.h"
#include "protocol.h"
#include "remote_application.h"
#include "zt/apmclient/app_manager_client.h"

using namespace lomodelapi;
using namespace remote;
using simulated::STATUS_UNAVAILABLE;

namespace television {

PlatformServer::PlatformServer(simulated::Television& television, BusConnection& connection,
                               WorkerPool& workers)
    : m_television(television),
      m_connection(connection),
      m_workers(workers),
      m_object(sdbus::createObject(connection.bus(), PLATFORM_OBJECT)) {
    serveModel();
    serveValues();
    serveTables();
    serveApplications();
    m_object->finishRegistration();
    connection.bus().addMatch(
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

// The television outlives the sessions; it must stop notifying them here.
PlatformServer::~PlatformServer() {
    while (!m_sessions.empty()) clientLeft(std::string(m_sessions.begin()->first));
}

template <typename... In, typename Handler>
void PlatformServer::serve(const char* name, Handler handler) {
    bus::MethodAdder(*m_object, PLATFORM_INTERFACE, m_connection, m_workers)
        .addFor<In...>(name, {}, [this, handler](const std::string& client) {
            return
                [session = sessionOf(client), handler](const In&... in) { return handler(*session, in...); };
        });
}

void PlatformServer::serveModel() {
    using Status = std::tuple<std::int32_t>;
    using Wire = std::vector<WireArgument>;
    serve<std::string>("LookUp", [this](ClientSession&, const std::string& interface) {
        return Status(m_television.framework().lookUp(interface));
    });
    serve<>("GivesRoot",
            [this](ClientSession&) { return std::tuple<bool>(m_television.framework().givesRoot()); });
    serve<std::string, std::uint32_t>(
        "Connect", [](ClientSession& session, const std::string& key, std::uint32_t number) {
            return session.connect(key, number);
        });
    serve<std::uint32_t>("Disconnect", [](ClientSession& session, std::uint32_t number) {
        return session.disconnect(number);
    });
    serve<std::uint32_t>("Type", [](ClientSession& session, std::uint32_t number) {
        return Status(session.value(number).getType());
    });
    serve<std::uint32_t, Wire>("Invoke",
                               [](ClientSession& session, std::uint32_t number, const Wire& arguments) {
                                   unsigned id = 0;
                                   const int status = session.value(number).invoke(id, fromWire(arguments));
                                   return std::tuple<std::int32_t, std::uint32_t>(status, id);
                               });
}

void PlatformServer::serveValues() {
    using Number = std::uint32_t;
    using Status = std::tuple<std::int32_t>;
    serve<Number>("GetInteger", [](ClientSession& session, Number number) {
        return std::tuple<std::int32_t>(session.value(number).getInteger());
    });
    serve<Number>("GetInt64", [](ClientSession& session, Number number) {
        return std::tuple<std::int64_t>(session.value(number).getInt64());
    });
    serve<Number>("GetString", [](ClientSession& session, Number number) {
        std::string value;
        const int status = session.value(number).getString(value);
        return std::tuple<std::int32_t, Bytes>(status, toWire(value));
    });
    serve<Number>("GetIntegers", [](ClientSession& session, Number number) {
        std::vector<int> value;
        const int status = session.value(number).getIntegerVector(value);
        return std::tuple<std::int32_t, std::vector<std::int32_t>>(status, value);
    });
    serve<Number>("GetStrings", [](ClientSession& session, Number number) {
        std::vector<std::string> value;
        const int status = session.value(number).getStringVector(value);
        return std::tuple<std::int32_t, std::vector<Bytes>>(status, toWire(value));
    });

    serve<Number, std::int32_t>("SetInteger", [](ClientSession& session, Number number, std::int32_t value) {
        return Status(session.value(number).setInteger(value));
    });
    serve<Number, std::int64_t>("SetInt64", [](ClientSession& session, Number number, std::int64_t value) {
        return Status(session.value(number).setInt64(value));
    });
    serve<Number, Bytes>("SetString", [](ClientSession& session, Number number, const Bytes& value) {
        return Status(session.value(number).setString(fromWire(value)));
    });
    using Integers = std::map<std::int32_t, std::int32_t>;
    serve<Number, Integers>("SetIntegers", [](ClientSession& session, Number number, const Integers& value) {
        return Status(session.value(number).setIntegerVector(value));
    });
    using Strings = std::map<std::int32_t, Bytes>;
    serve<Number, Strings>("SetStrings", [](ClientSession& session, Number number, const Strings& value) {
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
          Orders>("CreateIterator", [](ClientSession& session, Number subscription, Number number,
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
                  [](ClientSession& session, Number number) { return session.releaseIterator(number); });
    serve<Number, std::string, std::int32_t, Bytes>(
        "Iterate",
        [](ClientSession& session, Number number, const std::string& operation, std::int32_t argument,
           const Bytes& text) { return session.iterate(number, operation, argument, fromWire(text)); });
}

void PlatformServer::serveApplications() {
    using Status = std::tuple<std::int32_t>;
    serve<>("ApplicationsReachable", [this](ClientSession&) {
        return std::tuple<bool>(m_television.applications().client() != nullptr);
    });
    serve<std::string>("RegisterApplication", [this](ClientSession& session, const std::string& name) {
        auto* const manager = m_television.applications().client();
        if (manager == nullptr) return Status(STATUS_UNAVAILABLE);
        const std::lock_guard lock(m_registrationMutex);
        const boost::shared_ptr<RemoteApplication> application = session.addApplication(name);
        if (!application) return Status(STATUS_UNAVAILABLE);
        const int status = manager->registerApp(name, application);
        if (status == 0) m_registrations[name] = &session;
        return Status(status);
    });
    serve<std::string>("UnregisterApplication", [this](ClientSession& session, const std::string& name) {
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
        "ReportStatus", [this](ClientSession&, const std::string& name, std::int32_t status) {
            auto* const manager = m_television.applications().client();
            return Status(manager != nullptr ? manager->reportStatus(name, status) : STATUS_UNAVAILABLE);
        });
    serve<std::uint32_t, std::int32_t>("Answer",
                                       [](ClientSession& session, std::uint32_t ticket, int answer) {
                                           session.answer(ticket, answer);
                                           return std::tuple<>();
                                       });
}

std::shared_ptr<ClientSession> PlatformServer::sessionOf(const std::string& client) {
    const std::lock_guard lock(m_mutex);
    std::shared_ptr<ClientSession>& session = m_sessions[client];
    if (!session) session = std::make_shared<ClientSession>(m_television, m_connection, *m_object, client);
    return session;
}

void PlatformServer::clientLeft(const std::string& client) {
    std::shared_ptr<ClientSession> session;
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

}  // namespace television
