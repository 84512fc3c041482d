// The client's model for a television in another process.
#ifndef REMOTE_CLIENT_MODEL_H
#define REMOTE_CLIENT_MODEL_H

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "current_connection.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "notification_thread.h"
#include "simulated/model.h"

namespace remote {

class ClientModel final : public RootInterface {
  public:
    explicit ClientModel(CurrentConnection& connection);
    ~ClientModel();
    ClientModel(const ClientModel&) = delete;
    ClientModel& operator=(const ClientModel&) = delete;

    int connectValue(const std::string& name, lomodelapi::Observer* observer, BizValue*& value) override;

    int disconnectValue(const std::string& name, lomodelapi::Observer* observer, BizValue* value) override;

    // Called by the owner of the connection.

    // Notifies observers that all keys are unavailable, and fails requests that have no answer.
    void lost();

    // The objects that were restored on a connection, by number: the value of each subscription, none if it
    // was refused; and the iterators.
    struct Restored {
        std::map<std::uint32_t, std::optional<simulated::Value>> subscriptions;
        std::vector<std::uint32_t> iterators;
    };

    Restored restore(BusConnection& connection);

    // Called when all threads can use the connection. Ends subscriptions and iterators that their owner
    // released during the restore. Notifies the other observers, with the value if it differs from the value
    // that they know.
    void confirm(BusConnection& connection, Restored restored);

    // Handles a notification from the television, on the connection's thread.
    void handle(sdbus::Message& message);

  private:
    struct Object;
    struct Iterator;
    struct IteratorRequest;

    static bool create(BusConnection& connection, const IteratorRequest& request);
    Object& objectFor(const std::string& name, lomodelapi::Observer* observer);

    // Gives the request the number of the iterator.
    Iterator& open(Object& access, lomodelapi::ObserverTableIterator* observer, IteratorRequest& request);

    Object* find(std::uint32_t number);

    void confirm(Object& object, const simulated::Value& value);
    void notify(std::uint32_t number, std::function<void(lomodelapi::Observer*)> notification);
    void tellValue(std::uint32_t number, const simulated::Value& value);
    void handleAnswer(std::uint32_t number, bool failed, sdbus::Message& message);
    void handleIterator(std::uint32_t number, sdbus::Message& message);

    CurrentConnection& m_connection;
    std::mutex m_mutex;
    std::list<Object> m_objects;
    std::list<Iterator> m_iterators;
    std::uint32_t m_lastNumber = 0;
    NotificationThread m_thread;  // the model thread
};

}  // namespace remote

#endif
