#include "platform_adaptation/system_access/value_handler.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

void ValueHandler::logNoObserver(const void* handler, const void* owner, const void* callback) {
    LOG_ERROR_AS("onNewValue", "No Observer for %p,  %p, %p\n", handler, owner, callback);
}
