#ifndef TESTS_ASLEEP_H
#define TESTS_ASLEEP_H

#include <sys/types.h>

namespace tests {

// Waits until this thread of this process sleeps and goes on sleeping: a condition that takes signals only
// from those who wait for it can then be signalled. False if it does not fall asleep within half a minute.
bool waitUntilAsleep(pid_t thread);

}  // namespace tests

#endif
