// The base of every accessor to an object of the model.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_ACCESS_BASE_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_ACCESS_BASE_H

#include <memory>
#include <string>
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

// An accessor to one key of the model: its name, its connection and its owner's handler. A read or write
// connects on demand, except for an iterator; no other operation does.
//
// Reads, writes and connecting run on the caller's thread and block as long as the model takes. Every read or
// write of an accessor that is not connected tries again to connect it, for the connect timeout. The process
// framework must provide the model whenever an accessor connects or disconnects; otherwise the process
// crashes. Operations may throw std::bad_alloc; a handler must not throw.
//
// There is no lock. Replace a handler before connecting, after disconnecting, or inside a callback of the
// same accessor. A handler that is replaced in its own call lives until that call has ended. An accessor may
// be destroyed inside its own callback.
//
// Statuses: 0 success; 5 the key could not be connected; 6 the object is of another type, or the number does
// not fit it; 8 the key of a value accessor is the placeholder "missing"; any other is the model's own.
class PLATFORM_ADAPTATION_API ValueAccessBase {
  public:
    // Does not connect.
    explicit ValueAccessBase(const std::string& name);
    virtual ~ValueAccessBase();

    ValueAccessBase(const ValueAccessBase&) = delete;
    ValueAccessBase& operator=(const ValueAccessBase&) = delete;

    // Replaces the owner's handler, empty for none. The class comment says when this is allowed.
    virtual void setNewValueHandler(std::shared_ptr<ValueHandler> handler);

    // Subscribes to the key; returns a status. Returns 0 at once if connected. Makes one attempt per started
    // 100 ms of `timeoutMs`, at least one, and pauses for 100 ms after each failed attempt: connect(100) on
    // an absent key makes one attempt and takes 100 ms, connect(0) does not pause. The timeout is kept for
    // connections on demand (1000 before the first call), but not if the key is "missing".
    virtual int connect(int timeoutMs) = 0;

    // Ends the subscription; the accessor can connect again. Returns 0. No notification arrives after it has
    // returned, unless it was called from a notification.
    virtual int disconnect() = 0;

    // The object's type as a number (lomodelapi::ObjectTypeSpec); 0 if not connected. Does not connect.
    virtual int getType();
    virtual std::string getName();

    // Read the value into the argument, connecting first if necessary. Return a status. If the status is not
    // 0, the argument is unchanged, except for texts and lists that the model itself wrote before it refused.
    // A 32-bit read of a 64-bit key, and the reverse, is a type mismatch.
    virtual int getValue(std::string& value);
    virtual int getValue(int& value);
    virtual int getValue(long long& value);
    virtual int getValue(std::vector<std::string>& value);
    virtual int getValue(std::vector<int>& value);

    // Write the value, connecting first if necessary. Return a status. If the status is not 0, nothing was
    // written. 0 means that the model received the value, not that it accepted the value. An integer may be
    // written to a key of either width if it fits.
    virtual int setValue(const std::string& value);
    virtual int setValue(int value);
    virtual int setValue(long long value);
    virtual int setValue(const std::vector<std::string>& value);
    virtual int setValue(const std::vector<int>& value);

    // Calls the handler with `value`, if there is a handler. Called on the model's thread for each change.
    virtual void onNewValue(const ValueObject& value);

    // The model's root, owned by the process framework. Null if the framework does not provide it; a failed
    // lookup is logged. Every call looks it up again.
    static RootInterface* getRootInterface();

    // Connects with the kept timeout if not connected; returns a status.
    int tryConnectIfNeeded();

    // Returns "OBJECT_TYPE_STRING" and so on; "OBJECT_TYPE_NONE" for any other number. The text is a literal.
    static const char* accessTypeName(lomodelapi::ObjectTypeSpec type);

  protected:
    PLATFORM_ADAPTATION_LOCAL bool isConnected() const;

    // Requests the object of this name from `root` until `root` returns one or `timeoutMs` has passed.
    // Returns null after the timeout, with the model's last answer in `status`.
    PLATFORM_ADAPTATION_LOCAL BizValue* attach(RootInterface* root, lomodelapi::Observer* observer,
                                               int timeoutMs, int& status);

    // Ends the subscription of `observer`, if any, and clears the object.
    PLATFORM_ADAPTATION_LOCAL void detach(lomodelapi::Observer* observer);

    // Connects a value accessor. `wanted` is the type that `observer` follows, `kind` is its name in the log.
    PLATFORM_ADAPTATION_LOCAL int connectAs(lomodelapi::Observer* observer, lomodelapi::ObjectTypeSpec wanted,
                                            const char* kind, int timeoutMs);

    // Passes a notified value to onNewValue() as a ValueObject, if there is a handler.
    template <typename T>
    PLATFORM_ADAPTATION_LOCAL void deliver(const T& value);

    // Shared between threads without a lock, by design.
    BizValue* m_value;
    std::shared_ptr<ValueHandler> m_handler;
    const std::string m_name;
    int m_connectTimeout;

  private:
    PLATFORM_ADAPTATION_LOCAL int writeInteger(long long newValue);
    PLATFORM_ADAPTATION_LOCAL int connectedValue(BizValue*& value);
    PLATFORM_ADAPTATION_LOCAL int connectedValue(BizValue*& value, lomodelapi::ObjectTypeSpec wanted,
                                                 const char* function);
};

#endif
