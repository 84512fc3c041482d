#ifndef SIMULATED_THREAD_CREATION_H
#define SIMULATED_THREAD_CREATION_H

#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace simulated {

// The platform's thread creation.
class ThreadCreation {
  public:
    struct Record {
        void* (*routine)(void*);
        std::string file;
        int line;
    };

    // After `skip` more creations, the next `count` fail.
    void fail(unsigned count, unsigned skip = 0);
    // The number of creations that will still fail, and the number that succeed before them.
    unsigned failures() const;
    unsigned skips() const;
    // Since the last reset: the created threads, at most the newest RECORDED; and the number of attribute
    // objects that are initialised but not destroyed.
    std::vector<Record> created() const;
    int attributesInUse() const;
    void reset();

    // Called by the platform's functions.
    bool mayCreate(void* (*routine)(void*), const char* file, int line);
    void attributesChanged(int difference);

  private:
    mutable std::mutex m_mutex;
    unsigned m_skip = 0;
    unsigned m_failures = 0;
    int m_attributesInUse = 0;
    std::deque<Record> m_created;
};

}  // namespace simulated

#endif
