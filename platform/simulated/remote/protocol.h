// The D-Bus protocol between a television in its own process and its clients.
//
// Two kinds of objects are on its bus:
//
//   OBJECT           the television for people and scripts (busctl); each key has an object below it
//   PLATFORM_OBJECT  the television for the platform library in a client's process; its interface
//                    PLATFORM_INTERFACE has one method for each call of platform/include
//
// A client numbers its subscriptions and iterators itself: so it knows the number before the first
// notification arrives. Notifications are signals to this one client:
//
//   method                                            answer
//   LookUp(s name)                                    i status
//   GivesRoot()                                       b
//   Connect(s key, u subscription)                    i status, b yields an object, v its value
//   Disconnect(u subscription)                        i status
//   Type(u)                                           i
//   GetInteger(u) | GetInt64(u)                       i | x
//   GetString(u) | GetIntegers(u) | GetStrings(u)     i status, value
//   SetInteger(u, i) | SetInt64(u, x)                 i status
//   SetString(u, ay) | SetIntegers(u, a{ii}) | SetStrings(u, a{iay})
//                                                     i status
//   Invoke(u, a(qqay))                                i status, u id
//   CreateIterator(u subscription, u iterator, ii type, a(iay) selections, ai columns, a(ib) orders)
//                                                     b created
//   ReleaseIterator(u iterator)                       i status
//   Iterate(u iterator, s operation, i number, ay text)
//                                                     i status
//   ApplicationsReachable()                           b
//   RegisterApplication(s) | UnregisterApplication(s) | ReportStatus(s, i)
//                                                     i status
//   Answer(u ticket, i answer)                        none
//
//   signal
//   Value(u, v)
//   Available(u, b) | Failed(u, u id, i error) | Result(u, u id, a(qqay)) | Updated(u, i)
//   IteratorNews(u iterator, s operation, i number, aaay rows)
//   Lifecycle(s name, u ticket, u notification, s url, s text, i number)
//
// The model's texts are sent as bytes (ay), because a D-Bus text must be UTF-8 and a text of the model need
// not be.
#ifndef REMOTE_PROTOCOL_H
#define REMOTE_PROTOCOL_H

#include <cstdint>
#include <string>
#include <vector>

#include "lomodelapi/argument.h"

#include <sdbus-c++/sdbus-c++.h>

namespace remote {

constexpr char BUS_NAME_PREFIX[] = "aipq.Television.";
constexpr char OBJECT[] = "/aipq/television";
constexpr char TELEVISION_INTERFACE[] = "aipq.Television";
constexpr char PLATFORM_OBJECT[] = "/aipq/television/platform";
constexpr char PLATFORM_INTERFACE[] = "aipq.television.Platform";

// The operations that are requested of an iterator, and its notifications.
namespace iteration {
constexpr char COMMIT[] = "commit";
constexpr char TOTAL_COUNT[] = "total-count";
constexpr char CURSOR_POSITION[] = "cursor-position";
constexpr char SEEK_TO_ROW[] = "seek-to-row";
constexpr char SEEK_TO_CONTENT[] = "seek-to-content";
constexpr char READ_ROW[] = "read-row";
constexpr char READ_ROW_CHUNK[] = "read-row-chunk";
constexpr char READY[] = "ready";    // notification only
constexpr char UPDATE[] = "update";  // notification only
}  // namespace iteration

// The name of the television that a program uses by default.
constexpr char DEFAULT_NAME[] = "living-room";

// The value of AIPQ_TV for the television embedded in the program's own process.
constexpr char EMBEDDED[] = "embedded";

// The location of a television: the address of its bus and its name there.
struct Place {
    std::string address;
    std::string name;

    std::string busName() const { return BUS_NAME_PREFIX + name; }
};

// Parses NAME, ADDRESS or NAME@ADDRESS. Throws std::invalid_argument if the text is neither a name nor an
// address.
Place placeFrom(const std::string& text);

// The variable that names the folder of the televisions' sockets. Without it, the sockets are in a folder of
// this user.
constexpr char FOLDER_VARIABLE[] = "AIPQ_TV_FOLDER";

// The socket of the private bus of the television `name`.
std::string socketPath(const std::string& name);

// The object path of a key.
std::string objectPath(const std::string& key);

using Bytes = std::vector<std::uint8_t>;
using WireArgument = sdbus::Struct<std::uint16_t, std::uint16_t, Bytes>;
using WireSelection = sdbus::Struct<std::int32_t, Bytes>;
using WireOrder = sdbus::Struct<std::int32_t, bool>;
using WireRows = std::vector<std::vector<Bytes>>;

Bytes toWire(const std::string& text);
std::string fromWire(const Bytes& bytes);
std::vector<Bytes> toWire(const std::vector<std::string>& texts);
std::vector<std::string> fromWire(const std::vector<Bytes>& texts);
std::vector<WireArgument> toWire(const std::vector<lomodelapi::Argument>& arguments);
std::vector<lomodelapi::Argument> fromWire(const std::vector<WireArgument>& arguments);

}  // namespace remote

#endif
