#ifndef BENCHMARKS_ONE_PROCESSOR_H
#define BENCHMARKS_ONE_PROCESSOR_H

#include <sched.h>

namespace benchmarks {

// Pins the current thread to its first allowed processor; the destructor restores the affinity.
class OneProcessor {
  public:
    OneProcessor() {
        sched_getaffinity(0, sizeof m_before, &m_before);
        unsigned processor = 0;
        while (!CPU_ISSET(processor, &m_before)) ++processor;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(processor, &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof m_before, &m_before); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

  private:
    cpu_set_t m_before;
};

}  // namespace benchmarks

#endif
