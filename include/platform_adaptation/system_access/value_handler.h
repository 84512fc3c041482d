// The handler of change notifications.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_HANDLER_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_HANDLER_H

#include <cstring>

#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_object.h"

class PLATFORM_ADAPTATION_API ValueHandler {
  public:
    // Called on the model's thread for each change. `value` is valid during the call only. The next
    // notification waits until this returns.
    virtual void onNewValue(const ValueObject& value) = 0;
    virtual ~ValueHandler() = default;

  protected:
    // Logs that a value was dropped because `handler` has no owner or no callback. `callback` is the first
    // word of the pointer to the member function: the function's address, or an offset if the function is
    // virtual.
    static void logNoObserver(const void* handler, const void* owner, const void* callback);
};

// Calls a member function of its owner with each change. The handler does not own the owner, which must
// outlive it.
template <typename Owner>
class ValueHandlerT : public ValueHandler {
  public:
    using Callback = void (Owner::*)(const ValueObject&);

    ValueHandlerT(Owner* owner, Callback callback) : m_owner(owner), m_callback(callback) {}

    // Without an owner or a callback the value is dropped, with a log line.
    void onNewValue(const ValueObject& value) override {
        if (m_owner != nullptr && m_callback != nullptr) {
            (m_owner->*m_callback)(value);
            return;
        }
        const void* callback = nullptr;
        std::memcpy(&callback, &m_callback, sizeof callback);
        logNoObserver(this, m_owner, callback);
    }

  private:
    Owner* m_owner;
    Callback m_callback;
};

#endif
