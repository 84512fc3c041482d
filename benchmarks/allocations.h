// Counts the heap allocations of this program: malloc and what is built on it, operator new included, in
// every library that the program loads.
#ifndef BENCHMARKS_ALLOCATIONS_H
#define BENCHMARKS_ALLOCATIONS_H

namespace benchmarks {

// By this thread, so far.
unsigned long allocations();
// Where it is counted what this thread has allocated less what it has freed, in bytes. Another thread may
// look there while this one sleeps.
const long* heldBytesMeter();

}  // namespace benchmarks

#endif
