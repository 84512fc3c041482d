// A client's own classes, built like a client's code: as C++11 and with hidden symbols. client.cpp uses the
// library's classes; the test, built with a later standard, queries the results.
#ifndef TESTS_ABI_CLIENT_H
#define TESTS_ABI_CLIENT_H

#include <memory>

#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_setting.h"

namespace client {

// Each function creates an object of a client's class and returns it as its base class of the library or the
// platform.
std::unique_ptr<ValueAccessBase> makeAccess();
std::unique_ptr<SystemSettingInterface> makeSetting();
std::unique_ptr<lomodelapi::ObserverAction> makeAction();
std::shared_ptr<ValueHandler> makeHandler();
std::shared_ptr<ValueHandler> makeHandlerWithoutOwner();

// Cast with the client's type information. They return null or false if the object has another type.
lomodelapi::ObserverNumericInteger* asObserver(ValueAccessBase& access);
ActionAccess* asAccess(lomodelapi::Observer& observer);
bool isSystemSetting(SystemSettingInterface& setting);

// The last value that a client's handler or accessor received, and the id of the last action that ended.
int lastValue();
unsigned lastAction();

}  // namespace client

#endif
