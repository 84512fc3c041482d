#ifndef LOMODELAPI_ROOT_INTERFACE_H
#define LOMODELAPI_ROOT_INTERFACE_H

#include <string>

#include "lomodelapi/observer.h"

class BizValue;

class RootInterface {
  public:
    int connectValue(const std::string& name, lomodelapi::Observer* observer, BizValue*& value);
    int disconnectValue(const std::string& name, lomodelapi::Observer* observer, BizValue* value);
};

#endif
