// The statuses that the accessors' operations return.
#ifndef PLATFORM_ADAPTATION_STATUS_H
#define PLATFORM_ADAPTATION_STATUS_H

constexpr int STATUS_NO_ACCESS = -1;
constexpr int STATUS_OK = 0;
constexpr int STATUS_TABLE_NOT_CONNECTED = 4;
constexpr int STATUS_NOT_CONNECTED = 5;
constexpr int STATUS_TYPE_MISMATCH = 6;
constexpr int STATUS_MISSING = 8;

#endif
