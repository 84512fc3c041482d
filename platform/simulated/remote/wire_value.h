// The model's values on the bus, where texts are bytes.
#ifndef REMOTE_WIRE_VALUE_H
#define REMOTE_WIRE_VALUE_H

#include <sdbus-c++/sdbus-c++.h>

#include "simulated/model.h"

namespace remote {

sdbus::Variant toVariant(const simulated::Value& value);
// Returns std::monostate for a variant of another type.
simulated::Value fromVariant(const sdbus::Variant& variant);
// Reads a variant of a message. Unlike sdbus::Variant, it needs no static object of sdbus-c++, which exit()
// destroys while a thread may still receive messages.
simulated::Value readValue(sdbus::Message& message);

}  // namespace remote

#endif
