// The model's root: subscriptions to keys. A television's own header must offer these operations.
#ifndef LOMODELAPI_ROOT_INTERFACE_H
#define LOMODELAPI_ROOT_INTERFACE_H

#include <string>

#include "lomodelapi/observer.h"

class BizValue;

class RootInterface {
  public:
    // Subscribes `observer` to the key `name` and stores the key's object in `value`. Returns 0 on success;
    // otherwise the model's status, and `value` must not be used. The object stays valid until it is returned
    // with disconnectValue. The current value of the key is not notified.
    virtual int connectValue(const std::string& name, lomodelapi::Observer* observer, BizValue*& value) = 0;

    // Ends that subscription; 0 on success. After this has returned, `observer` is not called again, unless
    // this runs inside a call of `observer` on the same thread. A subscription that does not exist, and a
    // null `value`, are refused with a non-zero status and no other effect.
    virtual int disconnectValue(const std::string& name, lomodelapi::Observer* observer, BizValue* value) = 0;

  protected:
    ~RootInterface() = default;
};

#endif
