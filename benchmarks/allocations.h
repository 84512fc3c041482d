// Counts the heap allocations of this program in all its libraries: malloc() and every function that calls
// it, such as operator new.
#ifndef BENCHMARKS_ALLOCATIONS_H
#define BENCHMARKS_ALLOCATIONS_H

namespace benchmarks {

// The number of allocations of this thread so far.
unsigned long allocations();
// A counter of the bytes that this thread has allocated minus those that it has freed. Another thread may
// read it while this thread sleeps.
const long* heldBytesMeter();

}  // namespace benchmarks

#endif
