// Replaces operator new in a test program with one that fails on request.
#ifndef TESTS_ALLOCATION_FAULTS_H
#define TESTS_ALLOCATION_FAULTS_H

namespace tests {

// The number of allocations of this thread that succeed before one fails. If it is negative, none fails.
extern constinit thread_local long allocationsUntilFailure;
// The number of blocks that this thread allocated, minus the number that it freed.
extern constinit thread_local long blocksInUse;

}  // namespace tests

#endif
