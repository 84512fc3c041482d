// The television's side of the simulated model, for tests and tools.
#ifndef SIMULATED_MODEL_H
#define SIMULATED_MODEL_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "catalogue/key_definition.h"
#include "lomodelapi/argument.h"

class RootInterface;

namespace simulated {

class Events;

// The statuses with which the model refuses requests.
constexpr int STATUS_UNKNOWN_KEY = 3;
constexpr int STATUS_UNAVAILABLE = 7;
constexpr int STATUS_OUT_OF_RANGE = 9;

using catalogue::KeyDefinition;
using catalogue::Rows;
using catalogue::Value;

// The number of recent client operations that are kept: writes and invocations of each key, threads, reports.
constexpr std::size_t RECORDED = 256;

// The value that a client passed to a write.
using Written = std::variant<int, long long, std::string, std::map<int, int>, std::map<int, std::string>>;

// The answer of an action: a result if the error is 0.
struct Answer {
    int error = 0;
    std::vector<lomodelapi::Argument> result;
};

// An invocation of an action as the model received it.
struct Invocation {
    unsigned id;
    std::vector<lomodelapi::Argument> arguments;
};

// The faults of a key. By default, the key has none.
struct KeyFaults {
    int connectStatus = 0;              // the status that refuses subscriptions; 0 for no refusal
    bool connectYieldsNothing = false;  // subscribing reports success without an object
    int readStatus = 0;                 // the status that refuses reads of texts and lists; 0 for no refusal
    bool refuseWrites = false;          // a write changes nothing and announces nothing
    bool keepValue = false;             // a write changes nothing and announces the old value
    unsigned dropNotifications = 0;     // the number of next notifications that are lost
    unsigned repeatNotifications = 0;   // additional deliveries of each notification
    std::chrono::milliseconds notificationDelay{0};  // additional delay of this key's notifications
    std::chrono::milliseconds answerDelay{0};        // additional time of every client request

    int invokeStatus = 0;        // the status that refuses invocations; 0 for no refusal
    bool neverAnswer = false;    // the action is accepted and not answered; answer() can answer it later
    unsigned repeatAnswers = 0;  // additional deliveries of each answer
    bool answerBeforeReturning = false;  // an invocation does not return before its answer has been delivered
};

enum class Order { AS_THEY_CAME, REVERSED };

// Thread safety: every operation may be called from any thread, also in a notification.
class Model {
  public:
    // Creates the keys of a catalogue. Reports events to `events`.
    Model(std::vector<KeyDefinition> catalogue, Events& events);
    ~Model();
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    // Sets every key to its default, and clears all faults, held notifications and counters. Announces
    // nothing. Subscriptions stay.
    void reset();

    std::vector<KeyDefinition> keys() const;

    // Adds a key. An existing key gets the new definition and its initial value.
    void define(const KeyDefinition& definition);

    // Returns the current value. Throws std::out_of_range for an unknown key, as all operations on a key do.
    Value value(const std::string& key) const;

    // Changes a value like the television itself, without a check of its range. Announces it if it differs
    // from the value before. Throws std::invalid_argument if the type does not fit.
    void set(const std::string& key, const Value& value);

    // Announces the current value.
    void announce(const std::string& key);

    // A withdrawn key refuses subscriptions and reads of its texts and lists; its observers are notified.
    void withdraw(const std::string& key);
    void offer(const std::string& key);

    bool isOffered(const std::string& key) const;

    void setFaults(const std::string& key, const KeyFaults& faults);
    // Lets `change` edit the faults while the model is locked: `change` must not call the model.
    void changeFaults(const std::string& key, const std::function<void(KeyFaults&)>& change);
    KeyFaults faults(const std::string& key) const;

    // The time between a change and its notification.
    static constexpr std::chrono::milliseconds NOTIFICATION_DELAY{15};  // the default
    void setNotificationDelay(std::chrono::milliseconds delay);
    std::chrono::milliseconds notificationDelay() const;

    // Holds notifications until releaseNotifications(), which delivers them in the release order.
    void holdNotifications();
    void releaseNotifications();
    void setReleaseOrder(Order order);
    void releaseNotifications(Order order);
    bool holdsNotifications() const;
    Order releaseOrder() const;

    // Waits until all notifications are delivered and no observer is being called. Returns false after
    // `limit`. Held notifications do not count. Do not call it in a notification.
    bool settle(std::chrono::milliseconds limit = std::chrono::seconds(30));

    // Client operations since the last reset; of the writes, the newest RECORDED.
    unsigned connectAttempts(const std::string& key) const;
    std::vector<Written> writes(const std::string& key) const;
    // The number of subscribers now.
    unsigned subscribers(const std::string& key) const;

    // Sets the function that performs the action and returns its answer. Without a function, the action does
    // nothing and answers with an empty result. The function is called on the thread that invokes the action.
    void setAction(const std::string& key,
                   std::function<Answer(const std::vector<lomodelapi::Argument>&)> action);
    // Invokes an action like a client. Returns 0, or the status that refuses the invocation.
    int invoke(const std::string& key, const std::vector<lomodelapi::Argument>& arguments);
    // The invocations since the last reset, at most the newest RECORDED.
    std::vector<Invocation> invocations(const std::string& key) const;
    // Sends an answer with any id, even an unknown one, to every client of the action.
    void answer(const std::string& key, unsigned id, const Answer& answer);

    // The rows of a table. setRows() notifies the table's observers and the iterators that follow the table.
    Rows rows(const std::string& key) const;
    void setRows(const std::string& key, const Rows& rows);
    // The number of open iterators on a table.
    unsigned iterators(const std::string& key) const;

    // Sets the listener that is called with every change, on the thread that makes the change, before
    // observers are notified. It must not call the model.
    void onChange(std::function<void(const std::string& key, const Value& value)> listener);

    // The interface for clients.
    RootInterface* root();

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace simulated

#endif
