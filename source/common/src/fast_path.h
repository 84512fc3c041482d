// What is in the place of the call where speed comes first, and apart where size does, or nothing is
// optimised.
#ifndef COMMON_FAST_PATH_H
#define COMMON_FAST_PATH_H

#if defined(__OPTIMIZE_SIZE__) || !defined(__OPTIMIZE__)
#define FAST_PATH
#else
#define FAST_PATH [[gnu::always_inline]]
#endif

// What is left out of it: rare, and never in the place of the call.
#define RARE_PATH [[gnu::cold, gnu::noinline]]

#endif
