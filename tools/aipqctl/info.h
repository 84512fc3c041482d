#ifndef AIPQCTL_INFO_H
#define AIPQCTL_INFO_H

#include "platform_adaptation/system_info.h"

namespace aipqctl {

const char* sourceName(SourceType type);

}  // namespace aipqctl

#endif
