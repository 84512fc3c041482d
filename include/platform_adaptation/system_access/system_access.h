#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_SYSTEM_ACCESS_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_SYSTEM_ACCESS_H

#include "platform_adaptation/export.h"

// Empty; part of the public interface for the programs that name it.
class PLATFORM_ADAPTATION_API SystemAccess {
  public:
    SystemAccess();
    ~SystemAccess();
};

#endif
