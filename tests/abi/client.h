// A client's own classes, built as a client may build them: in C++11, and with everything hidden. client.cpp
// uses the library's classes; the test, in a later language, asks for what became of it.
#ifndef TESTS_ABI_CLIENT_H
#define TESTS_ABI_CLIENT_H

#include <memory>

#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_setting.h"

namespace client {

// Each is an object of a class of the client's, as the library's class or the platform's.
std::unique_ptr<ValueAccessBase> makeAccess();
std::unique_ptr<SystemSettingInterface> makeSetting();
std::unique_ptr<lomodelapi::ObserverAction> makeAction();
std::shared_ptr<ValueHandler> makeHandler();
std::shared_ptr<ValueHandler> makeHandlerWithoutOwner();

// What they are, by the client's type information; null or false if they are something else.
lomodelapi::ObserverNumericInteger* asObserver(ValueAccessBase& access);
ActionAccess* asAccess(lomodelapi::Observer& observer);
bool isSystemSetting(SystemSettingInterface& setting);

// The last value that a handler or accessor of the client's was given; the last action that ended.
int lastValue();
unsigned lastAction();

}  // namespace client

#endif
