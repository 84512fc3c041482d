#ifndef PLATFORM_ADAPTATION_EXPORT_H
#define PLATFORM_ADAPTATION_EXPORT_H

// What is not marked with the first is hidden in the library; the second hides a member of a class that is
// not.
#define PLATFORM_ADAPTATION_API __attribute__((visibility("default")))
#define PLATFORM_ADAPTATION_LOCAL __attribute__((visibility("hidden")))

// A function whose body a header shows to the caller's compiler, and that the library has as well, for
// programs that were built to call it there: one source file of the library defines this so.
#ifndef PLATFORM_ADAPTATION_INLINE
#define PLATFORM_ADAPTATION_INLINE inline
#endif

#endif
