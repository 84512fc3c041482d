#include "platform_adaptation/system_access/system_access.h"

SystemAccess::SystemAccess() = default;
SystemAccess::~SystemAccess() = default;
