#ifndef PLATFORM_ADAPTATION_MAKE_ACCESS_H
#define PLATFORM_ADAPTATION_MAKE_ACCESS_H

#include <memory>

#include "platform_adaptation/system_access/value_handler.h"

// An accessor to `key` that hands its changes to a member of `owner`, which outlives it.
template <typename Access, typename Owner>
std::shared_ptr<Access> makeAccess(const char* key, Owner* owner,
                                   void (Owner::*onChanged)(const ValueObject&)) {
    return std::make_shared<Access>(key, std::make_shared<ValueHandlerT<Owner>>(owner, onChanged));
}

#endif
