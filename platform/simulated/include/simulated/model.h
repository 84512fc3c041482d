// The simulated television's model, from the television's side: what tests and tools do to it and see of it.
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

// What the model answers to requests that it refuses.
constexpr int STATUS_UNKNOWN_KEY = 3;
constexpr int STATUS_UNAVAILABLE = 7;
constexpr int STATUS_OUT_OF_RANGE = 9;

using catalogue::KeyDefinition;
using catalogue::Rows;
using catalogue::Value;

// Of what clients did, so many of the newest are kept: writes and invocations of each key, threads, reports.
constexpr std::size_t RECORDED = 256;

// What a client handed over in a write.
using Written = std::variant<int, long long, std::string, std::map<int, int>, std::map<int, std::string>>;

// What an action answers: a result if the error is 0.
struct Answer {
    int error = 0;
    std::vector<lomodelapi::Argument> result;
};

// An invocation of an action as the model received it.
struct Invocation {
    unsigned id;
    std::vector<lomodelapi::Argument> arguments;
};

// How a key misbehaves. As constructed, it does not.
struct KeyFaults {
    int connectStatus = 0;              // subscribing is refused with this
    bool connectYieldsNothing = false;  // subscribing reports success without an object
    int readStatus = 0;                 // reads of texts and lists are refused with this
    bool refuseWrites = false;          // a write changes nothing and is not announced
    bool keepValue = false;             // a write changes nothing, and the old value is announced
    unsigned dropNotifications = 0;     // this many of the next notifications are lost
    unsigned repeatNotifications = 0;   // each is delivered so many times more
    std::chrono::milliseconds notificationDelay{0};  // later than the others by this
    std::chrono::milliseconds answerDelay{0};        // every request of a client takes so much longer

    int invokeStatus = 0;                // an action is refused with this
    bool neverAnswer = false;            // an action is accepted and not answered; answer() can do that later
    unsigned repeatAnswers = 0;          // each answer is given so many times more
    bool answerBeforeReturning = false;  // an invocation does not return before its answer has been delivered
};

enum class Order { AS_THEY_CAME, REVERSED };

// All operations: any thread, a notification's included.
class Model {
  public:
    // From the keys of a catalogue. What happens is told to `events`.
    Model(std::vector<KeyDefinition> catalogue, Events& events);
    ~Model();
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    // Every key of the catalogue has its default, nothing is faulty, held or counted, and nothing is
    // announced. Subscriptions stay.
    void reset();

    std::vector<KeyDefinition> keys() const;

    // Adds a key, or gives an existing one another definition and its initial value.
    void define(const KeyDefinition& definition);

    // The value now. Throws std::out_of_range for an unknown key, as all operations on a key do.
    Value value(const std::string& key) const;

    // Changes a value as the television itself does, whatever its range, and announces it if it is another
    // than before. Throws std::invalid_argument if the type does not fit.
    void set(const std::string& key, const Value& value);

    // Announces the value as it is now.
    void announce(const std::string& key);

    // A withdrawn key cannot be subscribed to, its texts and lists cannot be read, and its observers are
    // told.
    void withdraw(const std::string& key);
    void offer(const std::string& key);

    bool isOffered(const std::string& key) const;

    void setFaults(const std::string& key, const KeyFaults& faults);
    // Changes some of them, with the model locked: `change` must not call the model.
    void changeFaults(const std::string& key, const std::function<void(KeyFaults&)>& change);
    KeyFaults faults(const std::string& key) const;

    // How long after a change its notification is delivered.
    static constexpr std::chrono::milliseconds NOTIFICATION_DELAY{15};  // unless told
    void setNotificationDelay(std::chrono::milliseconds delay);
    std::chrono::milliseconds notificationDelay() const;

    // Keeps notifications back until they are released, in the order set last.
    void holdNotifications();
    void releaseNotifications();
    void setReleaseOrder(Order order);
    void releaseNotifications(Order order);
    bool holdsNotifications() const;
    Order releaseOrder() const;

    // Waits until nothing is left to deliver and no observer is being called; false if that takes longer.
    // Held notifications do not count. Not to be called from a notification.
    bool settle(std::chrono::milliseconds limit = std::chrono::seconds(30));

    // What clients did since the last reset; of writes the newest RECORDED.
    unsigned connectAttempts(const std::string& key) const;
    std::vector<Written> writes(const std::string& key) const;
    // Now.
    unsigned subscribers(const std::string& key) const;

    // What an action does and answers; without one, it does nothing and answers an empty result. Called on
    // the thread that invokes it.
    void setAction(const std::string& key,
                   std::function<Answer(const std::vector<lomodelapi::Argument>&)> action);
    // Invokes an action as a client does. The status with which it is refused, or 0.
    int invoke(const std::string& key, const std::vector<lomodelapi::Argument>& arguments);
    // Since the last reset, the newest RECORDED.
    std::vector<Invocation> invocations(const std::string& key) const;
    // Answers with any id, asked for or not, to every client of the action.
    void answer(const std::string& key, unsigned id, const Answer& answer);

    // A table's rows. Changing them is announced to the table's observers, and to the iterators that follow
    // it.
    Rows rows(const std::string& key) const;
    void setRows(const std::string& key, const Rows& rows);
    // Iterators that are open on a table now.
    unsigned iterators(const std::string& key) const;

    // From now on, `listener` is called with every change, on the thread that makes it, before it is
    // announced to observers. It must not call the model.
    void onChange(std::function<void(const std::string& key, const Value& value)> listener);

    // What clients reach.
    RootInterface* root();

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace simulated

#endif
