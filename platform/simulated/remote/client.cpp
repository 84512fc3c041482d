#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "client_applications.h"
#include "client_model.h"
#include "current_connection.h"
#include "other_television.h"
#include "protocol.h"

namespace remote {

namespace {

constexpr auto RETRY_PERIOD = std::chrono::milliseconds(100);

constexpr char BUS[] = "org.freedesktop.DBus";
constexpr char BUS_OBJECT[] = "/org/freedesktop/DBus";

// The unique bus name of the current owner of `busName`; empty if it has no owner.
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

// Keeps the connection to the television open, and opens it again after a loss.
class Client final : public simulated::OtherTelevision {
  public:
    explicit Client(Place place)
        : m_place(std::move(place)), m_model(m_connection), m_applications(m_connection) {}

    // Connects. Returns false if the television is not there.
    bool open() {
        try {
            const auto connection = std::make_shared<BusConnection>(m_place.address);
            const std::string owner = ownerOf(connection->bus(), m_place.busName());
            if (owner.empty()) return false;
            const std::string notification =
                "type='signal',interface='" + std::string(PLATFORM_INTERFACE) + "',sender='" + owner + "'";
            connection->bus().addMatch(
                notification, [this](sdbus::Message& message) { handle(message); }, sdbus::floating_slot);
            const std::string end = "type='signal',sender='" + std::string(BUS) +
                                    "',member='NameOwnerChanged',arg0='" + m_place.busName() + "'";
            connection->bus().addMatch(
                end, [this, raw = connection.get()](sdbus::Message&) { lost(*raw); }, sdbus::floating_slot);
            connection->setPeer(owner);
            {
                const std::lock_guard lock(m_mutex);
                m_lost = false;
            }
            connection->start([this, raw = connection.get()] { lost(*raw); });
            const auto restored = m_model.restore(*connection);
            const auto names = m_applications.restore(*connection);
            m_connection.set(connection);
            m_model.confirm(*connection, restored);
            m_applications.confirm(*connection, names);
            return true;
        } catch (const sdbus::Error&) {
            return false;
        }
    }

    // Starts the thread that keeps the connection open.
    void keep(bool isOpen) {
        std::thread([this, isOpen] {
            for (bool open = isOpen;; open = this->open()) {
                if (open) {
                    std::unique_lock lock(m_mutex);
                    m_changed.wait(lock, [this] { return m_lost; });
                    lock.unlock();
                    m_connection.set(nullptr);
                    m_model.lost();
                }
                std::this_thread::sleep_for(RETRY_PERIOD);
            }
        }).detach();
    }

    int lookUp(const std::string& interface) override {
        // While the television is away, lookups succeed, but the model refuses requests.
        const auto answer = m_connection.call<std::int32_t>("LookUp", interface);
        return answer ? std::get<0>(*answer) : 0;
    }
    bool givesRoot() override {
        const auto answer = m_connection.call<bool>("GivesRoot");
        return !answer || std::get<0>(*answer);
    }
    RootInterface* root() override { return &m_model; }
    zt::apmclient::AppManagerClient* applications() override {
        const auto answer = m_connection.call<bool>("ApplicationsReachable");
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
            // A television of another version may send this.
            std::cerr << "simulated television: cannot understand a notification: " << error.getMessage()
                      << '\n';
        }
    }

    // Called on the connection's thread.
    void lost(BusConnection& connection) {
        connection.giveUp();
        const std::lock_guard lock(m_mutex);
        m_lost = true;
        m_changed.notify_all();
    }

    const Place m_place;
    CurrentConnection m_connection;
    ClientModel m_model;
    ClientApplications m_applications;

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
            // There is no caller to report to, and using another television would be wrong.
            std::cerr << "AIPQ_TV: " << error.what() << '\n';
            std::exit(EXIT_FAILURE);
        }
    }();
    return other;
}

}  // namespace simulated
