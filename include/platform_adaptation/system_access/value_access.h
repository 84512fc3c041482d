// Accessors to the values of the model, one class per kind.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_ACCESS_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_VALUE_ACCESS_H

#include <memory>
#include <string>
#include <vector>

#include "lomodelapi/observer.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_access_base.h"

// In each instantiation, one of the five notifications overrides that of `Observer`. So none can be marked
// `override`.
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Winconsistent-missing-override"
#endif

// An accessor that also follows its key: each change arrives at the handler, on the model's thread, as a
// ValueObject of the kind of `Observer`:
//
//   lomodelapi::ObserverNumericInteger        TYPE_INT
//   lomodelapi::ObserverNumericInt64          TYPE_INT64
//   lomodelapi::ObserverString                TYPE_STRING
//   lomodelapi::ObserverVectorNumericInteger  TYPE_VECTOR of TYPE_INT
//   lomodelapi::ObserverVectorString          TYPE_VECTOR of TYPE_STRING
//
// The library contains these five instantiations and no others. connect() returns 6 for a key of another
// type.
template <typename Observer>
class PLATFORM_ADAPTATION_API ValueAccessT : public ValueAccessBase, public Observer {
  public:
    // The constructors do not connect.
    explicit ValueAccessT(std::string name);
    ValueAccessT(std::string name, std::shared_ptr<ValueHandler> handler);
    // Disconnects if connected.
    ~ValueAccessT() override;

    int connect(int timeoutMs) override;
    int disconnect() override;

    // The model calls the notification that `Observer` declares, on its thread. Each notification calls
    // onNewValue() with the value as a ValueObject; without a handler, the value is dropped.
    virtual void notifyNewValue(int value);
    virtual void notifyNewValue(long long value);
    virtual void notifyNewValue(const std::string& value);
    virtual void notifyIntegerVector(const std::vector<int>& value);
    virtual void notifyStringVector(const std::vector<std::string>& value);
};

extern template class PLATFORM_ADAPTATION_API ValueAccessT<lomodelapi::ObserverNumericInteger>;
extern template class PLATFORM_ADAPTATION_API ValueAccessT<lomodelapi::ObserverNumericInt64>;
extern template class PLATFORM_ADAPTATION_API ValueAccessT<lomodelapi::ObserverString>;
extern template class PLATFORM_ADAPTATION_API ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;
extern template class PLATFORM_ADAPTATION_API ValueAccessT<lomodelapi::ObserverVectorString>;

#ifdef __clang__
#pragma clang diagnostic pop
#endif

#endif
