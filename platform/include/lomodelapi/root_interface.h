// The model's root: subscriptions to keys. A television's own header must offer these operations.
#ifndef LOMODELAPI_ROOT_INTERFACE_H
#define LOMODELAPI_ROOT_INTERFACE_H

#include <string>

#include "lomodelapi/observer.h"

class BizValue;

class RootInterface {
  public:
    // Subscribes `observer` to the key `name` and yields the key's object in `value`. 0 on success; otherwise
    // the model's status, and `value` is not to be used. The object stays valid until it is returned with
    // disconnectValue. No notification is delivered for the value that the key has already.
    virtual int connectValue(const std::string& name, lomodelapi::Observer* observer, BizValue*& value) = 0;

    // Ends that subscription; 0 on success. Once this has returned, `observer` is not called again, unless it
    // is being called on this very thread. A subscription that does not exist, and a null `value`, are
    // refused with a non-zero status and no other effect.
    virtual int disconnectValue(const std::string& name, lomodelapi::Observer* observer, BizValue* value) = 0;

  protected:
    ~RootInterface() = default;
};

#endif
