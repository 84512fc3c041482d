#include "client_applications.h"

#include <cstdint>
#include <memory>

#include "deliver.h"

namespace remote {

int ClientApplications::registerApp(const std::string& name,
                                    const boost::shared_ptr<zt::appmanager::AppInterface>& app) {
    // Stored before the registration: the first notification may arrive at once.
    const boost::shared_ptr<zt::appmanager::AppInterface> before = exchangeApp(name, app);
    const int status = m_connection.status("RegisterApplication", name);
    if (status != 0) exchangeApp(name, before);
    return status;
}

int ClientApplications::unregisterApp(const std::string& name) {
    const boost::shared_ptr<zt::appmanager::AppInterface> app = exchangeApp(name, nullptr);
    const int status = m_connection.status("UnregisterApplication", name);
    if (app) m_thread.forget(app.get());
    return status;
}

int ClientApplications::reportStatus(const std::string& name, int status) {
    return m_connection.status("ReportStatus", name, std::int32_t{status});
}

std::vector<std::string> ClientApplications::restore(BusConnection& connection) {
    std::vector<std::string> names;
    {
        const std::lock_guard lock(m_mutex);
        for (const auto& [name, app] : m_apps) names.push_back(name);
    }
    for (const std::string& name : names) connection.call<std::int32_t>("RegisterApplication", name);
    return names;
}

void ClientApplications::confirm(BusConnection& connection, std::vector<std::string> restored) {
    {
        const std::lock_guard lock(m_mutex);
        std::erase_if(restored, [this](const std::string& name) { return m_apps.count(name) != 0; });
    }
    for (const std::string& name : restored) connection.call<std::int32_t>("UnregisterApplication", name);
}

void ClientApplications::handle(sdbus::Message& message) {
    std::string name;
    std::uint32_t ticket = 0;
    std::uint32_t notification = 0;
    std::string url;
    std::string text;
    std::int32_t number = 0;
    message >> name >> ticket >> notification >> url >> text >> number;
    const std::lock_guard lock(m_mutex);
    const auto found = m_apps.find(name);
    if (found == m_apps.end()) return;
    m_thread.post(found->second.get(), [this, app = found->second, ticket, notification, url, text, number] {
        const int answer =
            simulated::deliver(*app, static_cast<simulated::Lifecycle>(notification), url, text, number);
        if (const std::shared_ptr<BusConnection> connection = m_connection.get())
            connection->post("Answer", ticket, std::int32_t{answer});
    });
}

boost::shared_ptr<zt::appmanager::AppInterface> ClientApplications::exchangeApp(
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

}  // namespace remote
