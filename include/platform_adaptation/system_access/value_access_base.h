// What every accessor to an object of the model has in common.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_ACCESS_BASE_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_ACCESS_BASE_H

#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "lomodelapi/object_type_spec.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_handler.h"
#include "platform_adaptation/system_access/value_object.h"

class BizValue;
class RootInterface;

namespace lomodelapi {
class Observer;
}

// An accessor to one key of the model: its name, its connection and its owner's handler. It connects by
// itself on the first read or write.
//
// Reads, writes and connecting run on the caller's thread and block as long as the model takes; connecting
// blocks for up to the connect time-out (100 ms a try). There is no lock: create, connect and hand over the
// handler before notifications matter. A handler may be replaced at any time, from any thread; the one
// replaced lives until the call that it is in has ended. The model must be reachable whenever an accessor
// connects or disconnects: this is not checked.
//
// Statuses: 0 success; 5 the key could not be connected; 6 the object is of another type, or the number does
// not fit it; 8 the key is the placeholder "missing"; any other is the model's own.
class PLATFORM_ADAPTATION_API ValueAccessBase {
  public:
    // Nothing is connected.
    explicit ValueAccessBase(const std::string& name);
    virtual ~ValueAccessBase();

    ValueAccessBase(const ValueAccessBase&) = delete;
    ValueAccessBase& operator=(const ValueAccessBase&) = delete;

    // Replaces the owner's handler; empty for none.
    virtual void setNewValueHandler(std::shared_ptr<ValueHandler> handler);

    // Subscribes to the key, trying every 100 ms for `timeoutMs`, at least once; at once if connected. The
    // time-out is kept for connections on demand (1000 before the first call). Returns a status.
    virtual int connect(int timeoutMs) = 0;

    // Ends the subscription; the accessor can connect again. Returns 0. When it has returned, no notification
    // arrives any more, unless this is called from one.
    virtual int disconnect() = 0;

    // The object's type as a number (lomodelapi::ObjectTypeSpec); 0 if not connected. Does not connect.
    virtual int getType();
    virtual std::string getName();

    // Read the value into the argument, connecting first if need be. Return a status; if it is not 0, the
    // argument is as it was. A 32-bit read of a 64-bit key, and the reverse, is a type mismatch.
    virtual int getValue(std::string& value);
    virtual int getValue(int& value);
    virtual int getValue(long long& value);
    virtual int getValue(std::vector<std::string>& value);
    virtual int getValue(std::vector<int>& value);

    // Write the value, connecting first if need be. Return a status; if it is not 0, nothing was written. 0
    // says that the value was handed to the model, not that the model accepted it. An integer may be written
    // to a key of either width if it fits.
    virtual int setValue(const std::string& value);
    virtual int setValue(int value);
    virtual int setValue(long long value);
    virtual int setValue(const std::vector<std::string>& value);
    virtual int setValue(const std::vector<int>& value);

    // Hands `value` to the handler, if there is one. Called on the model's thread for each change.
    virtual void onNewValue(const ValueObject& value);

    // The model's root; null (and a log line) if the process framework does not give it. Looked up anew at
    // each call; owned by the framework.
    static RootInterface* getRootInterface();

    // Connects with the kept time-out if not connected; returns a status.
    int tryConnectIfNeeded();

    // "OBJECT_TYPE_STRING" and so on; "OBJECT_TYPE_NONE" for any other number. A literal.
    static const char* accessTypeName(lomodelapi::ObjectTypeSpec type);

  protected:
    PLATFORM_ADAPTATION_LOCAL bool isConnected() const;
    PLATFORM_ADAPTATION_LOCAL bool hasHandler() const;

    // Asks `root` for the object under the name until it yields one or `timeoutMs` are over; null then, with
    // the model's last answer in `status`.
    PLATFORM_ADAPTATION_LOCAL BizValue* attach(RootInterface* root, lomodelapi::Observer* observer,
                                               int timeoutMs, int& status);

    // Ends the subscription of `observer`, whether or not there is one, and forgets the object.
    PLATFORM_ADAPTATION_LOCAL void detach(lomodelapi::Observer* observer);

    // What all kinds of value accessors do to connect: `kind` is the observer's name, `function` the
    // operation that the client called.
    PLATFORM_ADAPTATION_LOCAL int connectAs(lomodelapi::Observer* observer, lomodelapi::ObjectTypeSpec wanted,
                                            const char* kind, int timeoutMs, const char* function);

    // Shared between threads without a lock, by design.
    BizValue* m_value;
    std::shared_ptr<ValueHandler> m_handler;
    const std::string m_name;
    int m_connectTimeout;

    // Hands a notified value on as a ValueObject, if there is a handler; `function` names the notification.
    template <typename T>
    PLATFORM_ADAPTATION_LOCAL void deliver(const T& value, const char* function);
    // The same of an integer, from notifyNewValue() of the class `own`.
    PLATFORM_ADAPTATION_LOCAL void deliverInteger(int value, const std::type_info& own);

  private:
    PLATFORM_ADAPTATION_LOCAL void handOnRare(int value);
    PLATFORM_ADAPTATION_LOCAL void callAnother(ValueHandler* announced, const ValueObject& value);
    PLATFORM_ADAPTATION_LOCAL static void printEnterOfOnNewValue();
    PLATFORM_ADAPTATION_LOCAL int connectedValue(BizValue*& value);
    PLATFORM_ADAPTATION_LOCAL int connectedValue(BizValue*& value, lomodelapi::ObjectTypeSpec wanted,
                                                 const char* function);
    PLATFORM_ADAPTATION_LOCAL int refuseType(const char* function);
};

#endif
