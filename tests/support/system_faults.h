// Failures of the system's own calls, which no simulated television can bring about. The functions stand
// before the C library's in a test program and pass on what is not to fail.
#ifndef TESTS_SYSTEM_FAULTS_H
#define TESTS_SYSTEM_FAULTS_H

namespace tests {

// The next shmat fails with this errno; 0 for none.
void failNextShmat(int error);

// After `skip` more calls, one mq_open fails with this errno.
void failMqOpen(int error, int skip = 0);

// Calls of mq_open since the last failMqOpen.
int mqOpenCalls();

}  // namespace tests

#endif
