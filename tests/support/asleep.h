#ifndef TESTS_ASLEEP_H
#define TESTS_ASLEEP_H

#include <sys/types.h>

namespace tests {

// Waits until the thread, of any process, sleeps steadily. A condition variable for which the thread waits
// can then be signalled; an earlier signal would be lost. Returns false if the thread is not asleep after
// half a minute.
bool waitUntilAsleep(pid_t thread);

}  // namespace tests

#endif
