// Calls the observer's operation for a notification; does nothing if the observer has no such operation.
#ifndef SIMULATED_NOTIFY_H
#define SIMULATED_NOTIFY_H

#include "lomodelapi/observer.h"
#include "simulated/model.h"

namespace simulated {

void notify(lomodelapi::Observer* observer, const Value& value);
void notify(lomodelapi::Observer* observer, unsigned id, const Answer& answer);
void notifyTableUpdate(lomodelapi::Observer* observer, int kind);

}  // namespace simulated

#endif
