// The system's barrier for all threads of a process (membarrier), as it is, failing, or, with
// TESTS_NO_BARRIER in the environment, not there at all.
#ifndef TESTS_BARRIER_FAULTS_H
#define TESTS_BARRIER_FAULTS_H

namespace tests {

// Whether the process was registered for it, so far.
bool hasBarrier();
int barriersMade();
void failNextBarrier();

}  // namespace tests

#endif
