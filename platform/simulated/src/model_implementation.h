// The clients' side of the simulated television's model.
//
// model_implementation.cpp  subscriptions, and the notifications on the model thread
// model_key.cpp             a client's requests to a key
// model_iterator.cpp        a client's requests to a table's iterator
#ifndef SIMULATED_MODEL_IMPLEMENTATION_H
#define SIMULATED_MODEL_IMPLEMENTATION_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "current_call.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "lomodelapi/table.h"
#include "simulated/events.h"
#include "simulated/model.h"

namespace simulated {

// Whether a key of this type can have this value.
bool fits(lomodelapi::ObjectTypeSpec type, const Value& value);

class Model::Implementation final : public RootInterface {
  public:
    using Clock = std::chrono::steady_clock;
    struct Key;

    // A client's own object for an action or a table. It separates the client's invocations and iterators
    // from those of other clients. Its observer is null after the client has returned the object; the next
    // client then gets the object.
    struct ClientObject final : public BizValue {
        ClientObject(Implementation& owner, Key& clientKey) : model(owner), key(clientKey) {}

        lomodelapi::ObjectTypeSpec getType() override;
        int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) override;
        lomodelapi::TableIterator* createIterator(const lomodelapi::IteratorType& type,
                                                  lomodelapi::ObserverTableIterator* receiver,
                                                  const std::vector<lomodelapi::TableSelection>& selections,
                                                  const std::vector<int>& columns,
                                                  const std::vector<lomodelapi::TableOrder>& orders) override;
        int releaseIterator(lomodelapi::TableIterator* released) override;

        void close(std::unique_lock<std::mutex>& lock);

        Implementation& model;
        Key& key;
        lomodelapi::Observer* observer = nullptr;
    };

    // An iterator of a table. Its observer is null when it is closed; then the next client gets it, so that a
    // client that keeps it too long never uses freed memory.
    struct Iterator final : public lomodelapi::TableIterator {
        Iterator(Implementation& owner, Key& table) : model(owner), key(table) {}

        int requestTotalCount() override;
        int requestCursorPosition() override;
        int seekToRow(int wanted) override;
        int seekToContent(int column, const std::string& value) override;
        int readRow() override;
        int readRowChunk(int wanted) override;
        int commit() override;

        void open(const ClientObject* newAccess, const lomodelapi::IteratorType& newType,
                  lomodelapi::ObserverTableIterator* newObserver,
                  const std::vector<lomodelapi::TableSelection>& newSelections,
                  const std::vector<int>& newColumns, const std::vector<lomodelapi::TableOrder>& newOrders);
        void close(std::unique_lock<std::mutex>& lock);
        // If the iterator follows the table's changes: reads the rows again and notifies the observer.
        void follow();

        const ClientObject* access = nullptr;
        lomodelapi::ObserverTableIterator* observer = nullptr;
        unsigned life = 0;

      private:
        using Notify = std::function<void(lomodelapi::ObserverTableIterator&)>;

        // `ask` runs with the model locked and returns the notification.
        int request(const std::function<Notify()>& ask);
        void enqueue(Notify notify);
        void refresh();
        int count() const { return static_cast<int>(rows.size()); }
        bool isRow(int row) const { return row >= 0 && row < count(); }

        Implementation& model;
        Key& key;
        lomodelapi::IteratorType type{};
        std::vector<lomodelapi::TableSelection> selections;
        std::vector<int> columns;
        std::vector<lomodelapi::TableOrder> orders;
        Rows rows;
        int cursor = 0;
    };

    // One key, and its object for clients. It lives as long as the model: a client that keeps the object too
    // long reads an old value instead of freed memory.
    struct Key final : public BizValue {
        Key(Implementation& owner, KeyDefinition keyDefinition)
            : model(owner), definition(std::move(keyDefinition)), value(definition.initial) {}

        lomodelapi::ObjectTypeSpec getType() override;
        int getInteger() override;
        long long getInt64() override;
        int getString(std::string& out) override;
        int getIntegerVector(std::vector<int>& out) override;
        int getStringVector(std::vector<std::string>& out) override;
        int setInteger(int written) override;
        int setInt64(long long written) override;
        int setString(const std::string& written) override;
        int setIntegerVector(const std::map<int, int>& written) override;
        int setStringVector(const std::map<int, std::string>& written) override;
        int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) override;

        // Invokes the action for a client; for the television itself if `client` is null.
        int invokeFor(const ClientObject* client, unsigned& actionId,
                      const std::vector<lomodelapi::Argument>& arguments);

        // Waits for the fault's additional time of a client request.
        void takeTime() const;

        // An action and a table have one object for each client.
        BizValue& objectFor(lomodelapi::Observer* observer);

        // An element whose observer is null, or a new one.
        template <typename T>
        T& unused(std::list<T>& elements) {
            for (T& element : elements)
                if (element.observer == nullptr) return element;
            return elements.emplace_back(model, *this);
        }

        Implementation& model;
        KeyDefinition definition;
        Value value;
        std::function<Answer(const std::vector<lomodelapi::Argument>&)> action;
        std::deque<Invocation> invocations;
        std::list<ClientObject> clientObjects;
        std::list<Iterator> iterators;
        bool offered = true;
        KeyFaults faults;
        unsigned connectAttempts = 0;
        std::deque<Written> writes;
        std::vector<lomodelapi::Observer*> observers;
        Clock::time_point lastDue{};

      private:
        template <typename T>
        int read(T& out) const;
        int write(const Written& written, const Value& newValue);
    };

    Implementation(std::vector<KeyDefinition> catalogue, Events& events);
    ~Implementation();

    int connectValue(const std::string& name, lomodelapi::Observer* observer, BizValue*& value) override;
    int disconnectValue(const std::string& name, lomodelapi::Observer* observer, BizValue* value) override;

    // The television's side. All operations except settle() need the lock.

    // Throws std::out_of_range for an unknown key.
    Key& at(const std::string& name);
    void change(Key& key, const Value& value);
    void tellListeners(const Key& key) const;
    void announceUnchanged(Key& key);
    void announceAvailability(Key& key);
    // Notifies the observer `only`, or, if it is null, every client.
    void answer(Key& key, unsigned id, const Answer& answer, const lomodelapi::Observer* only = nullptr);
    void setRows(Key& key, const Rows& rows);
    void setHeld(bool held);
    void forgetNotifications() { m_queue.clear(); }
    bool settle(std::chrono::milliseconds limit);

    Events& m_events;
    mutable std::mutex m_mutex;
    const std::vector<KeyDefinition> m_catalogue;
    std::map<std::string, Key> m_keys;
    std::vector<std::function<void(const std::string&, const Value&)>> m_listeners;
    std::chrono::milliseconds m_delay = NOTIFICATION_DELAY;
    bool m_held = false;
    Order m_releaseOrder = Order::AS_THEY_CAME;

  private:
    // Calls the operation of an observer that belongs to a notification.
    using Notify = std::function<void(lomodelapi::Observer*)>;

    struct Notification {
        Key* key;
        Notify notify;
        Clock::time_point due;
        // The iterator of the notification, and the iterator's life at that time; null if the notification is
        // for the key.
        const Iterator* iterator;
        unsigned life;
    };

    Key* lookUp(const std::string& name);
    void announce(Key& key);
    // Inserts the notification after all that are due earlier or at the same time, and after all of the same
    // key.
    void enqueue(Key& key, const Notify& notify, const Iterator* iterator = nullptr, unsigned life = 0);
    // The model thread.
    void deliver();
    void deliver(const Notification& notification, std::unique_lock<std::mutex>& lock);

    std::condition_variable m_changed;
    CurrentCall<const lomodelapi::Observer*> m_call{m_changed};
    unsigned m_lastActionId = 0;
    std::deque<Notification> m_queue;
    bool m_ending = false;
    std::thread m_thread;
};

}  // namespace simulated

#endif
