#ifndef PLATFORM_ADAPTATION_EXPORT_H
#define PLATFORM_ADAPTATION_EXPORT_H

// What is not marked with the first is hidden in the library; the second hides a member of a class that is
// not.
#define PLATFORM_ADAPTATION_API __attribute__((visibility("default")))
#define PLATFORM_ADAPTATION_LOCAL __attribute__((visibility("hidden")))

#endif
