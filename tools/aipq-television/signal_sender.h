#ifndef AIPQ_TELEVISION_SIGNAL_SENDER_H
#define AIPQ_TELEVISION_SIGNAL_SENDER_H

#include <sdbus-c++/sdbus-c++.h>

#include <string>
#include <utility>

#include "bus_connection.h"
#include "protocol.h"

namespace television {

// Sends signals of the platform object to one client.
class SignalSender {
  public:
    SignalSender(remote::BusConnection& connection, sdbus::IObject& object, std::string client)
        : m_connection(connection), m_object(object), m_client(std::move(client)) {}

    template <typename... T>
    void send(const char* name, const T&... arguments) {
        try {
            sdbus::Signal signal = m_object.createSignal(remote::PLATFORM_INTERFACE, name);
            signal.setDestination(m_client);
            ((signal << arguments), ...);
            signal.send();
        } catch (const sdbus::Error&) {
            return;  // the bus is gone; the connection detects that itself
        }
        m_connection.wake();
    }

  private:
    remote::BusConnection& m_connection;
    sdbus::IObject& m_object;
    const std::string m_client;
};

}  // namespace television

#endif
