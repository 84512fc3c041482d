// The television on the bus, for people and scripts. Each key has an object whose property holds the value
// and announces its changes. One more object has the remote control, power, video and faults.
//
//   /aipq/television                       aipq.Television
//   /aipq/television/key/<key as a path>   aipq.television.Key      Name, Type, Group, Meaning, Range,
//   Subscribers
//                                          aipq.television.Value    Value, of a value; writable
//                                          aipq.television.Action   Invoke
//                                          aipq.television.Table    Columns, Iterators, Rows; rows are
//                                          writable aipq.television.Faults   one writable property for each
//                                          fault of a key
#ifndef AIPQ_TELEVISION_TELEVISION_OBJECTS_H
#define AIPQ_TELEVISION_TELEVISION_OBJECTS_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bus_connection.h"
#include "notification_thread.h"
#include "simulated/television.h"
#include "worker_pool.h"

namespace television {

class TelevisionObjects {
  public:
    // Create it before starting the connection's thread. All arguments must outlive it.
    TelevisionObjects(simulated::Television& television, remote::BusConnection& connection,
                      WorkerPool& workers, std::string name);

  private:
    using Object = std::unique_ptr<sdbus::IObject>;

    void addKey(const simulated::KeyDefinition& key);
    void addDescription(sdbus::IObject& object, const simulated::KeyDefinition& key);
    void addValue(sdbus::IObject& object, const simulated::KeyDefinition& key);
    void addAction(sdbus::IObject& object, const std::string& key);
    void addTable(sdbus::IObject& object, const simulated::KeyDefinition& key);
    void addFaults(sdbus::IObject& object, const std::string& key);
    void addTelevision();
    // Announces a change of a property of a key's object, on a separate thread, because the caller may hold
    // locks of the television.
    void announce(const std::string& key, const char* interface, const char* property, sdbus::Variant value);

    simulated::Television& m_television;
    remote::BusConnection& m_connection;
    WorkerPool& m_workers;
    const std::string m_name;
    std::map<std::string, Object> m_keys;
    std::unique_ptr<sdbus::IObject> m_whole;
    remote::NotificationThread m_announcer;
    simulated::Events::Subscription m_events;  // last: it uses the announcer
};

}  // namespace television

#endif
