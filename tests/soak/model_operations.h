// The operations of the soak service on the model: values, the channel list, actions and the source switch.
#ifndef TESTS_SOAK_MODEL_OPERATIONS_H
#define TESTS_SOAK_MODEL_OPERATIONS_H

#include "operation.h"

namespace soak {

// Each returns true if the operation succeeded.

// Writes a value, waits for its notification, and reads a value of each type.
bool useValues(Dice& dice);
bool readList(Dice& dice);
bool invokeAction(Dice& dice);
bool changeChannel(Dice& dice);
bool changePlayback(Dice& dice);
bool takeResources(Dice& dice);

}  // namespace soak

#endif
