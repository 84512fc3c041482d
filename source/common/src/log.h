// Log lines. Each is offered to the platform with its level first; only if the level is on are its arguments
// evaluated and formatted. A file defines LOG_TAG before it includes this.
#ifndef COMMON_LOG_H
#define COMMON_LOG_H

#include "csp/debug.h"

#ifndef LOG_TAG
#error "define LOG_TAG before including this"
#endif

namespace logging {

// The platform's module code above, the level below.
constexpr unsigned LEVEL_TRACE = 0x01C70001;
constexpr unsigned LEVEL_ERROR = 0x01C703E8;
constexpr unsigned LEVEL_INFO = 0x01C70FA0;

inline bool isOn(unsigned level) { return cspDebugCheckLevelGetFrameAndChunk(level) != 0; }

}  // namespace logging

// `function` names the operation that the client called where one implementation serves several.
#define LOG_AT(level, function, format, ...)                                                    \
    do {                                                                                        \
        if (logging::isOn(level))                                                               \
            cspDebugOutput0(level, "%s:%d:%s(): %s " format, __FILE_NAME__, __LINE__, function, \
                            LOG_TAG __VA_OPT__(, ) __VA_ARGS__);                                \
    } while (false)

#define LOG_ERROR(...) LOG_AT(logging::LEVEL_ERROR, __func__, __VA_ARGS__)
#define LOG_INFO(...) LOG_AT(logging::LEVEL_INFO, __func__, __VA_ARGS__)

#define LOG_ENTER_AS(function) LOG_AT(logging::LEVEL_TRACE, function, "[%s][%d] ENTER\n", function, __LINE__)
#define LOG_ENTER() LOG_ENTER_AS(__func__)
#define LOG_RETURN() LOG_AT(logging::LEVEL_TRACE, __func__, "[%s][%d] RETURN\n", __func__, __LINE__)
#define LOG_RETURN_VALUE(value) \
    LOG_AT(logging::LEVEL_TRACE, __func__, "[%s][%d] val(%d) RETURN\n", __func__, __LINE__, value)

#endif
