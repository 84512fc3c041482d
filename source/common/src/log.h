// Log lines. Each line's level is first checked with the platform; arguments are evaluated and formatted only
// if the level is on. A file defines LOG_TAG before it includes this.
#ifndef COMMON_LOG_H
#define COMMON_LOG_H

#include "csp/debug.h"
#include "csp/log_level.h"

#ifndef LOG_TAG
#error "define LOG_TAG before including this"
#endif

namespace logging {

constexpr unsigned LEVEL_TRACE = csp::PLATFORM_ADAPTATION_MODULE | csp::LEVEL_TRACE;
constexpr unsigned LEVEL_ERROR = csp::PLATFORM_ADAPTATION_MODULE | csp::LEVEL_ERROR;
constexpr unsigned LEVEL_INFO = csp::PLATFORM_ADAPTATION_MODULE | csp::LEVEL_INFO;

inline bool isOn(unsigned level) noexcept { return cspDebugCheckLevelGetFrameAndChunk(level) != 0; }

constexpr const char* baseName(const char* path) {
    const char* name = path;
    for (; *path != '\0'; ++path)
        if (*path == '/') name = path + 1;
    return name;
}

namespace {

constexpr const char* FILE_NAME = baseName(__BASE_FILE__);

// Out of line: inlined calls of cspDebugOutput0() would increase the library's size considerably.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // LOG_AT checks the format
template <typename... Arguments>
[[gnu::noinline]] void print(unsigned level, int line, const char* function, const char* format,
                             Arguments... arguments) noexcept {
    cspDebugOutput0(level, format, FILE_NAME, line, function, LOG_TAG, arguments...);
}
#pragma GCC diagnostic pop

[[gnu::noinline, maybe_unused]] void enter(int line, const char* function) noexcept {
    if (isOn(LEVEL_TRACE))
        print(LEVEL_TRACE, line, function, "%s:%d:%s(): %s [%s][%d] ENTER\n", function, line);
}

}  // namespace

}  // namespace logging

// `function` names the operation that the client called, if one implementation serves several. The compiler
// checks the format through a call that is never made.
#define LOG_AT(level, function, format, ...)                                                                \
    do {                                                                                                    \
        if (false) cspDebugOutput0(level, format __VA_OPT__(, ) __VA_ARGS__);                               \
        if (logging::isOn(level))                                                                           \
            logging::print(level, __LINE__, function, "%s:%d:%s(): %s " format __VA_OPT__(, ) __VA_ARGS__); \
    } while (false)

#define LOG_ERROR_AS(function, ...) LOG_AT(logging::LEVEL_ERROR, function, __VA_ARGS__)
#define LOG_ERROR(...) LOG_ERROR_AS(__func__, __VA_ARGS__)
#define LOG_INFO_AS(function, ...) LOG_AT(logging::LEVEL_INFO, function, __VA_ARGS__)
#define LOG_INFO(...) LOG_INFO_AS(__func__, __VA_ARGS__)

#define LOG_ENTER_AS(function) logging::enter(__LINE__, function)
#define LOG_ENTER() LOG_ENTER_AS(__func__)
#define LOG_RETURN() LOG_AT(logging::LEVEL_TRACE, __func__, "[%s][%d] RETURN\n", __func__, __LINE__)
#define LOG_RETURN_VALUE(value) \
    LOG_AT(logging::LEVEL_TRACE, __func__, "[%s][%d] val(%d) RETURN\n", __func__, __LINE__, value)

#endif
