// The statuses that the adapter returns.
#ifndef SECOND_PLATFORM_ADAPTER_STATUS_H
#define SECOND_PLATFORM_ADAPTER_STATUS_H

namespace adapter {

constexpr int REFUSED = 3;
constexpr int WRONG_TYPE = 6;

}  // namespace adapter

#endif
