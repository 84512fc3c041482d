#ifndef PLATFORM_ADAPTATION_MAKE_ACCESS_H
#define PLATFORM_ADAPTATION_MAKE_ACCESS_H

#include <memory>

#include "platform_adaptation/system_access/value_handler.h"

// The timeout for each accessor of a facade at construction: one attempt, and a pause if it fails.
constexpr int FACADE_CONNECT_TIMEOUT_MS = 100;

// An accessor to `key` that calls a member of `owner` with each change. `owner` outlives the accessor.
template <typename Access, typename Owner>
std::shared_ptr<Access> makeAccess(const char* key, Owner* owner,
                                   void (Owner::*onChanged)(const ValueObject&)) {
    return std::make_shared<Access>(key, std::make_shared<ValueHandlerT<Owner>>(owner, onChanged));
}

#endif
