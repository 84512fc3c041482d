#ifndef PLATFORM_ADAPTATION_EXPORT_H
#define PLATFORM_ADAPTATION_EXPORT_H

// PLATFORM_ADAPTATION_API exports a function or class from the library, which hides everything else.
// PLATFORM_ADAPTATION_LOCAL hides a member of an exported class.
#define PLATFORM_ADAPTATION_API __attribute__((visibility("default")))
#define PLATFORM_ADAPTATION_LOCAL __attribute__((visibility("hidden")))

#endif
