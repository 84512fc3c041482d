// Replaces operator new in a test program by one that can be made to fail.
#ifndef TESTS_ALLOCATION_FAULTS_H
#define TESTS_ALLOCATION_FAULTS_H

namespace tests {

// How many allocations of this thread succeed before one fails; negative for all.
extern constinit thread_local long allocationsUntilFailure;
// Blocks that this thread allocated, less those that it freed.
extern constinit thread_local long blocksInUse;

}  // namespace tests

#endif
