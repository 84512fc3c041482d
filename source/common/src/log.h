// Log lines. Each is offered to the platform with its level first; only if the level is on are its arguments
// evaluated and formatted. A file defines LOG_TAG before it includes this.
#ifndef COMMON_LOG_H
#define COMMON_LOG_H

#include "csp/debug.h"
#include "fast_path.h"

#ifndef LOG_TAG
#error "define LOG_TAG before including this"
#endif

namespace logging {

// The platform's module code above, the level below.
constexpr unsigned LEVEL_TRACE = 0x01C70001;
constexpr unsigned LEVEL_ERROR = 0x01C703E8;
constexpr unsigned LEVEL_INFO = 0x01C70FA0;

// Who writes a line: its source file, by base name, and its tag.
struct Source {
    const char* file;
    const char* tag;
};

constexpr const char* baseName(const char* path) {
    const char* name = path;
    for (; *path != '\0'; ++path)
        if (*path == '/') name = path + 1;
    return name;
}

namespace {
constexpr Source SOURCE{baseName(__BASE_FILE__), LOG_TAG};
}

[[gnu::always_inline]] inline bool isOn(unsigned level) noexcept {
    return cspDebugCheckLevelGetFrameAndChunk(level) != 0;
}

// Out of line: what each of some 170 lines needs in its own place is a good part of the library's size. The
// macros check the format.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <unsigned level, typename... Arguments>
[[gnu::noinline]] void print(const Source& source, int line, const char* function, const char* format,
                             Arguments... arguments) noexcept {
    cspDebugOutput0(level, format, source.file, line, function, source.tag, arguments...);
}
#pragma GCC diagnostic pop

RARE_PATH inline void printEnter(const Source& source, int line, const char* function) noexcept {
    cspDebugOutput0(LEVEL_TRACE, "%s:%d:%s(): %s [%s][%d] ENTER\n", source.file, line, function, source.tag,
                    function, line);
}

// Most operations begin with it, and with nothing to print it is much of what they do.
#ifdef __OPTIMIZE_SIZE__
[[gnu::noinline]]
#endif
FAST_PATH inline void
enter(const Source& source, int line, const char* function) noexcept {
    if (isOn(LEVEL_TRACE)) [[unlikely]]
        printEnter(source, line, function);
}

}  // namespace logging

// `function` names the operation that the client called where one implementation serves several. The call
// that is never made lets the compiler check the format.
#define LOG_AT(level, function, format, ...)                                            \
    do {                                                                                \
        if (false) cspDebugOutput0(level, format __VA_OPT__(, ) __VA_ARGS__);           \
        if (logging::isOn(level)) [[unlikely]]                                          \
            logging::print<level>(logging::SOURCE, __LINE__, function,                  \
                                  "%s:%d:%s(): %s " format __VA_OPT__(, ) __VA_ARGS__); \
    } while (false)

#define LOG_ERROR(...) LOG_AT(logging::LEVEL_ERROR, __func__, __VA_ARGS__)
#define LOG_INFO(...) LOG_AT(logging::LEVEL_INFO, __func__, __VA_ARGS__)

#define LOG_ENTER_AS(function) logging::enter(logging::SOURCE, __LINE__, function)
#define LOG_ENTER() LOG_ENTER_AS(__func__)
#define LOG_RETURN() LOG_AT(logging::LEVEL_TRACE, __func__, "[%s][%d] RETURN\n", __func__, __LINE__)
#define LOG_RETURN_VALUE(value) \
    LOG_AT(logging::LEVEL_TRACE, __func__, "[%s][%d] val(%d) RETURN\n", __func__, __LINE__, value)

#endif
