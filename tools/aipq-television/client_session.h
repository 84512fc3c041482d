#ifndef AIPQ_TELEVISION_CLIENT_SESSION_H
#define AIPQ_TELEVISION_CLIENT_SESSION_H

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "lomodelapi/biz_value.h"
#include "lomodelapi/table.h"
#include "remote_application.h"
#include "signal_sender.h"
#include "simulated/television.h"

namespace television {

// The subscriptions, iterators and applications of one client.
class ClientSession {
  public:
    ClientSession(simulated::Television& television, remote::BusConnection& connection,
                  sdbus::IObject& object, const std::string& client);

    // Returns the status, whether the model provided an object, and the value.
    std::tuple<std::int32_t, bool, sdbus::Variant> connect(const std::string& key, std::uint32_t number);
    std::tuple<std::int32_t> disconnect(std::uint32_t number);

    // The object of a subscription. Throws sdbus::Error if the client has no such subscription.
    BizValue& value(std::uint32_t number);

    std::tuple<bool> createIterator(std::uint32_t subscriptionNumber, std::uint32_t number,
                                    const lomodelapi::IteratorType& type,
                                    const std::vector<lomodelapi::TableSelection>& selections,
                                    const std::vector<int>& columns,
                                    const std::vector<lomodelapi::TableOrder>& orders);
    std::tuple<std::int32_t> releaseIterator(std::uint32_t number);
    std::tuple<std::int32_t> iterate(std::uint32_t number, const std::string& operation, int argument,
                                     const std::string& text);

    // Returns null if the client has left the bus.
    boost::shared_ptr<RemoteApplication> addApplication(const std::string& name);
    void removeApplication(const std::string& name);
    void answer(std::uint32_t ticket, int answer);

    // Disconnects and releases everything after the client has left the bus. Returns the names of its
    // applications.
    std::vector<std::string> end();

  private:
    struct Subscription;
    struct OpenIterator;

    std::shared_ptr<Subscription> subscription(std::uint32_t number);
    int disconnect(Subscription& subscription);

    simulated::Television& m_television;
    const std::shared_ptr<SignalSender> m_sender;
    std::mutex m_mutex;
    bool m_ended = false;
    std::map<std::uint32_t, std::shared_ptr<Subscription>> m_subscriptions;
    std::map<std::uint32_t, std::shared_ptr<OpenIterator>> m_iterators;
    std::map<std::string, boost::shared_ptr<RemoteApplication>> m_applications;
};

}  // namespace television

#endif
