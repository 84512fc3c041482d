// What the model calls when something that a client subscribed to changes. A television's own header must offer
// these classes with this order of virtual operations: destructor, one operation with a default implementation,
// then the notification of the kind.
//
// Every notification arrives on a thread of the model, never on the stack of the client's own call. Arguments
// are valid during the call only. A notification must not block for long: the next one waits behind it.
#ifndef LOMODELAPI_OBSERVER_H
#define LOMODELAPI_OBSERVER_H

#include <string>
#include <vector>

namespace lomodelapi {

class Observer {
  public:
    virtual ~Observer() = default;

    // The object behind the subscription went away (`available` false) or came back. The subscription stays.
    virtual void notifyAvailability(bool available) { static_cast<void>(available); }
};

class ObserverNumericInteger : public Observer {
  public:
    virtual void notifyNewValue(int value) = 0;
};

class ObserverNumericInt64 : public Observer {
  public:
    virtual void notifyNewValue(long long value) = 0;
};

class ObserverString : public Observer {
  public:
    virtual void notifyNewValue(const std::string& value) = 0;
};

class ObserverVectorNumericInteger : public Observer {
  public:
    virtual void notifyIntegerVector(const std::vector<int>& value) = 0;
};

class ObserverVectorString : public Observer {
  public:
    virtual void notifyStringVector(const std::vector<std::string>& value) = 0;
};

}  // namespace lomodelapi

#endif
