// The level words of the debug output: the module code in the upper 16 bits, the level in the lower 16. The
// same on every platform.
#ifndef CSP_LOG_LEVEL_H
#define CSP_LOG_LEVEL_H

namespace csp {

constexpr unsigned LEVEL_TRACE = 1;  // entry and exit of operations
constexpr unsigned LEVEL_ERROR = 1000;
constexpr unsigned LEVEL_INFO = 4000;

// The library's module code.
constexpr unsigned PLATFORM_ADAPTATION_MODULE = 0x01C70000;

}  // namespace csp

#endif
